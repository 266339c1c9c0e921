#include "cmskit/encrypted_content_info.h"

#include <list>

#include "asn/asn_element.h"
#include "cmskit/asn_codec.h"
#include "cmskit/status.h"
#include "enveloped/enveloped_support.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr char kDataContentType[] = "1.2.840.113549.1.7.1";
constexpr char kReadOrigin[] = "EncryptedContentInfo::ReadObject";
constexpr char kWriteOrigin[] = "EncryptedContentInfo::WriteObject";

void CopyContentFields(EncryptedContentInfo& target, const EncryptedContentInfo& source) {
  target.contentType = source.contentType;
  target.contentEncryptionAlgorithm = source.contentEncryptionAlgorithm;
  target.encryptedContent = source.encryptedContent;
  target.flags = source.flags;
  target.contentOffset = source.contentOffset;
  target.contentLength = source.contentLength;
  target.SetContentRange64(source.GetContentOffset64(), source.GetContentLength64());
}

// The [0] child: taken only when it is context class tag 0, anything else in
// third place is ignored.
void TakeContent(EncryptedContentInfo& target, const IdentObj& child) {
  uint32_t headerLength = 0;
  const ASNTElementInfo info = ASNTWholeHeader(child, headerLength, kReadOrigin);
  if (!ASNTIsContext(info, 0)) return;
  // The child was cut out whole: for an indefinite length its end-of-
  // contents octets stay with the stored octets.
  const uint32_t available = child.size() - headerLength;
  const uint32_t length = info.length == kASNTIndefinite || info.length > available ? available : info.length;
  target.encryptedContent = IdentObj(child.data() + headerLength, length);
  target.flags = info.constructed ? DWORD{EncryptedContentInfo::kContentConstructed} : DWORD{0};
}

DWORD ParseFromMemory(EncryptedContentInfo& target, const BYTE* data, DWORD size) {
  target.fileName = CTOOString();
  target.contentLength = 0;
  target.flags = 0;
  target.encryptedContent.Clear();

  std::list<IdentObj> children;
  int status = 0;
  const DWORD consumed = ASNTGetSequence(children, data, size, &status);
  if (status != 0) ASNTRaise(status, kReadOrigin);
  if (consumed == 0 || children.size() < 2 || children.size() > 3) ASNTRaise(kStatusCorrupt, kReadOrigin);

  auto child = children.begin();
  const IdentObj type = ASNTDecodePrimitive(*child, kASNTObjectId, kStatusBadTag, kReadOrigin);
  target.contentType.Assign(reinterpret_cast<const char*>(type.data()), type.size());
  ++child;
  target.contentEncryptionAlgorithm.ReadData(child->data(), child->size(), &status);
  if (status != 0) ASNTRaise(status, kReadOrigin);
  if (++child != children.end()) TakeContent(target, *child);
  return consumed;
}

IdentObj LoadFileContent(const EncryptedContentInfo& source) {
  if (source.GetContentLength64() != source.contentLength) ASNTRaise(kStatusTooLarge, kWriteOrigin);
  CTOOFile file(source.fileName.c_str(), "rbc");
  if (!file.IsOpen()) ASNTRaise(file.GetStatus() != 0 ? file.GetStatus() : kStatusOpenFailed, kWriteOrigin);
  const uint32_t fileLength = file.GetLength();
  if (file.IsError()) ASNTRaise(file.GetStatus(), kWriteOrigin);
  if (source.contentOffset > fileLength || fileLength - source.contentOffset < source.contentLength)
    ASNTRaise(kStatusBadArgument, kWriteOrigin);
  IdentObj content;
  content.Allocate(source.contentLength);
  if (file.Seek(static_cast<long>(source.contentOffset), SEEK_SET) != 0 ||
      file.Read(content.data(), source.contentLength) != source.contentLength)
    ASNTRaise(kStatusReadError, kWriteOrigin);
  return content;
}

IdentObj BuildEncoding(const EncryptedContentInfo& source) {
  const bool inFile = (source.flags & EncryptedContentInfo::kContentInFile) != 0;
  IdentObj fileContent;
  if (inFile && source.contentLength != 0) fileContent = LoadFileContent(source);
  const IdentObj& content = inFile ? fileContent : source.encryptedContent;

  std::list<IdentObj> items;
  items.push_back(ASNTBuildOid(source.contentType.c_str(), source.contentType.GetLength(), kWriteOrigin));
  int status = 0;
  items.push_back(source.contentEncryptionAlgorithm.WriteData(&status));
  if (status != 0) ASNTRaise(status, kWriteOrigin);
  if (!content.IsEmpty()) {
    const uint8_t constructed =
        (source.flags & EncryptedContentInfo::kContentConstructed) ? kASNTConstructed : 0;
    const ASNTElementInfo info{kASNTContext, constructed, 0, 0, nullptr};
    items.push_back(ASNTEncodeElement(info, content.data(), content.size()));
  }
  return ASNTBuildSequence(items, kASNTSequence, kWriteOrigin);
}

uint64_t MeasureEncoding(const EncryptedContentInfo& source) {
  const uint64_t contentLength = (source.flags & EncryptedContentInfo::kContentInFile)
                                     ? source.GetContentLength64()
                                     : source.encryptedContent.size();
  uint64_t total =
      ASNTBuildOid(source.contentType.c_str(), source.contentType.GetLength(), kWriteOrigin).size();
  total += source.contentEncryptionAlgorithm.GetWriteSize();
  if (contentLength != 0) {
    const uint8_t constructed =
        (source.flags & EncryptedContentInfo::kContentConstructed) ? kASNTConstructed : 0;
    total += ASNTEncodeHeader(kASNTContext, constructed, 0, contentLength).size() + contentLength;
  }
  return total + ASNTEncodeHeader(kASNTUniversal, kASNTConstructed, kASNTSequence, total).size();
}

}  // namespace

EncryptedContentInfo::EncryptedContentInfo()
    : contentType(kDataContentType), flags(0), contentOffset(0), contentLength(0) {}

EncryptedContentInfo::EncryptedContentInfo(const EncryptedContentInfo& other)
    : flags(0), contentOffset(0), contentLength(0) {
  CopyContentFields(*this, other);
}

EncryptedContentInfo& EncryptedContentInfo::operator=(const EncryptedContentInfo& other) {
  if (this != &other) CopyContentFields(*this, other);
  return *this;
}

EncryptedContentInfo::~EncryptedContentInfo() = default;

DWORD EncryptedContentInfo::ReadObject(const BYTE* data, DWORD size) {
  DWORD consumed = 0;
  const int status = CatchStatus([&] { consumed = ParseFromMemory(*this, data, size); });
  return DeliverStatus(nullptr, status) ? consumed : 0;
}

IdentObj EncryptedContentInfo::WriteObject() {
  IdentObj encoded;
  const int status = CatchStatus([&] { encoded = BuildEncoding(*this); });
  if (!DeliverStatus(nullptr, status)) return IdentObj();
  return encoded;
}

DWORD EncryptedContentInfo::GetObjectSize() const {
  const uint64_t size = GetObjectSize64();
  return size > 0xFFFFFFFFull ? 0 : static_cast<DWORD>(size);
}

uint64_t EncryptedContentInfo::GetObjectSize64() const {
  uint64_t size = 0;
  const int status = CatchStatus([&] { size = MeasureEncoding(*this); });
  return status == 0 ? size : 0;
}

bool EncryptedContentInfo::HoldsWideRange() const {
  return wide_ && contentOffset == 0 && contentLength == 0;
}

uint64_t EncryptedContentInfo::GetContentOffset64() const {
  return HoldsWideRange() ? wideOffset_ : contentOffset;
}

uint64_t EncryptedContentInfo::GetContentLength64() const {
  return HoldsWideRange() ? wideLength_ : contentLength;
}

void EncryptedContentInfo::SetContentRange64(uint64_t offset, uint64_t length) {
  wide_ = offset > 0xFFFFFFFFull || length > 0xFFFFFFFFull;
  wideOffset_ = wide_ ? offset : 0;
  wideLength_ = wide_ ? length : 0;
  contentOffset = wide_ ? 0 : static_cast<DWORD>(offset);
  contentLength = wide_ ? 0 : static_cast<DWORD>(length);
}

}  // namespace cmskit
