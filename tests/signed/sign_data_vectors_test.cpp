// Published signed messages (RFC 4134 examples 4.x, the TK26 GOST example)
// through every reader and writer of SignData and MessageSignerInfo.
#include <gtest/gtest.h>

#include "signed/signed_fixtures.h"

namespace cmskit::signtest {
namespace {

struct Vector {
  const char* file;
  const char* content;  // file of the encapsulated content, or null when detached
  size_t signers, certificates, crls;
  bool ber;
  // Of the first signer info: its version, attribute counts and signing time.
  DWORD version;
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
  const Bytes input = ReadBytes(path);
  ASSERT_FALSE(input.empty()) << path;
  const Bytes content = v.content ? ReadBytes(TestData(std::string("signed/") + v.content)) : Bytes();

  SignData memory;
  int error = -1;
  ASSERT_TRUE(ReadMemory(memory, input, &error)) << std::hex << error;
  EXPECT_EQ(Of(memory.encapContentInfo.data), content);
  EXPECT_EQ(memory.signerInfos.size(), v.signers);
  EXPECT_EQ(memory.certificates.size(), v.certificates);
  EXPECT_EQ(memory.crls.size(), v.crls);
  const Bytes written = Of(memory.WriteObject(&error));
  ASSERT_EQ(error, 0);
  // Byte for byte, but for digest algorithms sent without parameters.
  if (!v.ber) {
    EXPECT_EQ(written, WithNullDigestParameters(input));
  }
  SignData again;
  ASSERT_TRUE(ReadMemory(again, written));
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
  const std::string out = dir.Path("out.der"), detached = dir.Path("content.out");
  EXPECT_EQ(WriteToFile(file, out), written.size());
  EXPECT_EQ(ReadBytes(out), written);
  ToSignStruct target = FileTarget(detached);
  ASSERT_TRUE(file.DetachData(target, nullptr));
  EXPECT_EQ(ReadBytes(detached), content);

  if (!v.signers) return;
  const Bytes signer = Of(memory.signerInfos.front());
  MessageSignerInfo info;
  EXPECT_EQ(info.ReadData(signer.data(), static_cast<DWORD>(signer.size()), &error), signer.size());
  ASSERT_EQ(error, 0);
  EXPECT_EQ(info.version, v.version);
  EXPECT_EQ(info.signedAttrs.size(), v.signedAttrs);
  EXPECT_EQ(info.unsignedAttrs.size(), v.unsignedAttrs);
  EXPECT_EQ(Of(info.WriteData(&error)), WithNullParameters(signer));
  EXPECT_EQ(Ticks(info.GetSigningData(&error)), v.time);
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
