// Status mapping, the XTOO error records and the exported-boundary helpers.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <new>
#include <string>

#include "cmskit/status.h"
#include "platform/win32.h"
#include "tools/boundary.h"

namespace cmskit {
namespace {

// Edge statuses, rows of every band and the gaps between them.
// clang-format off
const int64_t kToWin32[][2] = {
    {0, 0}, {7, 1627}, {238, 1627}, {501, 5}, {1037, 1627}, {-1, 1627}, {INT_MIN, 1627}, {INT_MAX, 1627},
    {1, 1326}, {19, 12}, {52, 2}, {148, 1223}, {16, 8}, {17, 110}, {28, 160}, {134, 1358}, {194, 259},
    {5, 0x80092003}, {37, 0x80091008}, {45, 1627}, {64, 266}, {115, 120}, {117, 120}, {118, 1627},
    {205, 0x8009310B}, {206, 0x80093103}, {233, 0x8009000B}, {234, 1627}, {236, 1330}, {237, 1330},
    {500, 1627}, {502, 1627}, {1038, 0x80090019}, {1039, 0x80090022}, {1040, 0x800B0110},
    {1041, 0x800B010E}, {1042, 1627}};
const int64_t kToStatus[][2] = {
    {0, 0}, {2, 4}, {126, 4}, {5, 501}, {29, 6}, {160, 28}, {266, 64}, {1785, 182}, {8344, 106},
    {0x80070057, 28}, {0x80090017, 28}, {0x80090016, 1038}, {0x80093103, 206}, {0x8009310B, 205},
    {0x800B0005, 206}, {0x800B0102, 202}, {0x8010006F, 217}, {0x80310036, 222}, {1, 36}, {4, 36},
    {0xFFFFFFFF, 36}};
// clang-format on

TEST(StatusTables, MapEveryBand) {
  for (const auto& m : kToWin32) EXPECT_EQ(StatusToWin32(static_cast<int>(m[0])), m[1]) << m[0];
  for (const auto& m : kToStatus) EXPECT_EQ(Win32ToStatus(static_cast<uint32_t>(m[0])), m[1]) << m[0];
  EXPECT_EQ(StatusToWin32(Win32ToStatus(5)), 5u);  // not inverse to each other in general
  EXPECT_EQ(StatusToWin32(Win32ToStatus(0x80090020)), 1627u);
}

// The class of the thrown record ("nothing" when none) and its status.
template <class Body>
std::string Caught(Body&& body, uint32_t* status = nullptr) {
  try {
    body();
  } catch (const XTOOStatus& e) {
    if (status) *status = e.status;
    return dynamic_cast<const XTOOFile*>(&e)    ? "XTOOFile"
           : dynamic_cast<const XTOOErrno*>(&e) ? "XTOOErrno"
                                                : "XTOOStatus";
  }
  return "nothing";
}

TEST(XTOO, SettersRaiseOnlyErrorsAndEachClassJudgesItsOwnCodes) {
  XTOOStatus record(5, true);
  EXPECT_EQ(Caught([&] { record.SetStatus(0); }), "nothing");
  uint32_t thrown = 0;
  XTOOErrno errnoRecord(0, true);
  EXPECT_EQ(Caught([&] { errnoRecord.SetErrno(ENOENT); }), "XTOOErrno");
  XTOOFile file(true);
  EXPECT_EQ(Caught([&] { file.SetFileError(17, ENOENT); }, &thrown), "XTOOFile");
  EXPECT_EQ(thrown, 17u);  // both codes stored before the throw
  EXPECT_EQ(file.GetErrno(), static_cast<uint32_t>(ENOENT));

  XTOOErrno onlyErrno;
  onlyErrno.status = 5;
  EXPECT_FALSE(onlyErrno.IsError());
  onlyErrno.errnum = 13;
  onlyErrno.Clear();
  EXPECT_EQ(onlyErrno.errnum + onlyErrno.status, 5u);
  EXPECT_STREQ(XTOOStatus(206).GetText().c_str(), "Status = 206");
  EXPECT_STREQ(XTOOErrno(ENOENT).GetText().c_str(), strerror(ENOENT));
  XTOOFile quiet;
  quiet.SetFileError(45, ENOENT);
  EXPECT_STREQ(quiet.GetText().c_str(), "Status = 45");
  const XTOOStatus copy(XTOOStatus(206, "ASNTGetSequence", true));
  EXPECT_EQ(copy.status + copy.raise, 207u);
  EXPECT_STREQ(copy.message.c_str(), "ASNTGetSequence");
}

TEST(Boundary, ReportCatchDeliverAndRethrow) {
  int status = -1;
  ReportStatus(&status, 206, "CASNTUnit::Read");
  EXPECT_EQ(status, 206);
  uint32_t thrown = 0;
  EXPECT_EQ(Caught([] { ReportStatus(nullptr, 205, "CASNTUnit::Read"); }, &thrown), "XTOOStatus");
  EXPECT_EQ(thrown, 205u);
  EXPECT_EQ(CatchStatus([] { XTOOFile(true).SetFileError(17, 2); }), 17);
  EXPECT_EQ(CatchStatus([] { throw std::bad_alloc(); }), 16);
  EXPECT_EQ(CatchStatus([] { ThrowNoMemory(); }), 16);

  int error = -1;
  SetLastError(12345);
  EXPECT_FALSE(DeliverStatus(&error, 206));
  EXPECT_EQ(static_cast<uint32_t>(error), 0x80093103u);
  EXPECT_TRUE(DeliverStatus(nullptr, 0));
  RunOrRethrow(&error, [] { throw std::bad_alloc(); });
  EXPECT_EQ(error, 8);
  EXPECT_EQ(GetLastError(), 12345u);  // untouched while pError is given
  EXPECT_FALSE(DeliverStatus(nullptr, 206));
  EXPECT_EQ(GetLastError(), 0x80093103u);

  EXPECT_EQ(Caught([] { RunOrRethrow(nullptr, [] { XTOOFile(true).SetFileError(17, 2); }); }, &thrown),
            "XTOOFile");  // not sliced
}

}  // namespace
}  // namespace cmskit
