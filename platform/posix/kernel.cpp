// Kernel services: the thread's last error, sleeping, FILETIME calendar
// arithmetic and string-pointer checks.
#include <time.h>

#include <cerrno>
#include <cstdint>

#include "platform/win32.h"

namespace {

thread_local DWORD t_lastError = 0;

constexpr int64_t kTicksPerMs = 10000;
constexpr int64_t kTicksPerSecond = 10000000;
constexpr int64_t kTicksPerDay = kTicksPerSecond * 86400;
// Days from 1601-01-01 to 1970-01-01.
constexpr int64_t kDaysTo1970 = 134774;

bool IsLeap(int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DaysInMonth(int64_t year, int month) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

// Days since 1601-01-01 of a proleptic Gregorian date.
int64_t DaysFromCivil(int64_t year, int month, int day) {
  const int64_t y = year - 1601;
  int64_t days = y * 365 + y / 4 - y / 100 + y / 400;
  for (int m = 1; m < month; ++m) days += DaysInMonth(year, m);
  return days + day - 1;
}

}  // namespace

extern "C" {

void SetLastError(DWORD code) { t_lastError = code; }

DWORD GetLastError(void) { return t_lastError; }

void Sleep(DWORD milliseconds) {
  struct timespec delay;
  delay.tv_sec = milliseconds / 1000;
  delay.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000L;
  while (nanosleep(&delay, &delay) != 0 && errno == EINTR) {
  }
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* st, FILETIME* ft) {
  if (!st || !ft || st->wYear < 1601 || st->wYear > 30827 || st->wMonth < 1 || st->wMonth > 12 ||
      st->wDay < 1 || st->wDay > DaysInMonth(st->wYear, st->wMonth) || st->wHour > 23 || st->wMinute > 59 ||
      st->wSecond > 59 || st->wMilliseconds > 999) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const int64_t days = DaysFromCivil(st->wYear, st->wMonth, st->wDay);
  const int64_t ticks = days * kTicksPerDay + st->wHour * 3600 * kTicksPerSecond +
                        st->wMinute * 60 * kTicksPerSecond + st->wSecond * kTicksPerSecond +
                        st->wMilliseconds * kTicksPerMs;
  ft->dwLowDateTime = static_cast<DWORD>(static_cast<uint64_t>(ticks));
  ft->dwHighDateTime = static_cast<DWORD>(static_cast<uint64_t>(ticks) >> 32);
  return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME* ft, SYSTEMTIME* st) {
  if (!ft || !st) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const uint64_t value = (static_cast<uint64_t>(ft->dwHighDateTime) << 32) | ft->dwLowDateTime;
  if (value > 0x7FFFFFFFFFFFFFFFULL) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const int64_t ticks = static_cast<int64_t>(value);
  int64_t days = ticks / kTicksPerDay;
  int64_t rest = ticks % kTicksPerDay;
  st->wDayOfWeek = static_cast<WORD>((days + 1) % 7);  // 1601-01-01 was a Monday
  int64_t year = 1601 + (days / 146097) * 400;
  days %= 146097;
  while (days >= (IsLeap(year) ? 366 : 365)) {
    days -= IsLeap(year) ? 366 : 365;
    ++year;
  }
  int month = 1;
  while (days >= DaysInMonth(year, month)) {
    days -= DaysInMonth(year, month);
    ++month;
  }
  st->wYear = static_cast<WORD>(year);
  st->wMonth = static_cast<WORD>(month);
  st->wDay = static_cast<WORD>(days + 1);
  st->wHour = static_cast<WORD>(rest / (3600 * kTicksPerSecond));
  rest %= 3600 * kTicksPerSecond;
  st->wMinute = static_cast<WORD>(rest / (60 * kTicksPerSecond));
  rest %= 60 * kTicksPerSecond;
  st->wSecond = static_cast<WORD>(rest / kTicksPerSecond);
  st->wMilliseconds = static_cast<WORD>((rest % kTicksPerSecond) / kTicksPerMs);
  return TRUE;
}

void GetSystemTimeAsFileTime(FILETIME* ft) {
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  const uint64_t ticks = static_cast<uint64_t>(now.tv_sec + kDaysTo1970 * 86400) * kTicksPerSecond +
                         static_cast<uint64_t>(now.tv_nsec / 100);
  ft->dwLowDateTime = static_cast<DWORD>(ticks);
  ft->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
}

BOOL IsBadStringPtrA(LPCSTR text, ULONG_PTR /*maxLength*/) {
  // Without structured exceptions only a null pointer can be recognised.
  return text == nullptr;
}

}  // extern "C"
