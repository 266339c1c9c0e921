// What a message file holds, from a bounded prefix: 255 bytes of DER, or the
// 340 Base64 characters that decode to at most as many.
#include <cstdio>
#include <string>
#include <vector>

#include "cmskit/file.h"
#include "cmskit/message_files.h"
#include "cmskit/paths.h"
#include "files/base64.h"
#include "files/base64_chars.h"
#include "files/content_type.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr uint32_t kPrefixBytes = 255;
constexpr size_t kPrefixChars = kPrefixBytes / 3 * 4;
constexpr uint32_t kNoLength = 0xFFFFFFFF;
const char kEnvelopedDataOid[] = "1.2.840.113549.1.7.3";
const char kSignedDataOid[] = "1.2.840.113549.1.7.2";

// A missing or unreadable file is turned away by the length query before any
// open is attempted.
bool OpenMessageFile(const char* path, CTOOFile& file, uint32_t& length) {
  if (!path) return false;
  XTOOFile lengthError;
  length = GetFileLengthByName(path, lengthError);
  if (length == kNoLength) return false;
  file.Open(path, "rb");
  return file.IsOpen() && !file.IsError();
}

// The first Base64 characters of the file decoded; a count that is not whole
// quanta or text that does not decode yields nothing.
bool ReadBase64Prefix(CTOOFile& file, std::vector<BYTE>& bytes) {
  std::vector<char> chars;
  const size_t count = ReadBase64Chars(file, chars, kPrefixChars);
  if (count == 0 || count % 4 != 0) return false;
  bytes.assign(kPrefixBytes, 0);
  const size_t decoded = TryBase64Decode(chars.data(), count, bytes.data(), bytes.size(), 0);
  if (decoded == 0) return false;
  bytes.resize(decoded);
  return true;
}

bool BinaryPrefixIsContentInfo(const char* path) {
  CTOOFile file;
  uint32_t length = 0;
  if (!OpenMessageFile(path, file, length)) return false;
  // A short file is examined with zeros after its end, on purpose.
  std::vector<BYTE> bytes(kPrefixBytes, 0);
  if (file.Read(bytes.data(), kPrefixBytes) == 0) return false;
  std::string oid;
  return ReadContentType(bytes.data(), bytes.size(), oid, nullptr);
}

bool Base64PrefixIsContentInfo(const char* path) {
  CTOOFile file;
  uint32_t length = 0;
  if (!OpenMessageFile(path, file, length)) return false;
  std::vector<BYTE> bytes;
  if (!ReadBase64Prefix(file, bytes)) return false;
  std::string oid;
  return ReadContentType(bytes.data(), bytes.size(), oid, nullptr);
}

// The DER prefix, or failing that the Base64 one, with its content type.
bool ReadMessagePrefix(const char* path, std::vector<BYTE>& bytes, std::string& oid) {
  CTOOFile file;
  uint32_t length = 0;
  if (!OpenMessageFile(path, file, length)) return false;
  const uint32_t expected = length < kPrefixBytes ? length : kPrefixBytes;
  bytes.assign(kPrefixBytes, 0);
  const uint32_t got = file.Read(bytes.data(), kPrefixBytes);
  if (got < expected) return false;
  // More than the length promised only when the 32-bit length query wrapped
  // for a file of 4 GiB or more: the bytes read are the truth.
  bytes.resize(got);
  if (ReadContentType(bytes.data(), bytes.size(), oid, nullptr)) return true;
  if (file.Seek(0, SEEK_SET) != 0) return false;
  return ReadBase64Prefix(file, bytes) && ReadContentType(bytes.data(), bytes.size(), oid, nullptr);
}

CmsFileType Classify(const char* path) {
  std::vector<BYTE> bytes;
  std::string oid;
  if (!ReadMessagePrefix(path, bytes, oid)) return CmsFileUnknown;
  if (oid == kEnvelopedDataOid) return CmsFileEnveloped;
  if (oid != kSignedDataOid) return CmsFileUnknown;
  bool hasContent = false;
  if (!InspectSignedData(bytes.data(), bytes.size(), hasContent)) return CmsFileUnknown;
  return hasContent ? CmsFileSignedAttached : CmsFileSignedDetached;
}

}  // namespace

bool IsAsn1Binary(const char* path) {
  bool result = false;
  CatchStatus([&] { result = BinaryPrefixIsContentInfo(path); });
  return result;
}

bool IsAsn1Base64(const char* path) {
  bool result = false;
  CatchStatus([&] { result = Base64PrefixIsContentInfo(path); });
  return result;
}

CmsFileType GetFileTypeByContent(const char* path) {
  CmsFileType type = CmsFileUnknown;
  CatchStatus([&] { type = Classify(path); });
  return type;
}

}  // namespace cmskit
