// Calendar arithmetic, the per-thread last error and the string helpers,
// checked against the values Windows itself gives.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <thread>

#include "platform/win32.h"

namespace {

using Fields = std::array<WORD, 7>;  // year, month, day, hour, minute, second, ms

Fields FieldsOf(const SYSTEMTIME& st) {
  return {st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond, st.wMilliseconds};
}

bool ToTicks(const Fields& f, uint64_t* ticks) {
  // wDayOfWeek is ignored on input.
  const SYSTEMTIME st = {f[0], f[1], 9, f[2], f[3], f[4], f[5], f[6]};
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
  struct Known {
    Fields fields;
    uint64_t ticks;
    WORD dayOfWeek;
  };
  // clang-format off
  const Known known[] = {
      {{1601, 1, 1, 0, 0, 0, 0}, 0, 1},
      {{1900, 2, 28, 0, 0, 0, 0}, 94404960000000000ULL, 3},
      {{1900, 3, 1, 0, 0, 0, 0}, 94405824000000000ULL, 4},  // 1900 is no leap year
      {{1970, 1, 1, 0, 0, 0, 0}, 116444736000000000ULL, 4},
      {{2000, 2, 29, 0, 0, 0, 0}, 125962560000000000ULL, 2},  // 2000 is one
      {{2024, 2, 29, 12, 34, 56, 789}, 133536836967890000ULL, 4},
      {{9999, 12, 31, 23, 59, 59, 999}, 2650467743999990000ULL, 5},
      {{30828, 9, 14, 2, 48, 5, 477}, 0x7FFFFFFFFFFFFFFFULL, 4}};  // the last FILETIME
  // clang-format on
  for (const Known& k : known) {
    SCOPED_TRACE(k.fields[0]);
    SYSTEMTIME st;
    ASSERT_TRUE(ToFields(k.ticks, &st));
    EXPECT_EQ(FieldsOf(st), k.fields);
    EXPECT_EQ(st.wDayOfWeek, k.dayOfWeek);
    uint64_t ticks = 0;
    if (k.fields[0] > 30827) continue;  // past the last SYSTEMTIME Windows takes
    EXPECT_TRUE(ToTicks(k.fields, &ticks));
    EXPECT_EQ(ticks, k.ticks);
  }
}

TEST(ShimCalendar, MonthEndsAdvanceToTheNextMonth) {
  const WORD kLastDay[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  for (WORD year : {1601, 1700, 1900, 1999, 2000, 2023, 2024, 2100, 2400, 30827}) {
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    for (WORD month = 1; month <= 12; ++month) {
      SCOPED_TRACE(year * 100 + month);
      const WORD last = month == 2 && leap ? 29 : kLastDay[month - 1];
      uint64_t end = 0, invalid = 0;
      ASSERT_TRUE(ToTicks({year, month, last, 23, 59, 59, 999}, &end));
      if (!(month == 2 && !leap && RunsUnderWine())) {
        EXPECT_FALSE(ToTicks({year, month, static_cast<WORD>(last + 1), 0, 0, 0, 0}, &invalid));
      }
      SYSTEMTIME next;
      ASSERT_TRUE(ToFields(end + 10000, &next));  // one millisecond later
      const Fields expected = month == 12 ? Fields{static_cast<WORD>(year + 1), 1, 1, 0, 0, 0, 0}
                                          : Fields{year, static_cast<WORD>(month + 1), 1, 0, 0, 0, 0};
      EXPECT_EQ(FieldsOf(next), expected);
    }
  }
}

TEST(ShimCalendar, RefusesWhatWindowsRefuses) {
  // clang-format off
  const Fields refused[] = {
      {2024, 13, 1, 0, 0, 0, 0}, {2024, 0, 1, 0, 0, 0, 0}, {2024, 2, 30, 0, 0, 0, 0},
      {2023, 4, 31, 0, 0, 0, 0}, {2024, 1, 0, 0, 0, 0, 0}, {2024, 1, 1, 24, 0, 0, 0},
      {2024, 1, 1, 0, 60, 0, 0}, {2024, 1, 1, 0, 0, 60, 0}, {2024, 1, 1, 0, 0, 0, 1000},
      {1600, 12, 31, 23, 59, 59, 999}};
  // clang-format on
  for (const Fields& f : refused) {
    SCOPED_TRACE(testing::Message() << f[0] << '-' << f[1] << '-' << f[2] << ' ' << f[3] << ':' << f[4]);
    SetLastError(0);
    uint64_t ticks = 0;
    EXPECT_FALSE(ToTicks(f, &ticks));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  }
  SYSTEMTIME st;
  SetLastError(0);
  EXPECT_FALSE(ToFields(0x8000000000000000ULL, &st));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST(ShimKernel, LastErrorBelongsToTheThread) {
  // Each thread starts at 0, sets its own value, waits until the other has
  // set one too, then reads its own back.
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
