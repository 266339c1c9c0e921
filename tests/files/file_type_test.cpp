// Message type detection from DER, BER and Base64 files, and the bounded
// SignedData walk behind it.
#include <random>
#include <string>
#include <tuple>

#include "cmskit/message_files.h"
#include "files/base64.h"
#include "files/content_type.h"
#include "files_test_util.h"

namespace cmskit {
namespace {

using namespace der;

const BYTE* Data(const std::string& bytes) { return reinterpret_cast<const BYTE*>(bytes.data()); }

std::string Pem(const std::string& bytes) {
  std::string text(Base64Encode(bytes.data(), bytes.size(), nullptr, 0, kBase64WrapLines, 64, "\r\n"), '\0');
  text.resize(Base64Encode(bytes.data(), bytes.size(), &text[0], text.size(), kBase64WrapLines, 64, "\r\n"));
  return "-----BEGIN CMS-----\r\n" + text + "-----END CMS-----\r\n";
}

// A signed message whose eContent header ends `end` bytes in, pushed there
// by filler inside the digestAlgorithms SET.
std::string ContentHeaderEndingAt(size_t end) {
  for (size_t filler = 0; filler < 400; ++filler) {
    const std::string message = SignedData(Attached(std::string(100, 'x')), kVersion1,
                                           Tlv(0x31, Tlv(0x04, std::string(filler, '\0'))));
    if (message.find(kDataOid + "\xA0") + kDataOid.size() + 2 == end) return message;
  }
  ADD_FAILURE() << "no filler puts the header end at " << end;
  return "";
}

std::string Streamed(const std::string& encap) {
  return Ber(0x30, kSignedDataOid + Ber(0xA0, Ber(0x30, kVersion1 + kSha1Set + encap)));
}

std::string WithByte(std::string bytes, size_t at, char value) { return bytes.replace(at, 1, 1, value); }

TEST(GetFileTypeByContent, ClassifiesDerAndBase64Messages) {
  const std::tuple<const char*, std::string, CmsFileType> cases[] = {
      {"enveloped type alone", Tlv(0x30, kEnvelopedDataOid), CmsFileEnveloped},
      {"attached", SignedData(Attached("hello")), CmsFileSignedAttached},
      {"detached", SignedData(Tlv(0x30, kDataOid)), CmsFileSignedDetached},
      {"4-byte version", SignedData(Attached("x"), Tlv(0x02, std::string("\1\0\0\0", 4))),
       CmsFileSignedAttached},
      {"5-byte version", SignedData(Attached("x"), Tlv(0x02, std::string("\1\0\0\0\0", 5))), CmsFileUnknown},
      {"private [0]", WithByte(SignedData(Attached("x")), 13, '\xE0'), CmsFileSignedAttached},
      {"application [0]", WithByte(SignedData(Attached("x")), 13, '\x60'), CmsFileUnknown},
      {"header at the limit", ContentHeaderEndingAt(255), CmsFileUnknown},
      {"header before the limit", ContentHeaderEndingAt(254), CmsFileSignedAttached},
      {"streamed attached", Streamed(Ber(0x30, kDataOid + Ber(0xA0, Ber(0x24, Tlv(0x04, "hi"))))),
       CmsFileSignedAttached},
      {"streamed detached", Streamed(Ber(0x30, kDataOid)), CmsFileSignedDetached},
  };
  TempFiles files;
  for (const auto& [name, bytes, type] : cases) {
    EXPECT_EQ(GetFileTypeByContent(files.Write("der", bytes).c_str()), type) << name;
    EXPECT_EQ(GetFileTypeByContent(files.Write("pem", Pem(bytes)).c_str()), type) << name << " as Base64";
  }
  std::string text = Pem(Tlv(0x30, kEnvelopedDataOid));
  EXPECT_TRUE(IsAsn1Base64(files.Write("pem", text).c_str()));
  EXPECT_EQ(GetFileTypeByContent(files.Write("cut", text.erase(39, 1)).c_str()), CmsFileUnknown);
  // The OID's last byte missing: the zero behind the short file completes it.
  EXPECT_TRUE(IsAsn1Binary(files.Write("short", Tlv(0x30, kEnvelopedDataOid).substr(0, 12)).c_str()));
  for (const std::string& path : {files.Write("empty", ""), files.Path("absent")}) {
    EXPECT_FALSE(IsAsn1Binary(path.c_str()) || IsAsn1Base64(path.c_str()));
    EXPECT_EQ(GetFileTypeByContent(path.c_str()), CmsFileUnknown);
  }
}

TEST(InspectSignedData, StaysInsideTruncatedAndMangledInput) {
  const std::string message = SignedData(Attached(std::string(300, 'x')));
  bool hasContent = false;
  for (size_t length = 0; length < 40; ++length) {
    const std::string cut = message.substr(0, length);  // exactly sized, for the sanitizers
    EXPECT_FALSE(InspectSignedData(Data(cut), cut.size(), hasContent)) << length;
  }
  std::mt19937 random(3);
  for (int round = 0; round < 20000; ++round) {
    std::string bytes = message.substr(0, 255);
    for (int flips = 1 + round % 4; flips > 0; --flips)
      bytes[random() % bytes.size()] = static_cast<char>(random());
    bytes.resize(random() % 256);
    InspectSignedData(Data(bytes), bytes.size(), hasContent);
    IndefiniteExtent(Data(bytes), bytes.size(), round % 2 == 0);
  }
}

}  // namespace
}  // namespace cmskit
