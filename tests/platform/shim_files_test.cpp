// Files, folders and the runtime library's Windows names, as the tools
// library relies on them on every platform.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "platform/win32.h"

namespace {

// A fresh folder under the system's temporary folder, removed afterwards.
class ShimFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    char temp[MAX_PATH] = {};
    ASSERT_GT(GetTempPathA(MAX_PATH, temp), 0u);
    folder_ = std::string(temp) + "cmskit_shim_" +
              std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
    ASSERT_EQ(_mkdir(folder_.c_str()), 0);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string Path(const std::string& name) const { return folder_ + PLATFORM_PATH_SEPARATOR + name; }

  std::string MakeFile(const std::string& name, const std::string& contents) const {
    std::ofstream(Path(name), std::ios::binary) << contents;
    return Path(name);
  }

  std::string folder_;
};

TEST_F(ShimFiles, TempPathEndsWithASeparator) {
  char temp[MAX_PATH] = {};
  const DWORD n = GetTempPathA(MAX_PATH, temp);
  ASSERT_GT(n, 0u);
  EXPECT_EQ(n, std::string(temp).size());
  EXPECT_EQ(temp[n - 1], PLATFORM_PATH_SEPARATOR);
  char tiny[1] = {};
  EXPECT_GT(GetTempPathA(1, tiny), 1u);  // the size it needs
}

TEST_F(ShimFiles, AttributesMapReadOnlyAndDirectory) {
  const std::string file = MakeFile("locked.txt", "x");
  EXPECT_NE(GetFileAttributesA(folder_.c_str()) & FILE_ATTRIBUTE_DIRECTORY, 0u);
  const DWORD plain = GetFileAttributesA(file.c_str());
  ASSERT_NE(plain, INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(plain & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY), 0u);

  ASSERT_TRUE(SetFileAttributesA(file.c_str(), plain | FILE_ATTRIBUTE_READONLY));
  EXPECT_NE(GetFileAttributesA(file.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
  ASSERT_TRUE(SetFileAttributesA(file.c_str(), plain & ~FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(GetFileAttributesA(file.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);

  SetLastError(0);
  EXPECT_EQ(GetFileAttributesA(Path("missing").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_FALSE(SetFileAttributesA(Path("missing").c_str(), FILE_ATTRIBUTE_READONLY));
}

// Windows paths reach the shim with backslashes; on Linux they must name the
// same files as slashes do.
TEST_F(ShimFiles, BackslashPathsAreAccepted) {
  std::string sub = Path("deep");
  std::replace(sub.begin(), sub.end(), '/', '\\');
  ASSERT_EQ(_mkdir(sub.c_str()), 0);
  EXPECT_NE(GetFileAttributesA(sub.c_str()) & FILE_ATTRIBUTE_DIRECTORY, 0u);
  const std::string file = sub + "\\data.bin";
  FILE* stream = fopen(file.c_str(), "wb");
  ASSERT_NE(stream, nullptr);
  fputs("abc", stream);
  fflush(stream);
  EXPECT_EQ(_filelength(_fileno(stream)), 3);
  fclose(stream);
  EXPECT_EQ(_access(file.c_str(), 0), 0);
  const int fd = _open(file.c_str(), _O_RDONLY | _O_BINARY);
  ASSERT_NE(fd, -1);
  EXPECT_EQ(_filelength(fd), 3);
  _close(fd);
  EXPECT_TRUE(CopyFileA(file.c_str(), (sub + "\\copy.bin").c_str(), TRUE));
  EXPECT_EQ(_unlink(file.c_str()), 0);
  EXPECT_EQ(_unlink((sub + "\\copy.bin").c_str()), 0);
  EXPECT_EQ(_rmdir(sub.c_str()), 0);
  EXPECT_NE(_access(sub.c_str(), 0), 0);
}

TEST_F(ShimFiles, CopyAndOpenFailuresSetTheLastError) {
  const std::string source = MakeFile("source", "new");
  const std::string target = MakeFile("target", "old");
  SetLastError(0);
  EXPECT_FALSE(CopyFileA(source.c_str(), target.c_str(), TRUE));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_EXISTS));
  ASSERT_TRUE(CopyFileA(source.c_str(), target.c_str(), FALSE));
  std::ifstream in(target, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "new");
  EXPECT_FALSE(CopyFileA(Path("missing").c_str(), Path("other").c_str(), FALSE));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  SetLastError(0);
  EXPECT_EQ(fopen(Path("missing").c_str(), "rb"), nullptr);  // the open's cause, as on Windows
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST_F(ShimFiles, FindFirstAndNextWalkAFolder) {
  MakeFile("a.txt", "12345");
  MakeFile("b.txt", "");
  MakeFile("c.bin", "");
  ASSERT_EQ(_mkdir(Path("sub").c_str()), 0);

  std::set<std::string> names;
  _finddata_t entry;
  intptr_t handle = _findfirst(Path("*").c_str(), &entry);
  ASSERT_NE(handle, -1);
  do {
    names.insert(entry.name);
    const std::string name = entry.name;
    EXPECT_EQ((entry.attrib & _A_SUBDIR) != 0, name == "sub" || name == "." || name == "..") << name;
    if (name == "a.txt") {
      EXPECT_EQ(entry.size, 5u);
    }
  } while (_findnext(handle, &entry) == 0);
  EXPECT_EQ(_findclose(handle), 0);
  EXPECT_EQ(names, (std::set<std::string>{".", "..", "a.txt", "b.txt", "c.bin", "sub"}));

  names.clear();
  handle = _findfirst(Path("*.txt").c_str(), &entry);
  ASSERT_NE(handle, -1);
  do names.insert(entry.name);
  while (_findnext(handle, &entry) == 0);
  _findclose(handle);
  EXPECT_EQ(names, (std::set<std::string>{"a.txt", "b.txt"}));
  EXPECT_EQ(_findfirst(Path("*.none").c_str(), &entry), -1);
}

}  // namespace
