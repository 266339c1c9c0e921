// The Windows names the tools library relies on, on every platform.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <fstream>
#include <set>
#include <string>
#include <thread>

#include "common/crypt.h"
#include "common/test_util.h"
#include "platform/win32.h"

namespace {

using cmskit_testing::FailsWith;

class ShimFiles : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return dir_.Path(name); }
  std::string MakeFile(const std::string& name, const std::string& contents) const {
    std::ofstream(Path(name), std::ios::binary) << contents;
    return Path(name);
  }
  cmskit_testing::TempDir dir_;
};

TEST_F(ShimFiles, AttributesCopiesAndTheLastError) {
  char temp[MAX_PATH] = {}, tiny[1] = {};
  const DWORD n = GetTempPathA(MAX_PATH, temp);
  EXPECT_EQ(temp[n - 1], PLATFORM_PATH_SEPARATOR);
  EXPECT_GT(GetTempPathA(1, tiny), 1u);  // the size it needs
  const std::string source = MakeFile("source", "new"), target = MakeFile("target", "old");
  ASSERT_TRUE(SetFileAttributesA(target.c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(GetFileAttributesA(target.c_str()) & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY),
            static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
  ASSERT_TRUE(SetFileAttributesA(target.c_str(), FILE_ATTRIBUTE_NORMAL));
  SetLastError(0);
  EXPECT_TRUE(FailsWith(CopyFileA(source.c_str(), target.c_str(), TRUE), ERROR_FILE_EXISTS));
  ASSERT_TRUE(CopyFileA(source.c_str(), target.c_str(), FALSE));
  EXPECT_EQ(cmskit_testing::ReadBytes(target), cmskit_testing::Text("new"));
  EXPECT_TRUE(
      FailsWith(CopyFileA(Path("missing").c_str(), Path("other").c_str(), FALSE), ERROR_FILE_NOT_FOUND));
  SetLastError(0);
  EXPECT_EQ(GetFileAttributesA(Path("missing").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_FALSE(SetFileAttributesA(Path("missing").c_str(), FILE_ATTRIBUTE_READONLY));
  SetLastError(0);
  EXPECT_EQ(fopen(Path("missing").c_str(), "rb"), nullptr);  // the open's cause, as on Windows
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

// Windows paths reach the shim with backslashes; on Linux they name the same
// files as slashes do. Folders are walked with _findfirst/_findnext.
TEST_F(ShimFiles, BackslashPathsAndFolderWalks) {
  std::string sub = Path("deep");
  std::replace(sub.begin(), sub.end(), '/', '\\');
  ASSERT_EQ(_mkdir(sub.c_str()), 0);
  EXPECT_NE(GetFileAttributesA(sub.c_str()) & FILE_ATTRIBUTE_DIRECTORY, 0u);
  const std::string file = sub + "\\data.bin";
  std::ofstream(Path("deep/data.bin")) << "abc";
  const int fd = _open(file.c_str(), _O_RDONLY | _O_BINARY);
  EXPECT_EQ(_filelength(fd), 3);
  _close(fd);
  EXPECT_TRUE(CopyFileA(file.c_str(), (sub + "\\copy.txt").c_str(), TRUE));
  MakeFile("deep/b.txt", "");
  _finddata_t entry;
  const auto walk = [&](const std::string& pattern) {
    std::set<std::string> names;
    const intptr_t handle = _findfirst((sub + pattern).c_str(), &entry);
    if (handle == -1) return names;
    do {
      const std::string name = entry.name;
      names.insert(name);
      EXPECT_EQ((entry.attrib & _A_SUBDIR) != 0, name == "." || name == "..") << name;
      EXPECT_EQ(entry.size, name == "data.bin" ? 3u : entry.size);
    } while (_findnext(handle, &entry) == 0);
    EXPECT_EQ(_findclose(handle), 0);
    return names;
  };
  EXPECT_EQ(walk("\\*"), (std::set<std::string>{".", "..", "b.txt", "copy.txt", "data.bin"}));
  EXPECT_EQ(walk("\\*.txt"), (std::set<std::string>{"b.txt", "copy.txt"}));
  EXPECT_EQ(_findfirst(Path("*.none").c_str(), &entry), -1);
  for (const char* name : {"\\data.bin", "\\copy.txt", "\\b.txt"})
    EXPECT_EQ(_unlink((sub + name).c_str()), 0);
  EXPECT_EQ(_rmdir(sub.c_str()), 0);
  EXPECT_NE(_access(sub.c_str(), 0), 0);
}

using Fields = std::array<WORD, 7>;  // year, month, day, hour, minute, second, ms

Fields FieldsOf(const SYSTEMTIME& st) {
  return {st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond, st.wMilliseconds};
}

bool ToTicks(const Fields& f, uint64_t* ticks) {
  const SYSTEMTIME st = {f[0], f[1], 9, f[2], f[3], f[4], f[5], f[6]};  // wDayOfWeek ignored
  FILETIME ft;
  if (!SystemTimeToFileTime(&st, &ft)) return false;
  *ticks = (static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
  return true;
}

bool ToFields(uint64_t ticks, SYSTEMTIME* st) {
  const FILETIME ft = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  return FileTimeToSystemTime(&ft, st) != FALSE;
}

// Wine accepts 29 February in every year; Windows and the Linux shim refuse
// it in common years.
bool RunsUnderWine() {
  const HMODULE ntdll = GetModuleHandleA("ntdll.dll");
  return ntdll && GetProcAddress(ntdll, "wine_get_version");
}

TEST(ShimCalendar, KnownInstantsBothWays) {
  const struct {
    Fields fields;
    uint64_t ticks;
    WORD dayOfWeek;
  } known[] = {
      {{1601, 1, 1, 0, 0, 0, 0}, 0, 1},
      {{1900, 3, 1, 0, 0, 0, 0}, 94405824000000000ULL, 4},    // 1900 is no leap year
      {{2000, 2, 29, 0, 0, 0, 0}, 125962560000000000ULL, 2},  // 2000 is one
      {{2024, 2, 29, 12, 34, 56, 789}, 133536836967890000ULL, 4},
      {{9999, 12, 31, 23, 59, 59, 999}, 2650467743999990000ULL, 5},
      {{30828, 9, 14, 2, 48, 5, 477}, 0x7FFFFFFFFFFFFFFFULL, 4}  // the last FILETIME
  };
  for (const auto& k : known) {
    SYSTEMTIME st;
    ASSERT_TRUE(ToFields(k.ticks, &st));
    EXPECT_EQ(FieldsOf(st), k.fields);
    EXPECT_EQ(st.wDayOfWeek, k.dayOfWeek) << k.fields[0];
    uint64_t ticks = k.ticks;  // the last FILETIME is past the last SYSTEMTIME Windows takes
    EXPECT_TRUE(k.fields[0] > 30827 || (ToTicks(k.fields, &ticks) && ticks == k.ticks)) << k.fields[0];
  }
}

TEST(ShimCalendar, MonthEndsAdvanceToTheNextMonth) {
  const WORD kLastDay[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  for (WORD year : {1900, 2000, 2023, 2024, 30827}) {
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    for (WORD month = 1; month <= 12; ++month) {
      SCOPED_TRACE(year * 100 + month);
      const WORD last = month == 2 && leap ? 29 : kLastDay[month - 1];
      uint64_t end = 0, invalid = 0;
      ASSERT_TRUE(ToTicks({year, month, last, 23, 59, 59, 999}, &end));
      const bool refused = !ToTicks({year, month, static_cast<WORD>(last + 1), 0, 0, 0, 0}, &invalid);
      EXPECT_TRUE(refused || (month == 2 && !leap && RunsUnderWine()));
      SYSTEMTIME next;
      ASSERT_TRUE(ToFields(end + 10000, &next));  // one millisecond later
      const Fields expected = month == 12 ? Fields{static_cast<WORD>(year + 1), 1, 1, 0, 0, 0, 0}
                                          : Fields{year, static_cast<WORD>(month + 1), 1, 0, 0, 0, 0};
      EXPECT_EQ(FieldsOf(next), expected);
    }
  }
}

TEST(ShimCalendar, RefusesWhatWindowsRefuses) {
  const Fields refused[] = {{2024, 13, 1, 0, 0, 0, 0},   {2024, 0, 1, 0, 0, 0, 0},
                            {2024, 1, 0, 0, 0, 0, 0},    {2024, 1, 1, 24, 0, 0, 0},
                            {2024, 1, 1, 0, 60, 0, 0},   {2024, 1, 1, 0, 0, 60, 0},
                            {2024, 1, 1, 0, 0, 0, 1000}, {1600, 12, 31, 23, 59, 59, 999}};
  for (const Fields& f : refused) {
    SetLastError(0);
    uint64_t ticks = 0;
    EXPECT_TRUE(FailsWith(ToTicks(f, &ticks), ERROR_INVALID_PARAMETER)) << f[1] << f[2] << f[6];
  }
  SYSTEMTIME st;
  SetLastError(0);
  EXPECT_TRUE(FailsWith(ToFields(0x8000000000000000ULL, &st), ERROR_INVALID_PARAMETER));
}

// Each thread starts at 0, sets its own value, waits for the other's, then reads its own back.
TEST(ShimKernel, LastErrorBelongsToTheThread) {
  std::atomic<int> set{0};
  DWORD atStart[2] = {1, 1}, seen[2] = {};
  auto worker = [&](int index, DWORD code) {
    atStart[index] = GetLastError();
    SetLastError(code);
    ++set;
    while (set.load() < 2) std::this_thread::yield();
    seen[index] = GetLastError();
  };
  std::thread first(worker, 0, 111), second(worker, 1, 222);
  first.join();
  second.join();
  EXPECT_EQ(atStart[0] + atStart[1], 0u);
  EXPECT_EQ(seen[0], 111u);
  EXPECT_EQ(seen[1], 222u);
}

}  // namespace
