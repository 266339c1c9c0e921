// Published signed messages (RFC 4134 examples 4.x, the TK26 GOST example)
// through every reader and writer of SignData and MessageSignerInfo.
#include <gtest/gtest.h>

#include <sstream>

#include "signed/signed_fixtures.h"

namespace cmskit::signtest {
namespace {

TEST(SignedVectors, ThroughEveryPath) {
  TempDir dir;
  for (const Row& row : Cases().Rows("vectors")) {
    SCOPED_TRACE(row.where);
    const std::string path = TestData("signed/" + row[0]);
    const Bytes content = row[1] == "-" ? Bytes() : ReadBytes(TestData("signed/" + row[1]));
    const Bytes expected = row[3] == "ber" ? Bytes() : WithNullDigestParameters(ReadBytes(path));
    const SignData memory = ExpectRoundTrip(path, content, expected, dir.Path("out.der")).first;
    std::istringstream counts(row[2] + " " + row[4] + " " + row[5]);
    size_t signers = 0, certificates = 0, crls = 0, signedAttrs = 0, unsignedAttrs = 0;
    DWORD version = 0;
    int year = 0;
    unsigned month = 0, day = 0, hour = 0, minute = 0, second = 0;
    counts >> signers >> certificates >> crls >> version >> signedAttrs >> unsignedAttrs >> year >> month >>
        day >> hour >> minute >> second;
    EXPECT_EQ(memory.signerInfos.size(), signers);
    EXPECT_EQ(memory.certificates.size(), certificates);
    EXPECT_EQ(memory.crls.size(), crls);
    std::vector<MessageSignerInfo> infos = ExpectSignerInfos(memory);
    if (infos.empty()) continue;
    EXPECT_EQ(infos[0].version, version);
    EXPECT_EQ(infos[0].signedAttrs.size(), signedAttrs);
    EXPECT_EQ(infos[0].unsignedAttrs.size(), unsignedAttrs);
    int error = -1;
    EXPECT_EQ(Ticks(infos[0].GetSigningData(&error)),
              year ? Ticks(year, month, day, hour, minute, second) : 0);
    EXPECT_EQ(static_cast<DWORD>(error), year ? 0 : kNotFound);
  }
}

}  // namespace
}  // namespace cmskit::signtest
