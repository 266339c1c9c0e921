// Status mapping, the XTOO error records and the exported-boundary helpers.
#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <string>

#include "cmskit/status.h"
#include "common/table.h"
#include "platform/win32.h"
#include "tools/boundary.h"

namespace cmskit {
namespace {

// The mapping tables are in tools/cases.txt.
TEST(StatusTables, MapEveryBand) {
  const cmskit_testing::Table table("tools/cases.txt");
  for (const cmskit_testing::Row& m : table.Rows("toWin32"))
    EXPECT_EQ(StatusToWin32(std::stoi(m[0])), std::stoul(m[1], nullptr, 0)) << m.where;
  for (const cmskit_testing::Row& m : table.Rows("toStatus"))
    EXPECT_EQ(Win32ToStatus(static_cast<uint32_t>(std::stoul(m[0], nullptr, 0))), std::stoi(m[1])) << m.where;
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
