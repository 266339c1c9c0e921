// Published signed messages (RFC 4134 section 4, the TK26 GOST example)
// through every reader and writer of SignData.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "signed/sign_data_fixtures.h"

namespace cmskit::signtest {
namespace {

std::string Data(const std::string& name) { return std::string(CMSKIT_TEST_DATA) + "/signed/" + name; }

struct Vector {
  const char* file;
  const char* content;  // file of the encapsulated content, or null when detached
  size_t signers;
  size_t certificates;
  size_t crls;
  bool ber;
};

// Counts as openssl itself lists them (openssl cms -cmsout -print).
const Vector kVectors[] = {
    {"rfc4134/4.1.bin", "rfc4134/ExContent.bin", 1, 1, 0, false},
    {"rfc4134/4.2.bin", "rfc4134/ExContent.bin", 1, 1, 0, false},
    {"rfc4134/4.3.bin", nullptr, 1, 1, 0, false},
    {"rfc4134/4.4.bin", "rfc4134/ExContent.bin", 1, 3, 1, false},
    {"rfc4134/4.5.bin", "rfc4134/ExContent.bin", 1, 2, 0, true},
    {"rfc4134/4.6.bin", "rfc4134/ExContent.bin", 2, 2, 0, false},
    {"rfc4134/4.7.bin", "rfc4134/ExContent.bin", 1, 1, 0, false},
    {"rfc4134/4.10.bin", "rfc4134/ExContent.bin", 1, 1, 0, false},
    {"rfc4134/4.11.bin", nullptr, 0, 2, 1, false},
    {"tk26/Signed_256.der", "tk26/test_message.txt", 1, 0, 0, false},
};

class SignedVectors : public ::testing::TestWithParam<Vector> {};

TEST_P(SignedVectors, ThroughEveryPath) {
  const Vector& v = GetParam();
  const std::string path = Data(v.file);
  const Bytes input = ReadBytes(path);
  ASSERT_FALSE(input.empty()) << path;
  const Bytes content = v.content ? ReadBytes(Data(v.content)) : Bytes();

  SignData memory;
  int error = -1;
  ASSERT_TRUE(memory.ReadObject(input.data(), static_cast<DWORD>(input.size()), &error)) << std::hex << error;
  EXPECT_EQ(Of(memory.encapContentInfo.data), content);
  EXPECT_EQ(memory.signerInfos.size(), v.signers);
  EXPECT_EQ(memory.certificates.size(), v.certificates);
  EXPECT_EQ(memory.crls.size(), v.crls);
  const Bytes written = Of(memory.WriteObject(&error));
  ASSERT_EQ(error, 0);
  if (!v.ber) {
    // Byte for byte, but for digest algorithms sent without parameters.
    EXPECT_EQ(written, WithNullDigestParameters(input));
  }
  SignData again;
  ASSERT_TRUE(again.ReadObject(written.data(), static_cast<DWORD>(written.size()), nullptr));
  EXPECT_EQ(again.signerInfos, memory.signerInfos);
  EXPECT_EQ(again.certificates, memory.certificates);
  EXPECT_EQ(again.crls, memory.crls);
  EXPECT_EQ(Of(again.encapContentInfo.data), content);

  SignData file;
  EXPECT_EQ(ReadFromFile(file, path, 0, &error), input.size());
  EXPECT_EQ(error, 0);
  EXPECT_EQ(file.signerInfos, memory.signerInfos);
  EXPECT_EQ(file.certificates, memory.certificates);
  EXPECT_EQ(file.crls, memory.crls);
  EXPECT_EQ(file.GetDataInfo().flags, content.empty() ? 0u : (v.ber ? 3u : 1u));
  if (!content.empty() && !v.ber) {
    EXPECT_EQ(Bytes(input.begin() + file.GetDataInfo().begin, input.begin() + file.GetDataInfo().end),
              content);
  }
  TempDir dir;
  const std::string out = dir.Path("out.der");
  EXPECT_EQ(WriteToFile(file, out), written.size());
  EXPECT_EQ(ReadBytes(out), written);

  const std::string detached = dir.Path("content.out");
  ToSignStruct target = FileTarget(detached);
  ASSERT_TRUE(file.DetachData(target, nullptr));
  EXPECT_EQ(ReadBytes(detached), content);
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
