// Signatures made by the openssl command and published ones, checked through
// SignatureVerifier from memory and from files, and damaged copies of them.
#include <gtest/gtest.h>

#include <sstream>

#include "common/crypt.h"
#include "common/sign_data_util.h"
#include "common/table.h"
#include "common/test_util.h"

namespace cmskit_testing {
namespace {

using namespace cmskit;

// The verdicts in the order of their values.
const char* const kVerdictNames[] = {"valid",       "digest", "signature", "notfound",
                                     "unsupported", "ctype",  "malformed"};

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
    out += std::string(out.empty() ? "" : " ") + kVerdictNames[static_cast<int>(report.verdict)];
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
  ProviderHandle provider;
  return AcquireVerifyContext(PROV_GOST_2012_256, provider);
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
    const Table table("verify/samples.txt");
    for (const Row& signer : table.Rows("signers"))
      if (signer[0][0] != 'g' || gost)
        openssl.Cert(signer[0], signer[0][0] == 'g' ? "-engine gost" : "", signer[1]);
  }
  Openssl& openssl = Openssl::Get();
  const bool gost = Shell("openssl engine gost") && GostProvider();
};

TEST_F(VerifyInterop, OpensslMessagesAndDamagedCopies) {
  const Bytes content = Pattern(100000, 7);
  const std::string contentFile = openssl.Path("content.bin");
  WriteBytes(contentFile, content);
  const Table table("verify/samples.txt");
  for (const Row& row : table.Rows("openssl")) {
    const std::string& options = row[0];
    const bool attached = options.find("-nodetach") != std::string::npos,
               attributes = options.find("-noattr") == std::string::npos;
    if (options.find("gost") != std::string::npos && !gost) continue;
    SCOPED_TRACE(row.where);
    const Bytes der = openssl.Make(content, "cms -sign " + options);
    ASSERT_FALSE(der.empty());
    const std::string path = openssl.Path("signed.der");
    WriteBytes(path, der);
    SignData message = FromMemory(der);
    const size_t signers = message.signerInfos.size();
    const Content own = attached ? Content{} : Content{&content};
    EXPECT_EQ(Verdicts(message, own), Repeat("valid", signers));
    EXPECT_EQ(Verdicts(FromFile(path), attached ? Content{} : Content{nullptr, contentFile}),
              Repeat("valid", signers));

    Bytes changed = content;
    changed[changed.size() / 2] ^= 0x40;
    const std::string contentVerdict = Repeat(attributes ? "digest" : "signature", signers);
    if (attached && Find(der, content) < der.size()) {
      Bytes damaged = der;
      damaged[Find(der, content) + content.size() / 2] ^= 0x40;
      EXPECT_EQ(Verdicts(FromMemory(damaged), {}), contentVerdict);
    } else if (!attached) {
      EXPECT_EQ(Verdicts(message, {&changed}), contentVerdict);
    }
    if (attributes) {
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
