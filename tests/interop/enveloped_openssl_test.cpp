// Enveloped messages made at test time by `openssl cms -encrypt` to RSA
// certificates: read from memory and from a file, recipients named by the
// certificates' issuer and serial number, and the definite-length ones
// written back byte for byte by both writers. Skipped without openssl.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "enveloped/enveloped_test_util.h"

namespace cmskit::test {
namespace {

struct Certificate {
  std::string cert;
  std::string key;
  Bytes issuer;  // encoded Name, as the certificate holds it
  Bytes serial;  // least significant byte first
};

int RunQuietly(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()); }

// issuer and serialNumber straight from the certificate's TBSCertificate.
void TakeIdentity(Certificate& c) {
  const Bytes der = ReadFileBytes(c.cert + ".der");
  std::list<IdentObj> cert, tbs;
  ASNTGetSequence(cert, der.data(), static_cast<DWORD>(der.size()), nullptr);
  ASNTGetSequence(tbs, cert.front().data(), cert.front().size(), nullptr);
  auto field = tbs.begin();
  if (field->data()[0] == 0xA0) ++field;  // [0] version
  ASNTElementInfo info;
  ASNTReadHeader(info, field->data(), field->size());
  c.serial = ToBytes(ASNTDecodeElement(info, nullptr));
  std::advance(field, 2);  // past the signature algorithm
  c.issuer = ToBytes(*field);
}

class EnvelopedOpenssl : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (RunQuietly("openssl version") != 0) return;
    dir_ = new TempDir();
    plain_ = dir_->Path("plain.txt");
    std::string text;
    for (int i = 0; text.size() < 5000; ++i)
      text += "line " + std::to_string(i) + " of the enveloped content\n";
    WriteFileBytes(plain_, Bytes(text.begin(), text.end()));
    // The second serial has its top bit set, so its INTEGER carries a sign
    // octet that must survive the round trip.
    MakeCertificate(certs_[0], "one", "");
    MakeCertificate(certs_[1], "two", "-set_serial 0x80A1B2");
  }

  static void TearDownTestSuite() {
    delete dir_;
    dir_ = nullptr;
  }

  static void MakeCertificate(Certificate& c, const std::string& name, const std::string& serial) {
    c.cert = dir_->Path(name + ".pem");
    c.key = dir_->Path(name + ".key");
    RunQuietly("openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=Recipient-" + name +
               "/O=cmskit " + serial + " -keyout " + c.key + " -out " + c.cert);
    RunQuietly("openssl x509 -in " + c.cert + " -outform DER -out " + c.cert + ".der");
    TakeIdentity(c);
  }

  void SetUp() override {
    if (!dir_) GTEST_SKIP() << "openssl is not available";
  }

  // Encrypts the plaintext with `options` to the first `count` certificates.
  Bytes Encrypt(const std::string& name, const std::string& options, size_t count = 1) {
    path_ = dir_->Path(name + ".der");
    std::string command =
        "openssl cms -encrypt -binary -in " + plain_ + " -outform DER -out " + path_ + " " + options;
    for (size_t i = 0; i < count; ++i) command += " " + certs_[i].cert;
    EXPECT_EQ(RunQuietly(command), 0) << command;
    return ReadFileBytes(path_);
  }

  // Reads `message` from memory and from its file; both must agree.
  void ReadBoth(const Bytes& message, EnvelopedData& inMemory, EnvelopedData& fromFile, DWORD expected) {
    int error = -1;
    EXPECT_EQ(inMemory.ReadObject(message.data(), static_cast<DWORD>(message.size()), &error), expected);
    EXPECT_EQ(error, 0);
    CTOOFile file(path_.c_str(), "rb");
    EXPECT_EQ(fromFile.ReadObject(file, &error), expected);
    EXPECT_EQ(error, 0);
  }

  // openssl sorts the SET of recipients (DER SET OF), so each certificate
  // is looked up by its issuer.
  static void ExpectRecipients(const EnvelopedData& data, size_t count) {
    ASSERT_EQ(data.recipientInfos.size(), count);
    for (size_t i = 0; i < count; ++i) {
      const TransRecipientInfo* found = FindRecipient(data, certs_[i]);
      ASSERT_NE(found, nullptr) << "recipient " << i;
      EXPECT_EQ(found->version, 0u);
      EXPECT_EQ(ToHex(found->serialNumber), ToHex(certs_[i].serial));
      EXPECT_EQ(found->encryptedKey.size(), 4u + 256u);  // OCTET STRING of a 2048-bit RSA block
    }
  }

  static const TransRecipientInfo* FindRecipient(const EnvelopedData& data, const Certificate& c) {
    for (const TransRecipientInfo& recipient : data.recipientInfos) {
      if (ToBytes(recipient.issuer) == c.issuer) return &recipient;
    }
    return nullptr;
  }

  Bytes WriteToFile(const EnvelopedData& data) {
    const std::string out = dir_->Path("written.der");
    DWORD written = 0;
    {
      CTOOFile file(out.c_str(), "wb");
      int error = -1;
      written = data.WriteObject(file, &error);
      EXPECT_EQ(error, 0);
    }
    const Bytes bytes = ReadFileBytes(out);
    EXPECT_EQ(written, bytes.size());
    return bytes;
  }

  static TempDir* dir_;
  static std::string plain_;
  static Certificate certs_[2];
  std::string path_;
};

TempDir* EnvelopedOpenssl::dir_ = nullptr;
std::string EnvelopedOpenssl::plain_;
Certificate EnvelopedOpenssl::certs_[2];

struct DefiniteCase {
  const char* name;
  const char* options;
  size_t recipients;
  const char* algorithm;
};

TEST_F(EnvelopedOpenssl, DefiniteMessagesReadAndWriteBack) {
  const DefiniteCase cases[] = {
      {"aes128", "-aes128", 1, "2.16.840.1.101.3.4.1.2"},
      {"aes256", "-aes256", 1, "2.16.840.1.101.3.4.1.42"},
      {"des3", "-des3", 1, "1.2.840.113549.3.7"},
      {"two", "-aes128", 2, "2.16.840.1.101.3.4.1.2"},
  };
  for (const DefiniteCase& c : cases) {
    SCOPED_TRACE(c.name);
    const Bytes message = Encrypt(c.name, c.options, c.recipients);
    ASSERT_GT(message.size(), 5000u);
    EnvelopedData inMemory, fromFile;
    ReadBoth(message, inMemory, fromFile, static_cast<DWORD>(message.size()));
    for (const EnvelopedData* data : {&inMemory, &fromFile}) {
      EXPECT_EQ(data->version, 0u);
      ExpectRecipients(*data, c.recipients);
      EXPECT_EQ(Text(data->encryptedContentInfo.contentEncryptionAlgorithm.id), c.algorithm);
    }
    EXPECT_EQ(fromFile.encryptedContentInfo.flags, 1u);
    EXPECT_EQ(fromFile.encryptedContentInfo.contentLength,
              inMemory.encryptedContentInfo.encryptedContent.size());
    EXPECT_EQ(ToBytes(inMemory.WriteObject()), message);
    EXPECT_EQ(WriteToFile(inMemory), message);
    EXPECT_EQ(ToBytes(fromFile.WriteObject()), message);
    EXPECT_EQ(WriteToFile(fromFile), message);
  }
}

TEST_F(EnvelopedOpenssl, StreamedMessageWithIndefiniteLengths) {
  const Bytes message = Encrypt("stream", "-aes256 -stream", 2);
  ASSERT_EQ(ToHex(message.data(), 2), "30 80");
  EnvelopedData inMemory, fromFile;
  // The end-of-contents octets closing EnvelopedData, [0] and ContentInfo
  // follow what the readers consume.
  ReadBoth(message, inMemory, fromFile, static_cast<DWORD>(message.size() - 6));
  ExpectRecipients(inMemory, 2);
  ExpectRecipients(fromFile, 2);
  const EncryptedContentInfo& memoryContent = inMemory.encryptedContentInfo;
  const EncryptedContentInfo& fileContent = fromFile.encryptedContentInfo;
  EXPECT_EQ(memoryContent.flags, 2u);
  EXPECT_EQ(fileContent.flags, 3u);
  ASSERT_GT(memoryContent.encryptedContent.size(), 5000u);
  EXPECT_EQ(fileContent.contentLength, memoryContent.encryptedContent.size());
  const Bytes pieces = ToBytes(memoryContent.encryptedContent);
  EXPECT_EQ(ToHex(pieces.data() + pieces.size() - 2, 2), "00 00");
  const Bytes inFile(message.begin() + fileContent.contentOffset,
                     message.begin() + fileContent.contentOffset + fileContent.contentLength);
  EXPECT_EQ(inFile, pieces);

  // Written back with definite lengths; all four writers agree and the
  // result reads back to the same recipients and octets.
  const Bytes written = ToBytes(inMemory.WriteObject());
  EXPECT_EQ(WriteToFile(inMemory), written);
  EXPECT_EQ(ToBytes(fromFile.WriteObject()), written);
  EXPECT_EQ(WriteToFile(fromFile), written);
  EnvelopedData again;
  ASSERT_EQ(again.ReadObject(written.data(), static_cast<DWORD>(written.size())), written.size());
  ExpectRecipients(again, 2);
  EXPECT_EQ(ToBytes(again.encryptedContentInfo.encryptedContent), pieces);
}

TEST_F(EnvelopedOpenssl, WrittenMessageDecryptsWithOpenssl) {
  // A changed object, not an echo: the other recipient is dropped before
  // writing, and openssl still decrypts the result for the first.
  Encrypt("two-for-one", "-aes128", 2);
  EnvelopedData data;
  {
    CTOOFile file(path_.c_str(), "rb");
    ASSERT_NE(data.ReadObject(file), 0u);
  }
  data.recipientInfos.remove_if(
      [](const TransRecipientInfo& recipient) { return ToBytes(recipient.issuer) != certs_[0].issuer; });
  ASSERT_EQ(data.recipientInfos.size(), 1u);
  const Bytes written = WriteToFile(data);
  const std::string decrypted = dir_->Path("decrypted.txt");
  ASSERT_EQ(RunQuietly("openssl cms -decrypt -binary -inform DER -in " + dir_->Path("written.der") +
                       " -inkey " + certs_[0].key + " -recip " + certs_[0].cert + " -out " + decrypted),
            0);
  EXPECT_EQ(ReadFileBytes(decrypted), ReadFileBytes(plain_));
}

TEST_F(EnvelopedOpenssl, ImplicitKeyIdentifierIsHandledWithinBounds) {
  // openssl writes the key identifier with the standard's implicit [0]; this
  // library reads an explicit [0] around an OCTET STRING. Whatever comes of
  // it, the readers stay inside the message and report through pError.
  const Bytes message = Encrypt("keyid", "-aes128 -keyid", 2);
  EnvelopedData inMemory, fromFile;
  int error = 0;
  const DWORD consumed = inMemory.ReadObject(message.data(), static_cast<DWORD>(message.size()), &error);
  EXPECT_LE(consumed, message.size());
  CTOOFile file(path_.c_str(), "rb");
  int fileError = 0;
  EXPECT_EQ(fromFile.ReadObject(file, &fileError), consumed);
  EXPECT_EQ(fileError, error);
  for (const TransRecipientInfo& recipient : inMemory.recipientInfos) {
    EXPECT_EQ(recipient.version, 2u);
    EXPECT_LE(recipient.subjectKeyIdentifier.size(), 20u);
  }
}

}  // namespace
}  // namespace cmskit::test
