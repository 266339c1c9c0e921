#include <gtest/gtest.h>

#include <string>

#include "cmskit/message_files.h"
#include "der_builder.h"
#include "files/base64.h"
#include "temp_files.h"

namespace cmskit {
namespace {

using namespace der;

std::string Base64Lines(const std::string& bytes, DWORD lineLength, const char* separator) {
  std::string text(
      Base64Encode(bytes.data(), bytes.size(), nullptr, 0, kBase64WrapLines, lineLength, separator), '\0');
  text.resize(Base64Encode(bytes.data(), bytes.size(), &text[0], text.size(), kBase64WrapLines, lineLength,
                           separator));
  return text;
}

std::string Pem(const std::string& bytes) {
  return "-----BEGIN CMS-----\r\n" + Base64Lines(bytes, 64, "\r\n") + "-----END CMS-----\r\n";
}

// A signed message whose eContent header ends `end` bytes into the file,
// pushed there by filler inside the digestAlgorithms SET.
std::string SignedWithContentHeaderEndingAt(size_t end) {
  for (size_t filler = 0; filler < 400; ++filler) {
    const std::string digests = Tlv(0x31, Tlv(0x04, std::string(filler, '\0')));
    const std::string message = SignedData(Attached(std::string(100, 'x')), kVersion1, digests);
    const size_t header = message.find(kDataOid + "\xA0") + kDataOid.size() + 2;
    if (header == end) return message;
  }
  ADD_FAILURE() << "no filler puts the header end at " << end;
  return "";
}

std::string WithByte(std::string bytes, size_t at, uint8_t value) {
  bytes[at] = static_cast<char>(value);
  return bytes;
}

struct TypeCase {
  const char* name;
  std::string bytes;
  CmsFileType type;
};

TEST(GetFileTypeByContent, ClassifiesDerMessages) {
  const TypeCase cases[] = {
      {"enveloped", ContentInfo(kEnvelopedDataOid, Tlv(0x30, kVersion1)), CmsFileEnveloped},
      {"enveloped type alone", Tlv(0x30, kEnvelopedDataOid), CmsFileEnveloped},
      {"attached", SignedData(Attached("hello")), CmsFileSignedAttached},
      {"detached", SignedData(Detached()), CmsFileSignedDetached},
      {"empty [0]", SignedData(Tlv(0x30, kDataOid + Tlv(0xA0, ""))), CmsFileSignedDetached},
      {"4-byte version", SignedData(Attached("x"), std::string("\x02\x04\x01\x00\x00\x00", 6)),
       CmsFileSignedAttached},
      {"5-byte version", SignedData(Attached("x"), std::string("\x02\x05\x01\x00\x00\x00\x00", 7)),
       CmsFileUnknown},
      {"version not INTEGER", SignedData(Attached("x"), std::string("\x04\x01\x01", 3)), CmsFileUnknown},
      {"digests not SET", SignedData(Attached("x"), kVersion1, Tlv(0x30, "")), CmsFileUnknown},
      {"universal content", SignedData(Tlv(0x30, kDataOid + Tlv(0x04, "x"))), CmsFileUnknown},
      // Only the high class bit of the explicit [0] is looked at.
      {"private [0]", WithByte(SignedData(Attached("x")), 13, 0xE0), CmsFileSignedAttached},
      {"primitive [0]", WithByte(SignedData(Attached("x")), 13, 0x80), CmsFileSignedAttached},
      {"application [0]", WithByte(SignedData(Attached("x")), 13, 0x60), CmsFileUnknown},
      {"[1] content", WithByte(SignedData(Attached("x")), 13, 0xA1), CmsFileUnknown},
      {"data", ContentInfo(kDataOid, Tlv(0x04, "x")), CmsFileUnknown},
      {"not a SEQUENCE", Tlv(0x31, kEnvelopedDataOid), CmsFileUnknown},
      {"header at the limit", SignedWithContentHeaderEndingAt(255), CmsFileUnknown},
      {"header before the limit", SignedWithContentHeaderEndingAt(254), CmsFileSignedAttached},
      {"streamed attached",
       Ber(0x30, kSignedDataOid +
                     Ber(0xA0, Ber(0x30, kVersion1 + kSha1Set +
                                             Ber(0x30, kDataOid + Ber(0xA0, Ber(0x24, Tlv(0x04, "hello")))) +
                                             Tlv(0x31, "")))),
       CmsFileSignedAttached},
      {"streamed detached",
       Ber(0x30,
           kSignedDataOid + Ber(0xA0, Ber(0x30, kVersion1 + kSha1Set + Ber(0x30, kDataOid) + Tlv(0x31, "")))),
       CmsFileSignedDetached},
      {"empty", "", CmsFileUnknown},
      {"text", "hello, world\n", CmsFileUnknown},
  };
  TempFiles files;
  for (const TypeCase& c : cases) {
    EXPECT_EQ(GetFileTypeByContent(files.Write("der", c.bytes).c_str()), c.type) << c.name;
    EXPECT_EQ(GetFileTypeByContent(files.Write("pem", Pem(c.bytes)).c_str()),
              c.bytes.empty() ? CmsFileUnknown : c.type)
        << c.name << " as Base64";
  }
}

TEST(GetFileTypeByContent, ReadsBase64ThroughArmourAndLineBreaks) {
  TempFiles files;
  const std::string message = SignedData(Attached(std::string(1000, 'x')));
  const std::string forms[] = {Pem(message), Base64Lines(message, 76, "\n"), Base64Lines(message, 64, "\r\n"),
                               "-----BEGIN A-LONG LABEL-----\n" + Base64Lines(message, 4, " ")};
  for (const std::string& text : forms) {
    const std::string path = files.Write("text", text);
    EXPECT_EQ(GetFileTypeByContent(path.c_str()), CmsFileSignedAttached) << text.substr(0, 40);
    EXPECT_TRUE(IsAsn1Base64(path.c_str()));
    EXPECT_FALSE(IsAsn1Binary(path.c_str()));
  }
}

TEST(GetFileTypeByContent, RejectsBase64CutMidQuantum) {
  TempFiles files;
  std::string text = Base64Lines(Tlv(0x30, kEnvelopedDataOid), 64, "\n");  // 20 characters
  ASSERT_EQ(GetFileTypeByContent(files.Write("whole", text).c_str()), CmsFileEnveloped);
  text.erase(18, 1);
  EXPECT_EQ(GetFileTypeByContent(files.Write("cut", text).c_str()), CmsFileUnknown);
  EXPECT_FALSE(IsAsn1Base64(files.Path("cut").c_str()));
}

TEST(IsAsn1Binary, ExaminesShortFilesWithZerosBehindThem) {
  TempFiles files;
  const std::string message = SignedData(Detached());
  EXPECT_TRUE(IsAsn1Binary(files.Write("short", message).c_str()));
  EXPECT_FALSE(IsAsn1Base64(files.Path("short").c_str()));
  // The OID's last byte missing: the zero behind the file completes it.
  const std::string cut = Tlv(0x30, kEnvelopedDataOid).substr(0, 12);
  EXPECT_TRUE(IsAsn1Binary(files.Write("cut", cut).c_str()));
  EXPECT_EQ(GetFileTypeByContent(files.Path("cut").c_str()), CmsFileUnknown);
}

TEST(MessageFileTypes, FailQuietlyOnMissingOrEmptyFiles) {
  TempFiles files;
  const std::string empty = files.Write("empty", "");
  const std::string absent = files.Path("absent");
  for (const std::string& path : {empty, absent}) {
    EXPECT_FALSE(IsAsn1Binary(path.c_str()));
    EXPECT_FALSE(IsAsn1Base64(path.c_str()));
    EXPECT_EQ(GetFileTypeByContent(path.c_str()), CmsFileUnknown);
  }
  EXPECT_FALSE(IsAsn1Binary(nullptr));
  EXPECT_FALSE(IsAsn1Base64(nullptr));
  EXPECT_EQ(GetFileTypeByContent(nullptr), CmsFileUnknown);
}

}  // namespace
}  // namespace cmskit
