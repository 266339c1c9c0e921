// CTOOFile, temporary folders and copies with retries.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <string>

#include "cmskit/file.h"
#include "cmskit/paths.h"

namespace cmskit {
namespace {

std::string Join(const std::string& folder, const char* name) {
  return TOO::FILENAME(folder.c_str(), name).path;
}
bool IsFolder(const std::string& path) {
  const DWORD attributes = GetFileAttributesA(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

class ToolsFiles : public ::testing::Test {
 protected:
  std::string Path(const char* name) const { return Join(scratch_.path, name); }
  std::string Write(const char* name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
    return Path(name);
  }
  TOO::TEMPFOLDER scratch_{true};
};

TEST_F(ToolsFiles, ReadWriteSeekAndFailures) {
  CTOOFile file(Path("data.bin").c_str(), "w+b");
  EXPECT_EQ(file.Write("0123456789", 10), 10u);
  EXPECT_EQ(file.Seek(-2, SEEK_END), 0);
  char buffer[8] = {};
  EXPECT_EQ(file.Read(buffer, sizeof buffer), 2u);  // short count, no error
  EXPECT_FALSE(file.IsError());

  CTOOFile missing(Path("missing").c_str(), "rb");
  EXPECT_EQ(missing.GetStatus(), 4);
  EXPECT_EQ(missing.GetErrno(), static_cast<uint32_t>(ENOENT));
  EXPECT_THROW(CTOOFile(Path("missing").c_str(), "rb", true), XTOOFile);
}

TEST_F(ToolsFiles, CopyWithRetryFailsAsStatus64) {
  const std::string source = Write("source", "payload"), target = Write("target", "old");
  XTOOFile error;
  EXPECT_TRUE(CopyWithRetry(source.c_str(), target.c_str(), false, error));
  EXPECT_EQ(GetFileLengthByName(target.c_str(), error), 7u);
  EXPECT_FALSE(CopyWithRetry(source.c_str(), Path("no/target").c_str(), false, error));
  EXPECT_EQ(error.GetStatus(), 64);
  EXPECT_EQ(error.GetErrno(), static_cast<uint32_t>(ENOENT));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(CopyWithRetry(source.c_str(), target.c_str(), true, error));  // exists: retried 4 s
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3800));
  EXPECT_EQ(GetFileLengthByName(Path("missing").c_str(), error), 0xFFFFFFFFu);
  EXPECT_EQ(error.GetStatus(), 17);
}

TEST(CTOOFileClosed, EveryOperationRecordsStatus117) {
  // Its result, and the source line its message names (0: no message).
  const auto check = [](const char* operation, int64_t result, int line, int64_t (*call)(CTOOFile&)) {
    CTOOFile file;
    EXPECT_EQ(call(file), result) << operation;
    EXPECT_EQ(StatusToWin32(file.GetStatus()), 120u) << operation;  // 117
    EXPECT_EQ(std::string(file.message.c_str()),
              line ? "file - ..\\..\\source\\file_com, line - " + std::to_string(line) : "")
        << operation;
  };
  static char buffer[4];
  check("Read", 0, 439, [](CTOOFile& f) { return int64_t{f.Read(buffer, 4)}; });
  check("Write", 0, 533, [](CTOOFile& f) { return int64_t{f.Write("abcd", 4)}; });
  check("Close", 0, 551, [](CTOOFile& f) { return f.Close(), int64_t{0}; });
  check("Seek", -1, 632, [](CTOOFile& f) { return int64_t{f.Seek(0, SEEK_SET)}; });
  check("Tell", -1, 662, [](CTOOFile& f) { return int64_t{f.Tell()}; });
  check("GetLength", -1, 0, [](CTOOFile& f) { return int64_t{static_cast<int32_t>(f.GetLength())}; });
}

TEST_F(ToolsFiles, TempFolderRemovedWithItsContentsOrKeptOnRequest) {
  std::string removed, kept;
  for (bool removeOnDestroy : {true, false}) {
    TOO::TEMPFOLDER folder(removeOnDestroy);
    (removeOnDestroy ? removed : kept) = folder.path;
    std::ofstream(TOO::FILENAME(folder.c_str(), "file.txt").path) << "data";
    TOO::FOLDER deep(Join(Join(folder.path, "sub"), "deeper").c_str());
    ASSERT_TRUE(deep.Create());  // both levels
    EXPECT_TRUE(IsFolder(deep.path));
    std::ofstream(Join(deep.path, "inner.bin")) << "x";
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

}  // namespace
}  // namespace cmskit
