// CTOOFile: a binary file that records each failure in itself.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "cmskit/file.h"
#include "cmskit/paths.h"

namespace cmskit {
namespace {

class CTOOFileTest : public ::testing::Test {
 protected:
  std::string Path(const char* name) const { return TOO::FILENAME(scratch_.c_str(), name).path; }
  TOO::TEMPFOLDER scratch_{true};
};

TEST_F(CTOOFileTest, WriteSeekTellRead) {
  const std::string path = Path("data.bin");
  CTOOFile file(path.c_str(), "w+b");
  ASSERT_TRUE(file.IsOpen());
  EXPECT_FALSE(file.IsError());
  EXPECT_EQ(file.GetFileName(), path);
  const char bytes[] = "0123456789";
  EXPECT_EQ(file.Write(bytes, 10), 10u);
  EXPECT_EQ(file.GetLength(), 10u);
  EXPECT_EQ(file.Tell(), 10);
  EXPECT_EQ(file.Seek(2, SEEK_SET), 0);
  char buffer[32] = {};
  EXPECT_EQ(file.Read(buffer, 4), 4u);
  EXPECT_STREQ(buffer, "2345");
  EXPECT_EQ(file.Seek(1, SEEK_CUR), 0);
  EXPECT_EQ(file.Tell(), 7);
  EXPECT_EQ(file.Seek(-2, SEEK_END), 0);
  EXPECT_EQ(file.Tell(), 8);

  // Past the end: a short count, and no error.
  EXPECT_EQ(file.Read(buffer, sizeof(buffer)), 2u);
  EXPECT_FALSE(file.IsError());
  EXPECT_EQ(file.Write(bytes, 0), 0u);
  EXPECT_FALSE(file.IsError());
  EXPECT_EQ(file.GetLength(), 10u);
  file.Close();
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(file.IsError());
}

TEST_F(CTOOFileTest, NullModeOpensForUpdateOrCreates) {
  const std::string path = Path("update.bin");
  {
    CTOOFile created(path.c_str(), nullptr);
    ASSERT_TRUE(created.IsOpen());
    EXPECT_EQ(created.Write("abc", 3), 3u);
  }
  CTOOFile existing(path.c_str(), nullptr);
  ASSERT_TRUE(existing.IsOpen());
  char buffer[4] = {};
  EXPECT_EQ(existing.Read(buffer, 3), 3u);  // r+b kept the contents
  EXPECT_STREQ(buffer, "abc");
}

TEST_F(CTOOFileTest, MissingFileIsReportedWithThePath) {
  const std::string path = Path("missing.bin");
  CTOOFile file(path.c_str(), "rb");
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(file.GetStatus(), 4);  // from ERROR_FILE_NOT_FOUND
  EXPECT_EQ(file.GetErrno(), static_cast<uint32_t>(ENOENT));
  EXPECT_STREQ(file.message.c_str(), path.c_str());
  EXPECT_EQ(StatusToWin32(file.GetStatus()), 2u);

  try {
    CTOOFile raising(path.c_str(), "rb", true);
    FAIL() << "no exception";
  } catch (const XTOOFile& e) {
    EXPECT_EQ(e.GetStatus(), 4);
    EXPECT_EQ(e.GetErrno(), static_cast<uint32_t>(ENOENT));
  }
}

TEST_F(CTOOFileTest, UnreachableDriveLeavesTheFileAsItWas) {
  CTOOFile file(Path("kept.bin").c_str(), "wb");
  ASSERT_TRUE(file.IsOpen());
  file.Open("Q:\\no-such-drive\\file.bin", "rb");
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(file.GetStatus(), 0);
  EXPECT_FALSE(file.IsError());
  EXPECT_EQ(file.GetFileName(), Path("kept.bin"));
  file.Open(nullptr, "rb");
  EXPECT_TRUE(file.IsOpen());
}

TEST(CTOOFileClosed, EveryOperationRecordsStatus117) {
  struct Case {
    const char* operation;
    int64_t (*call)(CTOOFile&);
    int64_t result;
    const char* message;
  };
  // clang-format off
  const Case cases[] = {
      {"Read", [](CTOOFile& f) { char b[4]; return int64_t{f.Read(b, 4)}; }, 0,
       "file - ..\\..\\source\\file_com, line - 439"},
      {"Write", [](CTOOFile& f) { return int64_t{f.Write("abcd", 4)}; }, 0,
       "file - ..\\..\\source\\file_com, line - 533"},
      {"Close", [](CTOOFile& f) { f.Close(); return int64_t{0}; }, 0,
       "file - ..\\..\\source\\file_com, line - 551"},
      {"Seek", [](CTOOFile& f) { return int64_t{f.Seek(0, SEEK_SET)}; }, -1,
       "file - ..\\..\\source\\file_com, line - 632"},
      {"Tell", [](CTOOFile& f) { return int64_t{f.Tell()}; }, -1,
       "file - ..\\..\\source\\file_com, line - 662"},
      {"GetLength", [](CTOOFile& f) { return int64_t{static_cast<int32_t>(f.GetLength())}; }, -1, ""}};
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.operation);
    CTOOFile file;
    EXPECT_EQ(c.call(file), c.result);
    EXPECT_EQ(file.GetStatus(), 117);
    EXPECT_EQ(StatusToWin32(file.GetStatus()), 120u);
    EXPECT_STREQ(file.message.c_str(), c.message);
  }
}

TEST(CTOOFileClosed, RaisingFileThrowsAndNextOperationClears) {
  CTOOFile file;
  file.raise = 1;
  EXPECT_THROW(file.Tell(), XTOOFile);
  file.raise = 0;
  file.Tell();
  EXPECT_TRUE(file.IsError());
  file.Open(nullptr, "rb");  // every operation starts with a clean record
  EXPECT_FALSE(file.IsError());
}

}  // namespace
}  // namespace cmskit
