// Message type detection from DER, BER and Base64 files (files/cases.txt),
// and the bounded SignedData walk behind it.
#include <gtest/gtest.h>

#include "cmskit/message_files.h"
#include "common/table.h"
#include "common/test_util.h"
#include "files/base64.h"
#include "files/content_type.h"

namespace cmskit_testing {
namespace {

using namespace cmskit;

Bytes Pem(const Bytes& bytes) {
  std::string text(Base64Encode(bytes.data(), bytes.size(), nullptr, 0, kBase64WrapLines, 64, "\r\n"), '\0');
  text.resize(Base64Encode(bytes.data(), bytes.size(), &text[0], text.size(), kBase64WrapLines, 64, "\r\n"));
  return Text("-----BEGIN CMS-----\r\n" + text + "-----END CMS-----\r\n");
}

TEST(GetFileTypeByContent, ClassifiesDerAndBase64Messages) {
  const Table table("files/cases.txt");
  const char* const kTypes[] = {"unknown", "enveloped", "attached", "detached"};
  TempDir dir;
  const std::string der = dir.Path("der"), pem = dir.Path("pem");
  for (const Row& row : table.Rows("types")) {
    const Bytes message = table.Octets(row[1]);
    WriteBytes(der, message);
    WriteBytes(pem, Pem(message));
    EXPECT_EQ(kTypes[GetFileTypeByContent(der.c_str())], row[0]) << row.where;
    EXPECT_EQ(kTypes[GetFileTypeByContent(pem.c_str())], row[0]) << row.where << " as Base64";
  }
  Bytes text = Pem(table.Octets("30{ $envOid }"));
  WriteBytes(pem, text);
  EXPECT_TRUE(IsAsn1Base64(pem.c_str()));
  text.erase(text.begin() + 39);
  WriteBytes(pem, text);
  EXPECT_EQ(GetFileTypeByContent(pem.c_str()), CmsFileUnknown);
  // The OID's last byte missing: the zero behind the short file completes it.
  WriteBytes(der, table.Octets("30 0B 06 09 2A 86 48 86 F7 0D 01 07"));
  EXPECT_TRUE(IsAsn1Binary(der.c_str()));
  WriteBytes(der, {});
  for (const std::string& path : {der, dir.Path("absent")}) {
    EXPECT_FALSE(IsAsn1Binary(path.c_str()) || IsAsn1Base64(path.c_str()));
    EXPECT_EQ(GetFileTypeByContent(path.c_str()), CmsFileUnknown);
  }
}

// Every prefix that ends before the content's header is refused, inside its
// exactly sized copy (the fuzz target replays damaged input).
TEST(InspectSignedData, RefusesTruncatedInput) {
  const Bytes message =
      Table("files/cases.txt")
          .Octets("30{ $signedOid A0{ 30{ 02 01 01 $sha1Set 30{ $dataOid A0{ 04{ 'x'*300 } } } } } }");
  bool hasContent = false;
  for (size_t length = 0; length < 40; ++length) {
    const Bytes cut(message.begin(), message.begin() + static_cast<long>(length));
    EXPECT_FALSE(InspectSignedData(cut.data(), cut.size(), hasContent)) << length;
  }
  EXPECT_TRUE(InspectSignedData(message.data(), message.size(), hasContent) && hasContent);
  // A primitive of indefinite length ends one octet past its first zero.
  EXPECT_EQ(IndefiniteExtent(Hex("41 00 00 42").data(), 4, false), 3u);
  EXPECT_EQ(IndefiniteExtent(Hex("41 42 43").data(), 3, false), 3u);
}

}  // namespace
}  // namespace cmskit_testing
