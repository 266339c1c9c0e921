// SignData against messages the openssl command signs at test time: read
// from memory and from files, written back, detached and re-attached, and
// checked again by openssl's own verification.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>

#include "signed/sign_data_fixtures.h"

namespace cmskit::signtest {
namespace {

bool Run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

// Two RSA signers with self-signed certificates, made once for the suite.
class Signers {
 public:
  Signers() { ok_ = Run("openssl version") && Make("a") && Make("b"); }
  bool ok() const { return ok_; }
  std::string Path(const std::string& name) const { return dir_.Path(name); }

  // The DER message openssl makes of `content` with `options`; the words A
  // and B stand for the two signers.
  Bytes Sign(const Bytes& content, const std::string& options, const std::string& name = "signed",
             const std::string& tool = "cms") const {
    const std::string in = Path(name + ".content");
    const std::string out = Path(name + ".der");
    WriteBytes(in, content);
    std::string command = "openssl " + tool + " -sign -binary -outform DER -in " + in + " -out " + out;
    for (size_t at = 0; at < options.size();) {
      const size_t end = std::min(options.find(' ', at), options.size());
      const std::string word = options.substr(at, end - at);
      if (word == "A" || word == "B") {
        const std::string who = word == "A" ? "a" : "b";
        command += " -signer " + Path(who + ".crt") + " -inkey " + Path(who + ".key");
      } else {
        command += " " + word;
      }
      at = end + 1;
    }
    return Run(command) ? ReadBytes(out) : Bytes();
  }

  // openssl checks the signature over the content the message carries (or
  // over `detached`) and hands the content back.
  bool Verify(const std::string& message, const Bytes& expected, const std::string& detached = "") const {
    const std::string out = Path("verified.out");
    std::remove(out.c_str());
    const std::string content = detached.empty() ? "" : " -content " + detached;
    if (!Run("openssl cms -verify -noverify -binary -inform DER -in " + message + content + " -out " + out))
      return false;
    return ReadBytes(out) == expected;
  }

  bool Prints(const std::string& message) const {
    return Run("openssl cms -cmsout -print -inform DER -in " + message);
  }

 private:
  bool Make(const std::string& who) {
    return Run("openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=" + who + " -keyout " +
               Path(who + ".key") + " -out " + Path(who + ".crt"));
  }

  TempDir dir_;
  bool ok_ = false;
};

class SignedOpenssl : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { signers_ = new Signers(); }
  static void TearDownTestSuite() {
    delete signers_;
    signers_ = nullptr;
  }
  void SetUp() override {
    if (!signers_->ok()) GTEST_SKIP() << "the openssl command is not available";
  }
  const Signers& S() const { return *signers_; }
  std::string Path(const std::string& name) const { return S().Path(name); }

  static Signers* signers_;
};

Signers* SignedOpenssl::signers_ = nullptr;

SignData ReadMemory(const Bytes& bytes) {
  SignData message;
  int error = -1;
  EXPECT_TRUE(message.ReadObject(bytes.data(), static_cast<DWORD>(bytes.size()), &error));
  EXPECT_EQ(error, 0);
  return message;
}

Bytes Slice(const Bytes& bytes, DWORD begin, DWORD end) {
  return Bytes(bytes.begin() + begin, bytes.begin() + end);
}

Bytes DetachToFile(SignData& message, const std::string& target) {
  ToSignStruct out = FileTarget(target);
  int error = -1;
  EXPECT_TRUE(message.DetachData(out, &error));
  EXPECT_EQ(error, 0);
  return ReadBytes(target);
}

Bytes DetachToMemory(SignData& message) {
  ToSignStruct out;
  EXPECT_TRUE(message.DetachData(out, nullptr));
  std::unique_ptr<BYTE[]> owned(static_cast<BYTE*>(out.data));
  return out.data ? Bytes(owned.get() + out.begin, owned.get() + out.end) : Bytes();
}

TEST_F(SignedOpenssl, AttachedDer) {
  const Bytes content = Pattern(3000, 11);
  const Bytes der = S().Sign(content, "A -nodetach");
  ASSERT_FALSE(der.empty());

  SignData memory = ReadMemory(der);
  EXPECT_EQ(Of(memory.encapContentInfo.data), content);
  EXPECT_EQ(memory.signerInfos.size(), 1u);
  EXPECT_EQ(memory.certificates.size(), 1u);
  EXPECT_EQ(Of(memory.WriteObject(nullptr)), WithNullDigestParameters(der));

  const std::string path = Path("attached.der");
  WriteBytes(path, der);
  SignData file;
  EXPECT_EQ(ReadFromFile(file, path, 0, nullptr), der.size());
  EXPECT_EQ(Slice(der, file.GetDataInfo().begin, file.GetDataInfo().end), content);
  EXPECT_EQ(file.signerInfos, memory.signerInfos);
  EXPECT_EQ(file.certificates, memory.certificates);
  const std::string written = Path("attached.out.der");
  EXPECT_EQ(WriteToFile(file, written), WithNullDigestParameters(der).size());
  EXPECT_EQ(ReadBytes(written), WithNullDigestParameters(der));
  EXPECT_EQ(Of(file.WriteObject(nullptr)), WithNullDigestParameters(der));

  // Out and back in: the same message, accepted by openssl.
  const std::string detached = Path("attached.content.out");
  EXPECT_EQ(DetachToFile(file, detached), content);
  ASSERT_TRUE(file.AttachData(FileContent(detached, 0, ToSignStruct::kToEndOfFile), nullptr));
  EXPECT_EQ(WriteToFile(file, written), WithNullDigestParameters(der).size());
  EXPECT_EQ(ReadBytes(written), WithNullDigestParameters(der));
  EXPECT_TRUE(S().Verify(written, content));
}

// openssl cms leaves the digest parameters out, which come back as NULL;
// openssl smime writes NULL parameters, and the message comes back unchanged.
TEST_F(SignedOpenssl, ByteForByteWithNullParameters) {
  const Bytes content = Pattern(1500, 17);
  const Bytes der = S().Sign(content, "A -nodetach", "smime", "smime");
  ASSERT_FALSE(der.empty());
  ASSERT_EQ(WithNullDigestParameters(der), der);
  SignData memory = ReadMemory(der);
  EXPECT_EQ(Of(memory.WriteObject(nullptr)), der);
  const std::string path = Path("smime.der");
  WriteBytes(path, der);
  SignData file;
  EXPECT_EQ(ReadFromFile(file, path, 0, nullptr), der.size());
  EXPECT_EQ(WriteToFile(file, Path("smime.out.der")), der.size());
  EXPECT_EQ(ReadBytes(Path("smime.out.der")), der);

  const Bytes cms = S().Sign(content, "A -nodetach", "cms");
  ASSERT_NE(WithNullDigestParameters(cms), cms);
  EXPECT_EQ(Of(ReadMemory(cms).WriteObject(nullptr)), WithNullDigestParameters(cms));
}

TEST_F(SignedOpenssl, DetachedSignature) {
  const Bytes content = Pattern(5000, 12);
  const Bytes der = S().Sign(content, "A", "detached");
  ASSERT_FALSE(der.empty());
  const std::string contentPath = Path("detached.content");

  SignData memory = ReadMemory(der);
  EXPECT_TRUE(memory.encapContentInfo.data.IsEmpty());
  EXPECT_EQ(Of(memory.WriteObject(nullptr)), WithNullDigestParameters(der));

  const std::string path = Path("detached.der");
  WriteBytes(path, der);
  SignData file;
  EXPECT_EQ(ReadFromFile(file, path, 0, nullptr), der.size());
  EXPECT_EQ(file.GetDataInfo().flags, 0u);
  EXPECT_EQ(file.signerInfos, memory.signerInfos);

  // Attaching the content gives a message whose signature openssl checks
  // against the content it now carries.
  ASSERT_TRUE(memory.AttachData(MemoryContent(content), nullptr));
  const std::string fromMemory = Path("detached.attached1.der");
  WriteBytes(fromMemory, Of(memory.WriteObject(nullptr)));
  EXPECT_TRUE(S().Verify(fromMemory, content));

  ASSERT_TRUE(file.AttachData(FileContent(contentPath, 0, ToSignStruct::kToEndOfFile), nullptr));
  const std::string streamed = Path("detached.attached2.der");
  EXPECT_NE(WriteToFile(file, streamed), 0u);
  EXPECT_EQ(ReadBytes(streamed), ReadBytes(fromMemory));
  EXPECT_TRUE(S().Verify(streamed, content));
}

TEST_F(SignedOpenssl, StreamedBer) {
  for (size_t size : {size_t{1}, size_t{4096}, size_t{4097}, size_t{10000}}) {
    SCOPED_TRACE(size);
    const Bytes content = Pattern(size, static_cast<unsigned>(size));
    const Bytes ber = S().Sign(content, "A -nodetach -stream", "stream");
    ASSERT_FALSE(ber.empty());
    ASSERT_EQ(ber[1], 0x80);  // indefinite lengths indeed

    SignData memory = ReadMemory(ber);
    EXPECT_EQ(Of(memory.encapContentInfo.data), content);
    const Bytes der = Of(memory.WriteObject(nullptr));
    const std::string fromMemory = Path("stream.memory.der");
    WriteBytes(fromMemory, der);
    EXPECT_TRUE(S().Verify(fromMemory, content));

    const std::string path = Path("stream.der");
    WriteBytes(path, ber);
    SignData file;
    EXPECT_EQ(ReadFromFile(file, path, 0, nullptr), ber.size());
    EXPECT_EQ(file.GetDataInfo().flags, 3u);
    EXPECT_EQ(file.signerInfos, memory.signerInfos);
    EXPECT_EQ(file.certificates, memory.certificates);
    // Written back as one primitive OCTET STRING: the same DER as from memory.
    const std::string written = Path("stream.out.der");
    EXPECT_EQ(WriteToFile(file, written), der.size());
    EXPECT_EQ(ReadBytes(written), der);

    SignData toMemory;
    ReadFromFile(toMemory, path, 0, nullptr);
    EXPECT_EQ(DetachToMemory(toMemory), content);
    EXPECT_EQ(DetachToFile(file, Path("stream.content.out")), content);
  }
}

TEST_F(SignedOpenssl, TwoSigners) {
  const Bytes content = Pattern(2000, 13);
  const Bytes der = S().Sign(content, "A B -nodetach", "two");
  ASSERT_FALSE(der.empty());
  SignData memory = ReadMemory(der);
  EXPECT_EQ(memory.signerInfos.size(), 2u);
  EXPECT_EQ(memory.certificates.size(), 2u);
  EXPECT_EQ(memory.digestAlgorithms.size(), 1u);
  EXPECT_EQ(Of(memory.WriteObject(nullptr)), WithNullDigestParameters(der));

  const std::string path = Path("two.der");
  WriteBytes(path, der);
  SignData file;
  ASSERT_EQ(ReadFromFile(file, path, 0, nullptr), der.size());
  EXPECT_EQ(file.signerInfos, memory.signerInfos);
  const std::string written = Path("two.out.der");
  EXPECT_EQ(WriteToFile(file, written), WithNullDigestParameters(der).size());
  EXPECT_EQ(ReadBytes(written), WithNullDigestParameters(der));
  EXPECT_TRUE(S().Verify(written, content));
}

TEST_F(SignedOpenssl, NoCertificatesNoAttributesKeyId) {
  const Bytes content = Text("small content");
  for (const char* options : {"A -nodetach -nocerts", "A -nodetach -noattr", "A -nodetach -keyid"}) {
    SCOPED_TRACE(options);
    const Bytes der = S().Sign(content, options, "variant");
    ASSERT_FALSE(der.empty());
    SignData memory = ReadMemory(der);
    EXPECT_EQ(memory.certificates.empty(), std::string(options).find("nocerts") != std::string::npos);
    EXPECT_EQ(Of(memory.WriteObject(nullptr)), WithNullDigestParameters(der));
    const std::string path = Path("variant.der");
    WriteBytes(path, der);
    SignData file;
    EXPECT_EQ(ReadFromFile(file, path, 0, nullptr), der.size());
    EXPECT_EQ(WriteToFile(file, Path("variant.out.der")), WithNullDigestParameters(der).size());
    EXPECT_EQ(ReadBytes(Path("variant.out.der")), WithNullDigestParameters(der));
  }
}

// Inside a larger file: the content range counts the offset. The step past
// the content does not, so a file holding the message twice reads the later
// copy with the fields of the first: the same bytes.
TEST_F(SignedOpenssl, AtAnOffset) {
  const Bytes content = Pattern(6000, 14);
  const Bytes der = S().Sign(content, "A -nodetach", "offset");
  ASSERT_FALSE(der.empty());
  const std::string padded = Path("padded.der");
  WriteBytes(padded, Cat({Pattern(1234, 15), der}));
  SignData junk;
  ReadFromFile(junk, padded, 1234, nullptr);
  EXPECT_EQ(junk.GetDataInfo().begin, 1234 + Find(der, content));
  EXPECT_EQ(junk.GetDataInfo().end - junk.GetDataInfo().begin, content.size());
  EXPECT_EQ(DetachToFile(junk, Path("offset.content.out")), content);

  const std::string twice = Path("twice.der");
  WriteBytes(twice, Cat({der, der}));
  SignData second;
  EXPECT_EQ(ReadFromFile(second, twice, static_cast<DWORD>(der.size()), nullptr), der.size());
  const std::string written = Path("twice.out.der");
  EXPECT_EQ(WriteToFile(second, written), WithNullDigestParameters(der).size());
  EXPECT_EQ(ReadBytes(written), WithNullDigestParameters(der));
  EXPECT_TRUE(S().Verify(written, content));
}

// A message assembled by this library from parts: content attached, the
// algorithms, certificate and signer info taken from an openssl message.
TEST_F(SignedOpenssl, BuiltFromParts) {
  const Bytes content = Pattern(4097, 16);
  const Bytes detached = S().Sign(content, "A", "parts");
  ASSERT_FALSE(detached.empty());
  const SignData source = ReadMemory(detached);

  SignData built;
  built.digestAlgorithms = source.digestAlgorithms;
  built.certificates = source.certificates;
  built.signerInfos = source.signerInfos;
  ASSERT_TRUE(built.AttachData(MemoryContent(content), nullptr));
  const std::string path = Path("built.der");
  WriteBytes(path, Of(built.WriteObject(nullptr)));
  EXPECT_TRUE(S().Prints(path));
  EXPECT_TRUE(S().Verify(path, content));
}

}  // namespace
}  // namespace cmskit::signtest
