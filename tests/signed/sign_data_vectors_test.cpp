// Published signed messages (RFC 4134 examples 4.x, the TK26 GOST example)
// through every reader and writer of SignData and MessageSignerInfo.
#include <gtest/gtest.h>

#include "signed/signed_fixtures.h"

namespace cmskit::signtest {
namespace {

struct Vector {
  const char *file, *content;  // content null when detached
  size_t signers, certificates, crls;
  bool ber;
  DWORD version;  // this and what follows: of the first signer info
  size_t signedAttrs, unsignedAttrs;
  uint64_t time;
};

// Counts as `openssl cms -cmsout -print` lists them.
const Vector kVectors[] = {
    {"rfc4134/4.1.bin", "rfc4134/ExContent.bin", 1, 1, 0, false, 1, 0, 0, 0},
    {"rfc4134/4.2.bin", "rfc4134/ExContent.bin", 1, 1, 0, false, 1, 0, 0, 0},
    {"rfc4134/4.3.bin", nullptr, 1, 1, 0, false, 1, 0, 0, 0},
    {"rfc4134/4.4.bin", "rfc4134/ExContent.bin", 1, 3, 1, false, 1, 3, 2, Ticks(2003, 5, 14, 15, 39, 0)},
    {"rfc4134/4.5.bin", "rfc4134/ExContent.bin", 1, 2, 0, true, 1, 0, 0, 0},
    {"rfc4134/4.6.bin", "rfc4134/ExContent.bin", 2, 2, 0, false, 1, 0, 0, 0},
    {"rfc4134/4.7.bin", "rfc4134/ExContent.bin", 1, 1, 0, false, 3, 0, 0, 0},
    {"rfc4134/4.10.bin", "rfc4134/ExContent.bin", 1, 1, 0, false, 1, 10, 0, 0},
    {"rfc4134/4.11.bin", nullptr, 0, 2, 1, false, 0, 0, 0, 0},
    {"tk26/Signed_256.der", "tk26/test_message.txt", 1, 0, 0, false, 1, 0, 0, 0},
};

class SignedVectors : public ::testing::TestWithParam<Vector> {};

TEST_P(SignedVectors, ThroughEveryPath) {
  const Vector& v = GetParam();
  const std::string path = TestData(std::string("signed/") + v.file);
  const Bytes content = v.content ? ReadBytes(TestData(std::string("signed/") + v.content)) : Bytes();
  TempDir dir;
  const Bytes expected = v.ber ? Bytes() : WithNullDigestParameters(ReadBytes(path));
  const SignData memory = ExpectRoundTrip(path, content, expected, dir.Path("out.der")).first;
  EXPECT_EQ(memory.signerInfos.size(), v.signers);
  EXPECT_EQ(memory.certificates.size(), v.certificates);
  EXPECT_EQ(memory.crls.size(), v.crls);
  std::vector<MessageSignerInfo> infos = ExpectSignerInfos(memory);
  if (infos.empty()) return;
  EXPECT_EQ(infos[0].version, v.version);
  EXPECT_EQ(infos[0].signedAttrs.size(), v.signedAttrs);
  EXPECT_EQ(infos[0].unsignedAttrs.size(), v.unsignedAttrs);
  int error = -1;
  EXPECT_EQ(Ticks(infos[0].GetSigningData(&error)), v.time);
  EXPECT_EQ(static_cast<DWORD>(error), v.time ? 0 : kNotFound);
}

INSTANTIATE_TEST_SUITE_P(Published, SignedVectors, ::testing::ValuesIn(kVectors),
                         [](const ::testing::TestParamInfo<Vector>& info) {
                           std::string name = info.param.file;
                           for (char& c : name)
                             if (!isalnum(static_cast<unsigned char>(c))) c = '_';
                           return name;
                         });

}  // namespace
}  // namespace cmskit::signtest
