// Message files made by `openssl cms` and coreutils `base64`: every form is
// classified, decoded back to its DER bytes, and our encoding decodes again.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "cmskit/message_files.h"
#include "cmskit/paths.h"

namespace cmskit {
namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteAll(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string WithCrLf(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '\n') out += '\r';
    out += c;
  }
  return out;
}

struct Message {
  std::string name;
  std::string options;  // of `openssl cms`
  CmsFileType type;
};

const std::vector<Message>& Messages() {
  static const std::vector<Message> messages = {
      {"enveloped", "-encrypt -aes256 -recip cert.pem", CmsFileEnveloped},
      {"enveloped_stream", "-encrypt -aes256 -recip cert.pem -stream", CmsFileEnveloped},
      {"attached", "-sign -signer cert.pem -inkey key.pem -nodetach", CmsFileSignedAttached},
      {"attached_stream", "-sign -signer cert.pem -inkey key.pem -nodetach -stream", CmsFileSignedAttached},
      {"detached", "-sign -signer cert.pem -inkey key.pem", CmsFileSignedDetached},
      // Streaming, `openssl cms -sign` embeds the content even without -nodetach.
      {"default_stream", "-sign -signer cert.pem -inkey key.pem -stream", CmsFileSignedAttached},
  };
  return messages;
}

// The text forms of each message, named by suffix, with the DER file each
// encodes: a PEM run of `openssl cms` signs or encrypts afresh, so its bytes
// are taken from the PEM body by coreutils.
const struct {
  const char* suffix;
  const char* der;
} kTextForms[] = {{".pem", ".pem.der"}, {".pem.crlf", ".pem.der"}, {".b64", ".der"}, {".b64.crlf", ".der"}};

class FilesInterop : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = std::make_unique<TOO::TEMPFOLDER>(true);
    const std::string probe = Path("probe.txt");
    ready_ = Run("openssl version > " + Quote(probe) + " 2>&1") &&
             Run("base64 --version > " + Quote(probe) + " 2>&1");
    if (!ready_) return;
    WriteAll(Path("content.txt"), std::string(5000, 'c') + "\n");
    ready_ =
        Run("openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=x -days 1 -keyout key.pem -out cert.pem");
    for (const Message& m : Messages()) {
      if (!ready_) break;
      const std::string cms = "openssl cms " + m.options + " -in content.txt -out " + m.name;
      ready_ = Run(cms + ".der -outform DER") && Run(cms + ".pem -outform PEM") &&
               Run("grep -v -e ----- " + m.name + ".pem | base64 -d > " + m.name + ".pem.der") &&
               Run("base64 " + m.name + ".der > " + m.name + ".b64");
      WriteAll(Path(m.name + ".pem.crlf"), WithCrLf(ReadAll(Path(m.name + ".pem"))));
      WriteAll(Path(m.name + ".b64.crlf"), WithCrLf(ReadAll(Path(m.name + ".b64"))));
    }
  }
  static void TearDownTestSuite() { folder_.reset(); }

  void SetUp() override {
    if (!ready_) GTEST_SKIP() << "no openssl or coreutils base64 command";
  }

  static std::string Path(const std::string& name) { return std::string(folder_->c_str()) + "/" + name; }
  static std::string Quote(const std::string& text) { return "\"" + text + "\""; }
  // Runs a command inside the temporary folder; true when it succeeded.
  static bool Run(const std::string& command) {
    const std::string line = "cd " + Quote(folder_->c_str()) + " && " + command + " 2>> errors.txt";
    return std::system(line.c_str()) == 0;
  }

  static std::unique_ptr<TOO::TEMPFOLDER> folder_;
  static bool ready_;
};

std::unique_ptr<TOO::TEMPFOLDER> FilesInterop::folder_;
bool FilesInterop::ready_ = false;

TEST_F(FilesInterop, ClassifiesEveryForm) {
  for (const Message& m : Messages()) {
    const std::string der = Path(m.name + ".der");
    EXPECT_EQ(GetFileTypeByContent(der.c_str()), m.type) << m.name;
    EXPECT_TRUE(IsAsn1Binary(der.c_str())) << m.name;
    for (const auto& form : kTextForms) {
      const std::string text = Path(m.name + form.suffix);
      EXPECT_EQ(GetFileTypeByContent(text.c_str()), m.type) << m.name << form.suffix;
      EXPECT_TRUE(IsAsn1Base64(text.c_str())) << m.name << form.suffix;
      EXPECT_FALSE(IsAsn1Binary(text.c_str())) << m.name << form.suffix;
    }
  }
}

// openssl verifies a signature without a -content file exactly when the
// message carries its content.
TEST_F(FilesInterop, AttachedMeansOpensslFindsTheContentInside) {
  for (const Message& m : Messages()) {
    if (m.type == CmsFileEnveloped) continue;
    const bool verified =
        Run("openssl cms -verify -noverify -inform DER -in " + m.name + ".der -out verified.txt");
    EXPECT_EQ(verified, m.type == CmsFileSignedAttached) << m.name;
  }
}

TEST_F(FilesInterop, TextFormsDecodeToTheDerBytes) {
  for (const Message& m : Messages()) {
    for (const auto& form : kTextForms) {
      const std::string der = ReadAll(Path(m.name + form.der));
      ASSERT_FALSE(der.empty()) << m.name << form.der;
      const std::string out = Path("decoded");
      EXPECT_TRUE(Base64FileDecode(Path(m.name + form.suffix).c_str(), out.c_str())) << m.name << form.suffix;
      EXPECT_TRUE(ReadAll(out) == der) << m.name << form.suffix;
    }
  }
}

TEST_F(FilesInterop, EncodedFilesDecodeWithCoreutils) {
  std::mt19937 random(9);
  std::string noise(100001, '\0');
  for (char& c : noise) c = static_cast<char>(random());
  WriteAll(Path("noise.bin"), noise);
  std::vector<std::string> inputs = {"noise.bin"};
  for (const Message& m : Messages()) inputs.push_back(m.name + ".der");
  for (const std::string& input : inputs) {
    ASSERT_TRUE(Base64FileEncode(Path(input).c_str(), Path("ours.b64").c_str())) << input;
    ASSERT_TRUE(Run("base64 -d ours.b64 > back.bin")) << input;
    EXPECT_TRUE(ReadAll(Path("back.bin")) == ReadAll(Path(input))) << input;
    // One unbroken line, exactly what `base64 -w 0` writes.
    ASSERT_TRUE(Run("base64 -w 0 " + input + " > theirs.b64")) << input;
    EXPECT_TRUE(ReadAll(Path("ours.b64")) == ReadAll(Path("theirs.b64"))) << input;
  }
}

}  // namespace
}  // namespace cmskit
