// Signatures made by the openssl command and published ones, checked through
// SignatureVerifier from memory and from files, and damaged copies of them.
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "common/sign_data_util.h"
#include "common/table.h"
#include "common/test_util.h"

namespace cmskit_testing {
namespace {

using cmskit::SignatureVerifier;
using cmskit::SignData;
using cmskit::SignerReport;
using cmskit::SignerVerdict;

const char* Short(SignerVerdict verdict) {
  static const std::map<SignerVerdict, const char*> names = {
      {SignerVerdict::kValid, "valid"},
      {SignerVerdict::kDigestMismatch, "digest"},
      {SignerVerdict::kSignatureInvalid, "signature"},
      {SignerVerdict::kCertificateNotFound, "notfound"},
      {SignerVerdict::kUnsupportedAlgorithm, "unsupported"},
      {SignerVerdict::kContentTypeMismatch, "ctype"},
      {SignerVerdict::kAttributesMalformed, "malformed"}};
  return names.at(verdict);
}

// Where a detached signature's content comes from; empty: the message's own.
struct Content {
  Content(const Bytes* memory = nullptr, const std::string& file = "") : memory(memory), file(file) {}
  const Bytes* memory;
  std::string file;
};

// The verdicts of every signer, space separated, or "error CODE".
std::string Verdicts(const SignData& message, const Content& content, const std::vector<Bytes>& certs = {}) {
  SignatureVerifier verifier(message);
  for (const Bytes& cert : certs) verifier.AddCertificate(Obj(cert));
  if (content.memory) verifier.SetContent(content.memory->data(), content.memory->size());
  if (!content.file.empty()) verifier.SetContentFile(content.file.c_str());
  std::list<SignerReport> reports;
  int error = 0;
  if (!verifier.VerifyAll(reports, &error)) return "error " + std::to_string(error);
  std::string out;
  for (const SignerReport& report : reports)
    out += std::string(out.empty() ? "" : " ") + Short(report.verdict);
  return out;
}

std::string Repeat(const std::string& verdict, size_t count) {
  std::string out;
  for (size_t i = 0; i < count; ++i) out += (i ? " " : "") + verdict;
  return out;
}

SignData FromMemory(const Bytes& der) {
  SignData message;
  int error = 0;
  EXPECT_TRUE(ReadMemory(message, der, &error)) << error;
  return message;
}

SignData FromFile(const std::string& path) {
  SignData message;
  int error = 0;
  EXPECT_NE(message.ReadObject64(cmskit::CTOOFile(path.c_str(), "rb"), 0, &error), 0u) << error;
  return message;
}

// The Windows providers have no GOST; the Linux one has it with the engine.
bool GostProvider() {
  HCRYPTPROV provider = 0;
  if (!CryptAcquireContextA(&provider, nullptr, nullptr, PROV_GOST_2012_256, CRYPT_VERIFYCONTEXT))
    return false;
  CryptReleaseContext(provider, 0);
  return true;
}

TEST(VerifySamples, PublishedMessages) {
  const Table table("verify/samples.txt");
  for (const Row& row : table.Rows()) {
    SCOPED_TRACE(row.where);
    const Bytes content = row[1] == "-" ? Bytes() : ReadBytes(TestData("verify/" + row[1]));
    std::vector<Bytes> certs;
    std::istringstream names(row[2]);
    for (std::string name; names >> name;) certs.push_back(ReadBytes(TestData("verify/" + name)));
    std::string expected = row[3];
    const bool optional = expected[0] == '?';
    if (optional) expected.erase(0, 1);
    const std::string got = Verdicts(FromMemory(ReadBytes(TestData("verify/" + row[0]))),
                                     {row[1] == "-" ? nullptr : &content}, certs);
    if (optional && !GostProvider() && got == "unsupported") continue;
    EXPECT_EQ(got, expected);
  }
}

struct Signer {
  const char* name;
  const char* newkey;
  bool gost;
};

const Signer kSigners[] = {{"rsa", "rsa:2048", false},
                           {"ec", "ec -pkeyopt ec_paramgen_curve:P-256", false},
                           {"ec384", "ec -pkeyopt ec_paramgen_curve:P-384", false},
                           {"g256", "gost2012_256 -pkeyopt paramset:A", true},
                           {"g512", "gost2012_512 -pkeyopt paramset:A", true}};

struct Case {
  const char* name;
  const char* options;  // for `openssl cms -sign`, +NAME a signer
  bool attached;
  bool attributes;
  bool gost;
};

const Case kCases[] = {
    {"rsa", "-nodetach +rsa", true, true, false},
    {"rsa detached", "+rsa", false, true, false},
    {"rsa streamed", "-nodetach -stream +rsa", true, true, false},
    {"rsa streamed detached", "-stream +rsa", false, true, false},
    {"several signers", "-nodetach +rsa +ec -md sha384 +ec384", true, true, false},
    {"no attributes", "-nodetach -noattr +rsa", true, false, false},
    {"no attributes detached", "-noattr -md sha512 +ec384", false, false, false},
    {"key identifier", "-nodetach -keyid +rsa", true, true, false},
    {"rsa-pss", "-nodetach +rsa -keyopt rsa_padding_mode:pss", true, true, false},
    {"rsa-pss salt 32", "-nodetach -md sha384 +rsa -keyopt rsa_padding_mode:pss -keyopt rsa_pss_saltlen:32",
     true, true, false},
    {"ecdsa", "-nodetach +ec", true, true, false},
    {"gost 2012-256", "-nodetach -engine gost +g256", true, true, true},
    {"gost 2012-512", "-nodetach -engine gost +g512", true, true, true},
    {"gost 2012-512 no attributes", "-nodetach -noattr -engine gost +g512", true, false, true}};

// One octet of the signingTime value: the signature no longer holds, while
// every digest still matches.
Bytes WithSigningTimeChanged(Bytes der) {
  const size_t at = Find(der, Hex("06 09 2a 86 48 86 f7 0d 01 09 05"));
  if (at + 20 < der.size()) der[at + 17] ^= 0x01;
  return der;
}

class VerifyInterop : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!openssl.ok()) GTEST_SKIP() << "no openssl command";
    for (const Signer& signer : kSigners)
      if (!signer.gost || gost) openssl.Cert(signer.name, signer.gost ? "-engine gost" : "", signer.newkey);
  }
  Openssl& openssl = Openssl::Get();
  const bool gost = Shell("openssl engine gost") && GostProvider();
};

TEST_F(VerifyInterop, OpensslMessagesAndDamagedCopies) {
  const Bytes content = Pattern(100000, 7);
  const std::string contentFile = openssl.Path("content.bin");
  WriteBytes(contentFile, content);
  for (const Case& c : kCases) {
    if (c.gost && !gost) continue;
    SCOPED_TRACE(c.name);

    const Bytes der = openssl.Make(content, std::string("cms -sign ") + c.options);
    ASSERT_FALSE(der.empty());
    const std::string path = openssl.Path("signed.der");
    WriteBytes(path, der);
    SignData message = FromMemory(der);
    const size_t signers = message.signerInfos.size();
    const Content own = c.attached ? Content{} : Content{&content};
    EXPECT_EQ(Verdicts(message, own), Repeat("valid", signers));
    EXPECT_EQ(Verdicts(FromFile(path), c.attached ? Content{} : Content{nullptr, contentFile}),
              Repeat("valid", signers));

    Bytes changed = content;
    changed[changed.size() / 2] ^= 0x40;
    const std::string contentVerdict = Repeat(c.attributes ? "digest" : "signature", signers);
    if (c.attached && Find(der, content) < der.size()) {
      Bytes damaged = der;
      damaged[Find(der, content) + content.size() / 2] ^= 0x40;
      EXPECT_EQ(Verdicts(FromMemory(damaged), {}), contentVerdict);
    } else if (!c.attached) {
      EXPECT_EQ(Verdicts(message, {&changed}), contentVerdict);
    }
    if (c.attributes) {
      EXPECT_EQ(Verdicts(FromMemory(WithSigningTimeChanged(der)), own).substr(0, 9), "signature");
    }
    message.certificates.clear();
    EXPECT_EQ(Verdicts(message, own), Repeat("notfound", signers));
  }
}

TEST(VerifyErrors, UnreadableContentAndSigners) {
  const Bytes der = ReadBytes(TestData("verify/rfc4134_4.2.der"));
  SignData message = FromMemory(der);
  EXPECT_EQ(Verdicts(message, {nullptr, TestData("verify/no such file")}), "error 2");
  SignatureVerifier verifier(message);
  SignerReport report;
  int error = 0;
  EXPECT_FALSE(verifier.VerifySigner(1, report, &error));
  EXPECT_EQ(error, ERROR_INVALID_PARAMETER);
  EXPECT_FALSE(verifier.VerifySignerInfo(Obj(Hex("30 03 02 01 01")), report, &error));
  EXPECT_NE(error, 0);
}

}  // namespace
}  // namespace cmskit_testing
