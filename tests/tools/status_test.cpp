// Status mapping, the XTOO error records and the exported-boundary helpers.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <new>
#include <string>

#include "cmskit/status.h"
#include "platform/win32.h"
#include "tools/boundary.h"

namespace cmskit {
namespace {

struct Mapping {
  int64_t from;
  uint32_t to;
};

// Edge statuses, a few rows of every band, and the gaps between them.
// clang-format off
const Mapping kStatusToWin32Cases[] = {
    {0, 0}, {7, 1627}, {238, 1627}, {501, 5}, {1037, 1627}, {-1, 1627}, {INT_MIN, 1627}, {INT_MAX, 1627},
    {1, 1326}, {19, 12}, {52, 2}, {148, 1223}, {16, 8}, {17, 110}, {28, 160}, {134, 1358}, {194, 259},
    {5, 0x80092003}, {37, 0x80091008}, {45, 1627}, {64, 266}, {115, 120}, {117, 120}, {118, 1627},
    {205, 0x8009310B}, {206, 0x80093103}, {233, 0x8009000B}, {234, 1627}, {236, 1330}, {237, 1330},
    {500, 1627}, {502, 1627}, {1038, 0x80090019}, {1039, 0x80090022}, {1040, 0x800B0110},
    {1041, 0x800B010E}, {1042, 1627}};

const Mapping kWin32ToStatusCases[] = {
    {0, 0}, {2, 4}, {126, 4}, {5, 501}, {29, 6}, {160, 28}, {266, 64}, {1785, 182}, {8344, 106},
    {0x80070057, 28}, {0x80090017, 28}, {0x80090016, 1038}, {0x80093103, 206}, {0x8009310B, 205},
    {0x800B0005, 206}, {0x800B0102, 202}, {0x8010006F, 217}, {0x80310036, 222}, {1, 36}, {4, 36},
    {0xFFFFFFFF, 36}};
// clang-format on

TEST(StatusTables, MapEveryBand) {
  for (const Mapping& m : kStatusToWin32Cases) {
    EXPECT_EQ(StatusToWin32(static_cast<int>(m.from)), m.to) << "status " << m.from;
  }
  for (const Mapping& m : kWin32ToStatusCases) {
    EXPECT_EQ(Win32ToStatus(static_cast<uint32_t>(m.from)), static_cast<int>(m.to)) << "code " << m.from;
  }
  // Not inverse to each other: 5 and 2 come back, 0x80090020 does not.
  EXPECT_EQ(StatusToWin32(Win32ToStatus(5)), 5u);
  EXPECT_EQ(StatusToWin32(Win32ToStatus(2)), 2u);
  EXPECT_EQ(StatusToWin32(Win32ToStatus(0x80090020)), 1627u);
}

// The class of the thrown record ("nothing" when none) and its status.
template <class Body>
std::string CaughtType(Body&& body, uint32_t* status = nullptr) {
  const char* type = "nothing";
  try {
    body();
  } catch (const XTOOStatus& e) {
    type = dynamic_cast<const XTOOFile*>(&e)    ? "XTOOFile"
           : dynamic_cast<const XTOOErrno*>(&e) ? "XTOOErrno"
                                                : "XTOOStatus";
    if (status) *status = e.status;
  }
  return type;
}

TEST(XTOO, SettersRaiseOnlyErrorsAndOnlyWhenAsked) {
  XTOOStatus record(5, true);
  EXPECT_EQ(CaughtType([&] { record.SetStatus(0); }), "nothing");
  uint32_t thrown = 0;
  EXPECT_EQ(CaughtType([&] { record.SetStatus(3); }, &thrown), "XTOOStatus");
  EXPECT_EQ(thrown, 3u);
  XTOOStatus passive(0, false);
  passive.SetStatus(206);
  EXPECT_EQ(passive.GetStatus(), 206);

  XTOOErrno errnoRecord(0, true);
  EXPECT_EQ(CaughtType([&] { errnoRecord.SetErrno(ENOENT); }), "XTOOErrno");
  XTOOFile fileRecord(true);
  EXPECT_EQ(CaughtType([&] { fileRecord.SetFileError(17, ENOENT); }, &thrown), "XTOOFile");
  EXPECT_EQ(thrown, 17u);  // both codes stored before the throw
  EXPECT_EQ(fileRecord.GetErrno(), static_cast<uint32_t>(ENOENT));
  EXPECT_EQ(CaughtType([&] { fileRecord.SetFileError(0, 0); }), "nothing");
  EXPECT_EQ(CaughtType([] { XTOOStatus(4, false).Raise(); }), "XTOOStatus");
  EXPECT_EQ(CaughtType([] { XTOOErrno(2, false).Raise(); }), "XTOOErrno");
}

TEST(XTOO, TextsAndCopies) {
  EXPECT_STREQ(XTOOStatus(206).GetText().c_str(), "Status = 206");
  EXPECT_STREQ(XTOOErrno(ENOENT).GetText().c_str(), strerror(ENOENT));
  XTOOFile file;
  file.SetFileError(45, ENOENT);
  EXPECT_STREQ(file.GetText().c_str(), "Status = 45");
  const XTOOStatus copy(XTOOStatus(206, "ASNTGetSequence", true));
  EXPECT_EQ(copy.status, 206u);
  EXPECT_EQ(copy.raise, 1);
  EXPECT_STREQ(copy.message.c_str(), "ASNTGetSequence");
}

TEST(XTOO, EachClassJudgesAndClearsItsOwnCodes) {
  XTOOErrno errnoRecord;
  errnoRecord.status = 5;
  EXPECT_FALSE(errnoRecord.IsError());  // only errnum counts
  errnoRecord.errnum = 13;
  EXPECT_TRUE(errnoRecord.IsError());
  errnoRecord.Clear();
  EXPECT_EQ(errnoRecord.errnum, 0u);
  EXPECT_EQ(errnoRecord.status, 5u);

  XTOOFile file;
  file.status = 5;
  EXPECT_TRUE(file.IsError());
  file.status = 0;
  file.errnum = 13;
  EXPECT_TRUE(file.IsError());
  file.status = 7;
  file.Clear();
  EXPECT_EQ(file.status + file.errnum, 0u);
}

TEST(Boundary, ReportStatusStoresOrThrowsWithTheRoutineName) {
  int status = -1;
  ReportStatus(&status, 206, "CASNTUnit::Read");
  EXPECT_EQ(status, 206);
  ReportStatus(nullptr, 0, "CASNTUnit::Read");
  try {
    ReportStatus(nullptr, 205, "CASNTUnit::Read");
    FAIL() << "no exception";
  } catch (const XTOOStatus& e) {
    EXPECT_EQ(e.GetStatus(), 205);
    EXPECT_STREQ(e.message.c_str(), "CASNTUnit::Read");
    EXPECT_EQ(e.raise, 0);
  }
}

TEST(Boundary, CatchStatusTurnsExceptionsIntoStatuses) {
  EXPECT_EQ(CatchStatus([] {}), 0);
  EXPECT_EQ(CatchStatus([] { throw XTOOStatus(205); }), 205);
  EXPECT_EQ(CatchStatus([] { XTOOFile(true).SetFileError(17, 2); }), 17);
  EXPECT_EQ(CatchStatus([] { throw std::bad_alloc(); }), 16);
  try {
    ThrowNoMemory();
    FAIL() << "no exception";
  } catch (const XTOOStatus& e) {
    EXPECT_EQ(e.GetStatus(), 16);
    EXPECT_EQ(e.raise, 1);
    EXPECT_EQ(e.message.GetLength(), 0u);
  }
}

TEST(Boundary, DeliverStatusUsesPErrorOrTheLastError) {
  int error = -1;
  SetLastError(12345);
  EXPECT_FALSE(DeliverStatus(&error, 206));
  EXPECT_EQ(static_cast<uint32_t>(error), 0x80093103u);
  EXPECT_TRUE(DeliverStatus(&error, 0));
  EXPECT_EQ(error, 0);
  EXPECT_TRUE(DeliverStatus(nullptr, 0));
  EXPECT_EQ(GetLastError(), 12345u);  // untouched so far
  EXPECT_FALSE(DeliverStatus(nullptr, 206));
  EXPECT_EQ(GetLastError(), 0x80093103u);
}

TEST(Boundary, RunOrRethrowStoresWithPErrorAndRethrowsWithout) {
  int error = -1;
  SetLastError(12345);
  RunOrRethrow(&error, [] {});
  EXPECT_EQ(error, 0);
  RunOrRethrow(&error, [] { throw XTOOStatus(206, "inner", false); });
  EXPECT_EQ(static_cast<uint32_t>(error), 0x80093103u);
  RunOrRethrow(&error, [] { throw std::bad_alloc(); });
  EXPECT_EQ(error, 8);
  uint32_t thrown = 0;
  EXPECT_EQ(CaughtType([] { RunOrRethrow(nullptr, [] { XTOOFile(true).SetFileError(17, 2); }); }, &thrown),
            "XTOOFile");  // unchanged, not sliced
  EXPECT_EQ(thrown, 17u);
  EXPECT_EQ(CaughtType([] { RunOrRethrow(nullptr, [] { throw std::bad_alloc(); }); }, &thrown), "XTOOStatus");
  EXPECT_EQ(thrown, 16u);
  EXPECT_EQ(GetLastError(), 12345u);
}

}  // namespace
}  // namespace cmskit
