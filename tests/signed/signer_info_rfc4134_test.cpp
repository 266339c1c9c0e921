// The signer infos of the RFC 4134 signed examples.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cmskit/cmskit.h"
#include "signed/signer_info_fixtures.h"

namespace cmskit::testing {
namespace {

struct Example {
  const char* file;
  DWORD version;
  size_t signedCount;
  size_t unsignedCount;
  bool absentParameters;  // DSA examples leave the algorithm parameters out
  DWORD timeCode;         // of GetSigningData
  FILETIME time;
};

class SignerInfoRfc4134 : public ::testing::TestWithParam<Example> {
 protected:
  Bytes Signer() {
    const Bytes message = ReadFileBytes(std::string(CMSKIT_TEST_DATA) + "/signed/rfc4134/" + GetParam().file);
    const std::vector<Bytes> signers = SignerInfosOf(message);
    EXPECT_EQ(signers.size(), 1u);
    return signers.empty() ? Bytes{} : signers.front();
  }
};

TEST_P(SignerInfoRfc4134, ReadsAndWritesBack) {
  const Bytes input = Signer();
  ASSERT_FALSE(input.empty());
  MessageSignerInfo info;
  int error = -1;
  EXPECT_EQ(info.ReadData(input.data(), static_cast<DWORD>(input.size()), &error), input.size());
  ASSERT_EQ(error, 0);
  EXPECT_EQ(info.version, GetParam().version);
  EXPECT_EQ(info.signedAttrs.size(), GetParam().signedCount);
  EXPECT_EQ(info.unsignedAttrs.size(), GetParam().unsignedCount);

  const Bytes out = BytesOf(info.WriteData(&error));
  EXPECT_EQ(error, 0);
  EXPECT_EQ(out, WithNullParameters(input));
  if (!GetParam().absentParameters) {
    EXPECT_EQ(out, input);
  }

  MessageSignerInfo again;
  EXPECT_EQ(again.ReadData(out.data(), static_cast<DWORD>(out.size()), &error), out.size());
  EXPECT_TRUE(again == info);
}

TEST_P(SignerInfoRfc4134, SigningTime) {
  const Bytes input = Signer();
  MessageSignerInfo info;
  ASSERT_NE(info.ReadData(input.data(), static_cast<DWORD>(input.size()), nullptr), 0u);
  int error = -1;
  const FILETIME time = info.GetSigningData(&error);
  EXPECT_EQ(static_cast<DWORD>(error), GetParam().timeCode);
  EXPECT_EQ(time.dwLowDateTime, GetParam().time.dwLowDateTime);
  EXPECT_EQ(time.dwHighDateTime, GetParam().time.dwHighDateTime);
}

const FILETIME kNoTime{0, 0};

INSTANTIATE_TEST_SUITE_P(Vectors, SignerInfoRfc4134,
                         ::testing::Values(
                             // RSA, issuer and serial number, no attributes.
                             Example{"4.2.bin", 1, 0, 0, false, 1168, kNoTime},
                             // DSA with signed attributes and a countersignature among the unsigned ones.
                             Example{"4.4.bin", 1, 3, 2, true, 0, FileTimeOf(2003, 5, 14, 15, 39, 0)},
                             // An indefinite-length message around a definite-length signer info.
                             Example{"4.5.bin", 1, 0, 0, false, 1168, kNoTime},
                             // Subject key identifier.
                             Example{"4.7.bin", 3, 0, 0, true, 1168, kNoTime},
                             // Many signed attributes, none of them a signing time.
                             Example{"4.10.bin", 1, 10, 0, true, 1168, kNoTime}),
                         [](const ::testing::TestParamInfo<Example>& info) {
                           std::string name = info.param.file;
                           for (char& c : name) {
                             if (c == '.') c = '_';
                           }
                           return "Rfc" + name;
                         });

}  // namespace
}  // namespace cmskit::testing
