// The messages and tables of signed/cases.txt, the codes the signed classes
// report, and a window on SignData's private helpers.
#ifndef CMSKIT_TESTS_SIGNED_SIGNED_FIXTURES_H
#define CMSKIT_TESTS_SIGNED_SIGNED_FIXTURES_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "common/sign_data_util.h"
#include "common/table.h"

namespace cmskit {

class SignDataTestPeer {
 public:
  static void FillEntry(SignData& message, const CASNTUnit& root) { message.FillEntry(root); }
  static int Certificates(SignData& m, const IdentObj& e) { return m.ReadObject_CertificateSet(e); }
};

namespace signtest {

using namespace cmskit_testing;

constexpr DWORD kCorrupt = 0x80093103;
constexpr DWORD kBadTag = 0x8009310B;
constexpr DWORD kNotFound = 1168;

inline const Table& Cases() {
  static const Table table("signed/cases.txt");
  return table;
}
inline Bytes Octets(const std::string& field) { return Cases().Octets(field); }
// A code of the tables: hex with 0x, or decimal.
inline DWORD Code(const std::string& field) { return static_cast<DWORD>(std::stoul(field, nullptr, 0)); }

// `read(pError)` fails with `code`: in *pError, and without pError in the
// last error and a false or zero result.
template <class Read>
void ExpectFails(Read read, DWORD code) {
  int error = -1;
  read(&error);
  EXPECT_EQ(static_cast<DWORD>(error), code);
  SetLastError(0);
  EXPECT_FALSE(read(nullptr));
  EXPECT_EQ(GetLastError(), code);
}

// ReadData and WriteData of the element classes, over Bytes.
template <class T>
DWORD Read(T& object, const Bytes& input, int* error = nullptr) {
  return object.ReadData(input.data(), static_cast<DWORD>(input.size()), error);
}
template <class T>
Bytes Write(T&& object) {
  int error = -1;
  const Bytes out = Of(object.WriteData(&error));
  EXPECT_EQ(error, 0);
  return out;
}

inline IdentObj Dotted(const char* text) {
  IdentObj object;
  object = text;
  return object;
}

// FILETIME ticks of a UTC calendar time (days-from-civil, no platform calls).
inline uint64_t Ticks(int year, unsigned month, unsigned day, unsigned hour, unsigned minute,
                      unsigned second) {
  year -= month <= 2;
  const int era = (year >= 0 ? year : year - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(year - era * 400);
  const unsigned doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const int64_t days = int64_t{era} * 146097 + yoe * 365 + yoe / 4 - yoe / 100 + doy - 719468;
  return static_cast<uint64_t>(days * 86400 + hour * 3600 + minute * 60 + second + 11644473600LL) *
         10000000ULL;
}
inline uint64_t Ticks(const FILETIME& time) {
  return (uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

}  // namespace signtest
}  // namespace cmskit

#endif
