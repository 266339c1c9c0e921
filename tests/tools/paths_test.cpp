// Path objects, temporary folders, copies with retries and file lengths.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <string>

#include "cmskit/file.h"
#include "cmskit/paths.h"
#include "platform/win32.h"

namespace cmskit {
namespace {

std::string LastComponent(const std::string& path) { return path.substr(path.find_last_of("\\/") + 1); }

bool IsFolder(const std::string& path) {
  const DWORD attributes = GetFileAttributesA(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

std::string Join(const std::string& folder, const char* name) {
  return TOO::FILENAME(folder.c_str(), name).path;
}

std::string WriteFile(const std::string& path, const std::string& contents) {
  std::ofstream(path, std::ios::binary) << contents;
  return path;
}

TEST(TOOPaths, FileNameJoinsWithOneSeparator) {
  const std::string sep(1, PLATFORM_PATH_SEPARATOR);
  EXPECT_EQ(TOO::FILENAME("dir", "name").path, "dir" + sep + "name");
  EXPECT_EQ(TOO::FILENAME("dir/", "name").path, "dir/name");
  EXPECT_EQ(TOO::FILENAME("dir\\", "name").path, "dir\\name");
  EXPECT_FALSE(TOO::FOLDER("").Create());
}

TEST(TOOTempFolder, UniqueNamesOfEightDotThreeCharacters) {
  TOO::TEMPFOLDER first(true), second(true);
  EXPECT_NE(first.path, second.path);
  char temp[MAX_PATH] = {};
  GetTempPathA(MAX_PATH, temp);
  for (const TOO::TEMPFOLDER* folder : {&first, &second}) {
    EXPECT_TRUE(IsFolder(folder->path));
    EXPECT_EQ(folder->path.rfind(temp, 0), 0u) << folder->path;
    const std::string name = LastComponent(folder->path);
    ASSERT_EQ(name.size(), 12u);
    EXPECT_EQ(name[8], '.');
    EXPECT_EQ((name.substr(0, 8) + name.substr(9)).find_first_not_of("0123456789abcdefghijklmnopqrstuvwxyz"),
              std::string::npos)
        << name;
  }
}

TEST(TOOTempFolder, RemovedWithItsContentsOrKeptOnRequest) {
  std::string removed, kept;
  for (bool removeOnDestroy : {true, false}) {
    TOO::TEMPFOLDER folder(removeOnDestroy);
    (removeOnDestroy ? removed : kept) = folder.path;
    WriteFile(Join(folder.path, "file.txt"), "data");
    TOO::FOLDER deep(Join(Join(folder.path, "sub"), "deeper").c_str());
    ASSERT_TRUE(deep.Create());  // both levels
    EXPECT_TRUE(IsFolder(deep.path));
    WriteFile(Join(deep.path, "inner.bin"), "x");
  }
  EXPECT_FALSE(FileExists(removed.c_str()));
  EXPECT_TRUE(IsFolder(kept));
  EXPECT_FALSE(TOO::FOLDER(kept.c_str()).Remove(false));  // not empty
  // Windows callers hand in backslash paths: the walk follows them everywhere.
  std::string backslashed = kept;
  std::replace(backslashed.begin(), backslashed.end(), '/', '\\');
  EXPECT_TRUE(TOO::FOLDER(backslashed.c_str()).Remove(true));
  EXPECT_FALSE(FileExists(kept.c_str()));
}

TEST(TOOTempFolder, ReadOnlyFileKeepsItsFolder) {
  if (PLATFORM_PATH_SEPARATOR != '\\') GTEST_SKIP() << "POSIX deletes read-only files from writable folders";
  std::string path, file;
  {
    TOO::TEMPFOLDER folder(true);
    path = folder.path;
    file = WriteFile(Join(folder.path, "locked.txt"), "x");
    ASSERT_TRUE(SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_READONLY));
  }
  EXPECT_TRUE(IsFolder(path));
  EXPECT_NE(GetFileAttributesA(file.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
  SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_NORMAL);
  EXPECT_TRUE(TOO::FOLDER(path.c_str()).Remove(true));
}

class CopyWithRetryTest : public ::testing::Test {
 protected:
  std::string Path(const char* name) const { return Join(scratch_.path, name); }
  TOO::TEMPFOLDER scratch_{true};
};

// CI runs as root, where every access check passes: the refusal ending
// (status 501 with errno EACCES) only shows as an ordinary user.
TEST_F(CopyWithRetryTest, CopiesAndOverwrites) {
  const std::string source = WriteFile(Path("source"), "payload");
  XTOOFile error;
  error.status = 99;
  EXPECT_TRUE(CopyWithRetry(source.c_str(), Path("target").c_str(), true, error));
  EXPECT_FALSE(error.IsError());
  WriteFile(Path("target"), "old contents");
  EXPECT_TRUE(CopyWithRetry(source.c_str(), Path("target").c_str(), false, error));
  XTOOFile lengthError;
  EXPECT_EQ(GetFileLengthByName(Path("target").c_str(), lengthError), 7u);
  EXPECT_FALSE(lengthError.IsError());
}

TEST_F(CopyWithRetryTest, TargetInMissingFolderFailsWithStatus64) {
  const std::string source = WriteFile(Path("source"), "payload");
  const std::string target = Join(Path("no-folder"), "target");
  XTOOFile error;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(CopyWithRetry(source.c_str(), target.c_str(), false, error));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));  // no retry waits
  EXPECT_EQ(error.GetStatus(), 64);
  EXPECT_EQ(error.GetErrno(), static_cast<uint32_t>(ENOENT));
  EXPECT_STREQ(error.message.c_str(), source.c_str());
  EXPECT_EQ(StatusToWin32(error.GetStatus()), 266u);
  EXPECT_FALSE(CopyWithRetry(Path("missing").c_str(), Path("other").c_str(), false, error));
  EXPECT_EQ(error.GetStatus(), 64);
}

TEST_F(CopyWithRetryTest, ExistingTargetIsRetriedForFourSeconds) {
  const std::string source = WriteFile(Path("source"), "new");
  const std::string target = WriteFile(Path("target"), "old");
  XTOOFile error;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(CopyWithRetry(source.c_str(), target.c_str(), true, error));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3800));
  EXPECT_EQ(error.GetStatus(), 64);
  EXPECT_EQ(error.GetErrno(), 0u);  // the target always existed
}

TEST_F(CopyWithRetryTest, LengthAndAttributesByName) {
  XTOOFile error;
  EXPECT_EQ(GetFileLengthByName(WriteFile(Path("sized"), std::string(1234, 'x')).c_str(), error), 1234u);
  EXPECT_FALSE(error.IsError());
  EXPECT_EQ(GetFileLengthByName(Path("missing").c_str(), error), 0xFFFFFFFFu);
  EXPECT_EQ(error.GetStatus(), 17);
  EXPECT_EQ(error.GetErrno(), static_cast<uint32_t>(ENOENT));
  EXPECT_EQ(error.message.c_str(), Path("missing"));

  XTOOFile attributeError;
  EXPECT_NE(GetAttributes(scratch_.c_str(), attributeError) & FILE_ATTRIBUTE_DIRECTORY, 0u);
  EXPECT_FALSE(attributeError.IsError());
  EXPECT_EQ(GetAttributes(Path("missing").c_str(), attributeError), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(attributeError.GetStatus(), 41);
  attributeError.Clear();
  EXPECT_FALSE(SetAttributes(Path("missing").c_str(), FILE_ATTRIBUTE_READONLY, attributeError));
  EXPECT_EQ(attributeError.GetStatus(), 41);
  EXPECT_EQ(attributeError.message.c_str(), Path("missing"));
}

}  // namespace
}  // namespace cmskit
