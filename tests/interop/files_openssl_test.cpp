// Message files made by `openssl cms` and coreutils `base64`.
#include <gtest/gtest.h>

#include "cmskit/message_files.h"
#include "common/test_util.h"

namespace cmskit_testing {
namespace {

using namespace cmskit;

const struct {
  const char* name;
  const char* options;  // of `openssl cms`
  CmsFileType type;
} kMessages[] = {
    {"enveloped", "-encrypt -aes256 -recip x.crt", CmsFileEnveloped},
    {"enveloped_stream", "-encrypt -aes256 -stream -recip x.crt", CmsFileEnveloped},
    {"attached", "-sign -signer x.crt -inkey x.key -nodetach", CmsFileSignedAttached},
    {"attached_stream", "-sign -signer x.crt -inkey x.key -nodetach -stream", CmsFileSignedAttached},
    {"detached", "-sign -signer x.crt -inkey x.key", CmsFileSignedDetached},
    // Streaming, `openssl cms -sign` embeds the content even without -nodetach.
    {"default_stream", "-sign -signer x.crt -inkey x.key -stream", CmsFileSignedAttached}};

// The text forms of each message with the DER file each encodes: a PEM run
// signs or encrypts afresh, so its bytes come from the PEM body by coreutils.
const struct {
  const char* suffix;
  const char* der;
} kTextForms[] = {{".pem", ".pem.der"}, {".pem.crlf", ".pem.der"}, {".b64", ".der"}, {".b64.crlf", ".der"}};

class FilesInterop : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    Openssl& s = Openssl::Get();
    ready_ = s.ok() && Shell("base64 --version") && !s.Cert("x").empty();
    WriteBytes(Path("content.txt"), Text(std::string(5000, 'c') + "\n"));
    for (const auto& m : kMessages) {
      const std::string cms = "openssl cms " + std::string(m.options) + " -in content.txt -out " + m.name;
      ready_ = ready_ && Sh(cms + ".der -outform DER") && Sh(cms + ".pem -outform PEM") &&
               Sh("grep -v -e ----- " + std::string(m.name) + ".pem | base64 -d > " + m.name + ".pem.der") &&
               Sh("base64 " + std::string(m.name) + ".der > " + m.name + ".b64") &&
               Sh("sed 's/$/\\r/' " + std::string(m.name) + ".pem > " + m.name + ".pem.crlf") &&
               Sh("sed 's/$/\\r/' " + std::string(m.name) + ".b64 > " + m.name + ".b64.crlf");
    }
  }
  void SetUp() override {
    if (!ready_) GTEST_SKIP() << "no openssl or coreutils base64 command";
  }
  static std::string Path(const std::string& name) { return Openssl::Get().Path(name); }
  // Runs a command inside the folder; true when it succeeded.
  static bool Sh(const std::string& command) { return Shell("cd " + Path("") + " && " + command); }

  static bool ready_;
};

bool FilesInterop::ready_ = false;

// Every form is classified and decoded, and our encoding is exactly what
// `base64 -w 0` writes (one unbroken line).
TEST_F(FilesInterop, EveryForm) {
  WriteBytes(Path("noise.der"), Pattern(100001, 9));
  for (const auto& m : kMessages) {
    SCOPED_TRACE(m.name);
    const std::string der = Path(m.name + std::string(".der"));
    EXPECT_EQ(GetFileTypeByContent(der.c_str()), m.type);
    EXPECT_TRUE(IsAsn1Binary(der.c_str()));
    for (const auto& form : kTextForms) {
      SCOPED_TRACE(form.suffix);
      const std::string text = Path(m.name + std::string(form.suffix)), out = Path("decoded");
      EXPECT_EQ(GetFileTypeByContent(text.c_str()), m.type);
      EXPECT_TRUE(IsAsn1Base64(text.c_str()));
      EXPECT_FALSE(IsAsn1Binary(text.c_str()));
      const Bytes expected = ReadBytes(Path(m.name + std::string(form.der)));
      ASSERT_FALSE(expected.empty());
      EXPECT_TRUE(Base64FileDecode(text.c_str(), out.c_str()));
      EXPECT_TRUE(ReadBytes(out) == expected);
    }
    // openssl verifies without a -content file exactly when the content is inside.
    if (m.type != CmsFileEnveloped) {
      EXPECT_EQ(
          Sh("openssl cms -verify -noverify -inform DER -in " + std::string(m.name) + ".der -out v.txt"),
          m.type == CmsFileSignedAttached);
    }
    for (const char* input : {m.name, "noise"}) {
      ASSERT_TRUE(Base64FileEncode(Path(input + std::string(".der")).c_str(), Path("ours.b64").c_str()));
      ASSERT_TRUE(Sh("base64 -w 0 " + std::string(input) + ".der > theirs.b64"));
      EXPECT_TRUE(ReadBytes(Path("ours.b64")) == ReadBytes(Path("theirs.b64")));
    }
  }
}

}  // namespace
}  // namespace cmskit_testing
