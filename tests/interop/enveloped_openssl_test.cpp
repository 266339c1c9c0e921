// Enveloped messages made at test time by `openssl cms -encrypt` to RSA
// certificates: read from memory and from a file alike, recipients named by
// issuer and serial number, written back byte for byte by both writers.
#include <gtest/gtest.h>

#include <algorithm>

#include "common/sign_data_util.h"

namespace cmskit_testing {
namespace {

using namespace cmskit;

// The encoded issuer Name straight from the certificate's TBSCertificate, and
// its serial number least significant octet first.
std::pair<Bytes, Bytes> IdentityOf(const std::string& der) {
  const std::vector<Bytes> tbs = Children(Children(ReadBytes(der)).at(0));
  const size_t at = tbs.at(0)[0] == 0xA0 ? 1 : 0;
  Bytes serial(tbs.at(at).begin() + 2, tbs.at(at).end());
  std::reverse(serial.begin(), serial.end());
  return {tbs.at(at + 2), serial};
}

class EnvelopedOpenssl : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!S().ok()) GTEST_SKIP() << "the openssl command is not available";
    S().Cert("one");
    S().Cert("two", "-set_serial 0x80A1B2");  // a sign octet that must survive
  }
  static Openssl& S() { return Openssl::Get(); }

  // Reads the last made message from memory and from its file. The file
  // form leaves the end-of-contents octets of an indefinite
  // EncryptedContentInfo (`closing`) unread.
  static DWORD ReadBoth(EnvelopedData& inMemory, EnvelopedData& fromFile, int* error, DWORD closing = 0) {
    const Bytes message = ReadBytes(S().Path("message.der"));
    const DWORD read = inMemory.ReadObject(message.data(), static_cast<DWORD>(message.size()), error);
    int fileError = -1;
    cmskit::CTOOFile file(S().Path("message.der").c_str(), "rb");
    EXPECT_EQ(fromFile.ReadObject(file, &fileError), read - closing);
    EXPECT_EQ(fileError, *error);
    return read;
  }

  // openssl sorts the SET of recipients, so each is looked up by its issuer.
  static void ExpectRecipients(const EnvelopedData& data, size_t count) {
    ASSERT_EQ(data.recipientInfos.size(), count);
    for (const char* who : {"one", "two"}) {
      if (!count--) break;
      const auto id = IdentityOf(S().Path(std::string(who) + ".cer"));
      const auto found = std::find_if(data.recipientInfos.begin(), data.recipientInfos.end(),
                                      [&](const TransRecipientInfo& r) { return Of(r.issuer) == id.first; });
      ASSERT_NE(found, data.recipientInfos.end()) << who;
      EXPECT_EQ(found->version, 0u);
      EXPECT_EQ(Of(found->serialNumber), id.second);
      EXPECT_EQ(found->encryptedKey.size(), 4u + 256u);  // OCTET STRING of a 2048-bit RSA block
    }
  }

  // Both writers of both readings give `expected`.
  static void ExpectWritten(EnvelopedData& inMemory, EnvelopedData& fromFile, const Bytes& expected) {
    const std::string out = S().Path("written.der");
    for (EnvelopedData* data : {&inMemory, &fromFile}) {
      EXPECT_EQ(Of(data->WriteObject()), expected);
      cmskit::CTOOFile file(out.c_str(), "wb");
      int error = -1;
      EXPECT_EQ(data->WriteObject(file, &error), expected.size());
      EXPECT_EQ(error, 0);
      file.Close();
      EXPECT_EQ(ReadBytes(out), expected);
    }
  }
};

TEST_F(EnvelopedOpenssl, DefiniteMessagesReadAndWriteBack) {
  // The options (one recipient a '@') and the content algorithm.
  const std::pair<std::string, const char*> cases[] = {
      {"cms -encrypt -aes128 @one", "2.16.840.1.101.3.4.1.2"},
      {"cms -encrypt -aes256 @one", "2.16.840.1.101.3.4.1.42"},
      {"cms -encrypt -des3 @one", "1.2.840.113549.3.7"},
      {"cms -encrypt -aes128 @one @two", "2.16.840.1.101.3.4.1.2"}};
  for (const auto& [options, algorithm] : cases) {
    SCOPED_TRACE(options);
    const Bytes message = S().Make(Pattern(5000), options);
    ASSERT_GT(message.size(), 5000u);
    EnvelopedData inMemory, fromFile;
    int error = -1;
    EXPECT_EQ(ReadBoth(inMemory, fromFile, &error), message.size());
    EXPECT_EQ(error, 0);
    for (const EnvelopedData* data : {&inMemory, &fromFile}) {
      EXPECT_EQ(data->version, 0u);
      ExpectRecipients(*data, static_cast<size_t>(std::count(options.begin(), options.end(), '@')));
      EXPECT_EQ(Of(data->encryptedContentInfo.contentEncryptionAlgorithm.id), Text(algorithm));
    }
    EXPECT_EQ(fromFile.encryptedContentInfo.flags, 1u);
    EXPECT_EQ(fromFile.encryptedContentInfo.contentLength,
              inMemory.encryptedContentInfo.encryptedContent.size());
    ExpectWritten(inMemory, fromFile, message);
  }
}

TEST_F(EnvelopedOpenssl, StreamedMessageWithIndefiniteLengths) {
  const Bytes message = S().Make(Pattern(5000), "cms -encrypt -aes256 -stream @one @two");
  ASSERT_EQ(Bytes(message.begin(), message.begin() + 2), Hex("30 80"));
  EnvelopedData inMemory, fromFile;
  int error = -1;
  // The end-of-contents octets closing EnvelopedData, [0] and ContentInfo
  // follow what the readers consume.
  EXPECT_EQ(ReadBoth(inMemory, fromFile, &error, 2), message.size() - 6);
  ExpectRecipients(fromFile, 2);
  const auto& memoryContent = inMemory.encryptedContentInfo;
  const auto& fileContent = fromFile.encryptedContentInfo;
  EXPECT_EQ(memoryContent.flags, 2u);
  EXPECT_EQ(fileContent.flags, 3u);
  const Bytes pieces = Of(memoryContent.encryptedContent);
  ASSERT_GT(pieces.size(), 5000u);
  EXPECT_EQ(Bytes(pieces.end() - 2, pieces.end()), Hex("00 00"));
  EXPECT_EQ(Bytes(message.begin() + fileContent.contentOffset,
                  message.begin() + fileContent.contentOffset + fileContent.contentLength),
            pieces);
  // Written back with definite lengths, reading back to the same recipients and octets.
  const Bytes written = Of(inMemory.WriteObject());
  ExpectWritten(inMemory, fromFile, written);
  EnvelopedData again;
  ASSERT_EQ(again.ReadObject(written.data(), static_cast<DWORD>(written.size())), written.size());
  ExpectRecipients(again, 2);
  EXPECT_EQ(Of(again.encryptedContentInfo.encryptedContent), pieces);
}

// openssl writes the key identifier with the implicit [0]; this library
// reads an explicit [0] around an OCTET STRING. Whatever comes of it, the
// readers stay inside the message and agree.
TEST_F(EnvelopedOpenssl, ImplicitKeyIdentifierIsHandledWithinBounds) {
  const Bytes message = S().Make(Pattern(5000), "cms -encrypt -aes128 -keyid @one @two");
  EnvelopedData inMemory, fromFile;
  int error = 0;
  EXPECT_LE(ReadBoth(inMemory, fromFile, &error), message.size());
  for (const TransRecipientInfo& recipient : inMemory.recipientInfos) {
    EXPECT_EQ(recipient.version, 2u);
    // Read as an explicit wrapper, the identifier's own octets are taken as
    // an element and decoded: one that starts like an OBJECT IDENTIFIER
    // comes back as dotted text, which may be longer than the octets.
    EXPECT_LE(recipient.subjectKeyIdentifier.size(), message.size());
  }
}

}  // namespace
}  // namespace cmskit_testing
