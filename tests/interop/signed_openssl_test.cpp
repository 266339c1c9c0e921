// SignData and MessageSignerInfo against messages the openssl command signs at
// test time: read from memory and files, written back as DER (absent digest
// parameters as NULL), detached and re-attached, and verified again by openssl.
#include <gtest/gtest.h>

#include <ctime>

#include "common/sign_data_util.h"
#include "common/table.h"

namespace cmskit_testing {
namespace {

using cmskit::MessageSignerInfo;

class SignedOpenssl : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!S().ok()) GTEST_SKIP() << "the openssl command is not available";
  }
  static Openssl& S() { return Openssl::Get(); }
  static std::string Path(const std::string& name) { return S().Path(name); }

  // openssl checks the signature over the content the message carries.
  static bool Verifies(const std::string& message, const Bytes& content) {
    const std::string out = Path("verified.out");
    std::remove(out.c_str());
    return Shell("openssl cms -verify -noverify -binary -inform DER -in " + message + " -out " + out) &&
           ReadBytes(out) == content;
  }
};

// Fields, attributes in received order and a signing time within the hour.
void ExpectSignerInfos(const SignData& message, DWORD version, const std::vector<std::string>& oids) {
  const uint64_t now = 116444736000000000ULL + static_cast<uint64_t>(std::time(nullptr)) * 10000000ULL;
  for (MessageSignerInfo& info : cmskit_testing::ExpectSignerInfos(message)) {
    EXPECT_EQ(info.version, version);
    EXPECT_EQ(info.subjectKeyIdentifier.IsEmpty(), version == 1);
    EXPECT_EQ(info.signature.size(), 256u);
    std::vector<std::string> got;
    for (const auto& set : info.signedAttrs) got.emplace_back(set.getAttrOID().c_str());
    EXPECT_EQ(got, oids);
    int error = -1;
    const FILETIME time = info.GetSigningData(&error);
    const uint64_t ticks = (uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
    EXPECT_EQ(static_cast<DWORD>(error), oids.empty() ? 1168u : 0u);
    if (!oids.empty()) {
      EXPECT_LT(ticks > now ? ticks - now : now - ticks, 36000000000ULL);
    }
  }
}

const std::vector<std::string> kAttributes = {"1.2.840.113549.1.9.3", "1.2.840.113549.1.9.5",
                                              "1.2.840.113549.1.9.4", "1.2.840.113549.1.9.15"};
const std::vector<std::string> kNoCapabilities(kAttributes.begin(), kAttributes.begin() + 3), kNone;

TEST_F(SignedOpenssl, ReadWrittenBackAndDetached) {
  const Table table("interop/signed_openssl.txt");
  for (const Row& row : table.Rows()) {
    const std::string& options = row[0];
    const bool attached = row[3] == "yes";
    SCOPED_TRACE(row.where);
    const Bytes content = Pattern(3000, 11);
    const Bytes der = S().Make(content, options);
    ASSERT_FALSE(der.empty());
    const Bytes expected = WithNullDigestParameters(der);
    EXPECT_EQ(expected == der, options[0] == 's');
    const std::string written = Path("written.der");
    auto [memory, file] =
        ExpectRoundTrip(Path("message.der"), attached ? content : Bytes(), expected, written);
    EXPECT_EQ(memory.certificates.size(), std::stoul(row[1]));
    EXPECT_EQ(memory.signerInfos.size(), std::stoul(row[2]));
    ExpectSignerInfos(memory, std::stoul(row[4]),
                      row[5] == "all"     ? kAttributes
                      : row[5] == "nocap" ? kNoCapabilities
                                          : kNone);
    if (!attached) continue;
    // Back in: the same message, accepted by openssl.
    const std::string detached = written + ".content";
    ASSERT_TRUE(file.AttachData(FileContent(detached, 0, ToSignStruct::kToEndOfFile), nullptr));
    EXPECT_EQ(WriteToFile(file, written), expected.size());
    EXPECT_EQ(ReadBytes(written), expected);
    EXPECT_TRUE(Verifies(written, content) || row[1] == "0");
  }
}

TEST_F(SignedOpenssl, StreamedBer) {
  for (size_t size : {1, 4096, 4097, 10000}) {
    SCOPED_TRACE(size);
    const Bytes content = Pattern(size, static_cast<unsigned>(size));
    const Bytes ber = S().Make(content, "cms -sign +a -nodetach -stream");
    ASSERT_EQ(ber.at(1), 0x80);  // indefinite lengths indeed
    // Written as DER with one primitive OCTET STRING, the same from the file.
    const std::string written = Path("stream.der");
    ExpectSignerInfos(ExpectRoundTrip(Path("message.der"), content, {}, written).first, 1, kAttributes);
    EXPECT_TRUE(Verifies(written, content));
    SignData again;
    ReadFromFile(again, Path("message.der"));
    EXPECT_EQ(DetachToMemory(again), content);
  }
}

}  // namespace
}  // namespace cmskit_testing
