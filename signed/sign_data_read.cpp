// Reading one ContentInfo/SignedData held in memory.
#include "asn/asn_build.h"
#include "asn/asn_element.h"
#include "asn/asn_reader.h"
#include "cmskit/sign_data.h"
#include "platform/win32.h"
#include "signed/signed_oids.h"

namespace cmskit {

namespace {

constexpr DWORD kBadTag = 0x8009310B;      // CRYPT_E_ASN1_BADTAG
constexpr DWORD kCorrupt = 0x80093103;     // CRYPT_E_ASN1_CORRUPT
constexpr DWORD kBadVersion = 0x80340004;  // status 136 mapped

// How each kind of failing step reports: the last error always carries the
// platform code; *pError carries the raw decoder status, the helper's code,
// or stays 0 for the reader's own structural checks.
bool FailDirect(DWORD code) {
  SetLastError(code);
  return false;
}

bool FailDecoder(int* pError, int status) {
  SetLastError(StatusToWin32(status));
  if (pError) *pError = status;
  return false;
}

bool FailHelper(int* pError, int code) {
  SetLastError(static_cast<DWORD>(code));
  if (pError) *pError = code;
  return false;
}

ASNTSpan SpanOf(const IdentObj& element) { return ASNTSpan{element.data(), element.size()}; }

// The header of a whole element, with its contents checked to lie inside it
// before anything looks at them.
int ReadBoundedHeader(const ASNTSpan& element, ASNTElementInfo& info) {
  uint64_t total = 0;
  return ASNTBoundedHeader(element.data, element.size, info, total);
}

int DecodeValue(const ASNTSpan& element, ASNTElementInfo& info, IdentObj& value) {
  int status = ReadBoundedHeader(element, info);
  if (status != 0) return status;
  if (info.length == kASNTIndefinite) return kStatusCorrupt;
  value = ASNTDecodeElement(info, &status);
  return status;
}

// The contents of a wrapper element: its definite length, or up to and
// including the end-of-contents octets of an indefinite one.
int WrapperContents(const ASNTSpan& element, DWORD& length) {
  ASNTElementInfo info{};
  uint64_t total = 0;
  const int status = ASNTBoundedHeader(element.data, element.size, info, total);
  if (status != 0) return status;
  length = static_cast<DWORD>(total - static_cast<uint64_t>(info.contents - element.data));
  return 0;
}

int Mapped(int status) { return status ? static_cast<int>(StatusToWin32(status)) : 0; }

}  // namespace

bool SignData::ReadObject(const BYTE* pData, DWORD cbData, int* pError) {
  if (pError) *pError = 0;
  std::vector<ASNTSpan> outer;
  int status = ASNTSplitSpans(pData, cbData, outer);
  if (status != 0) return FailDecoder(pError, status);
  if (outer.size() != 2) return FailDirect(kCorrupt);

  ASNTElementInfo info{};
  IdentObj type;
  status = ReadBoundedHeader(outer[0], info);
  if (status != 0) return FailDecoder(pError, status);
  if (info.tagNumber != kASNTObjectId) return FailDirect(kBadTag);
  status = DecodeValue(outer[0], info, type);
  if (status != 0) return FailDecoder(pError, status);
  IdentObj expected;
  expected = kOidSignedData;
  if (type != expected) return FailDirect(kCorrupt);

  const ASNTSpan& wrapper = outer[1];
  status = ASNTReadHeader(info, wrapper.data, wrapper.size);
  if (status != 0) return FailDecoder(pError, status);
  // Only the class is required of the wrapper: its tag number is not looked at.
  if (info.tagClass != kASNTContext) return FailDirect(kCorrupt);
  DWORD length = 0;
  if (WrapperContents(wrapper, length) != 0) return FailDirect(kCorrupt);
  return ReadSignedData(info.contents, length, pError);
}

bool SignData::ReadSignedData(const BYTE* data, DWORD size, int* pError) {
  std::vector<ASNTSpan> children;
  int status = ASNTSplitSpans(data, size, children);
  if (status != 0) return FailDecoder(pError, status);
  if (children.size() < 3) return FailDirect(kCorrupt);

  ASNTElementInfo info{};
  status = ReadBoundedHeader(children[0], info);
  if (status != 0) return FailDecoder(pError, status);
  if (info.tagNumber != kASNTInteger) return FailDirect(kBadTag);
  if (children[0].size >= 5) return FailDirect(kCorrupt);
  IdentObj value;
  status = DecodeValue(children[0], info, value);
  if (status != 0) return FailDecoder(pError, status);
  const DWORD number = ASNTSmallInteger(value);
  if (number != 1 && number != 3) return FailDirect(kBadVersion);
  version = number;

  int code = ReadAlgList(children[1]);
  if (code != 0) return FailHelper(pError, code);
  code = ReadEncapsContentInfo(children[2]);
  if (code != 0) return FailHelper(pError, code);
  return ReadOptionalSets(children.data() + 3, children.data() + children.size(), pError);
}

bool SignData::ReadOptionalSets(const ASNTSpan* child, const ASNTSpan* end, int* pError) {
  ASNTElementInfo info{};
  const uint32_t setTags[2] = {0, 1};
  for (uint32_t tagNumber : setTags) {
    // A message that stops before its signerInfos is not one this reader takes.
    if (child == end) return FailDirect(kCorrupt);
    const int status = ReadBoundedHeader(*child, info);
    if (status != 0) return FailDecoder(pError, status);
    if (info.tagClass != kASNTContext || info.tagNumber != tagNumber) continue;
    const int code = ReadElementSet(*child, tagNumber, tagNumber == 0 ? certificates : crls);
    if (code != 0) return FailHelper(pError, code);
    ++child;
  }
  if (child == end) return FailDirect(kCorrupt);
  signerInfos.clear();
  int status = 0;
  ASNTGetSequence(signerInfos, child->data, child->size, &status);
  if (status != 0) return FailDecoder(pError, status);
  return true;
}

int SignData::ReadObject_AlgList(const IdentObj& element) { return ReadAlgList(SpanOf(element)); }

int SignData::ReadObject_EncapsContentInfo(const IdentObj& element) {
  return ReadEncapsContentInfo(SpanOf(element));
}

int SignData::ReadObject_CertificateSet(const IdentObj& element) {
  return ReadElementSet(SpanOf(element), 0, certificates);
}

int SignData::ReadObject_CRLList(const IdentObj& element) { return ReadElementSet(SpanOf(element), 1, crls); }

int SignData::ReadAlgList(const ASNTSpan& element) {
  digestAlgorithms.clear();
  std::vector<ASNTSpan> children;
  int status = ASNTSplitSpans(element.data, element.size, children);
  if (status != 0) return Mapped(status);
  for (const ASNTSpan& child : children) {
    ASNAlgorithmIdentifier algorithm;
    algorithm.ReadData(child.data, child.size, &status);
    if (status != 0) return Mapped(status);
    digestAlgorithms.push_back(algorithm);
  }
  return 0;
}

int SignData::ReadEncapsContentInfo(const ASNTSpan& element) {
  std::vector<ASNTSpan> children;
  int status = ASNTSplitSpans(element.data, element.size, children);
  if (status != 0) return Mapped(status);
  if (children.empty()) return static_cast<int>(kCorrupt);

  ASNTElementInfo info{};
  status = ReadBoundedHeader(children[0], info);
  if (status != 0) return Mapped(status);
  if (info.tagNumber != kASNTObjectId) return static_cast<int>(kBadTag);
  IdentObj type;
  status = DecodeValue(children[0], info, type);
  if (status != 0) return Mapped(status);
  encapContentInfo.id = std::move(type);

  for (size_t i = 1; i < children.size(); ++i) {
    const int code = ReadContentChild(children[i]);
    if (code != 0) return code;
  }
  return 0;
}

// One child after eContentType: a bare OCTET STRING, or any context-specific
// element wrapping one; the last such child wins.
int SignData::ReadContentChild(const ASNTSpan& child) {
  ASNTElementInfo info{};
  int status = ReadBoundedHeader(child, info);
  if (status != 0) return Mapped(status);
  const BYTE* octetString = child.data;
  DWORD length = child.size;
  if (info.tagNumber != kASNTOctetString) {
    if (info.tagClass != kASNTContext) return 0;
    status = WrapperContents(child, length);
    if (status != 0) return Mapped(status);
    ASNTElementInfo inner{};
    status = ASNTReadHeader(inner, info.contents, length);
    if (status != 0) return Mapped(status);
    if (inner.tagNumber != kASNTOctetString) return static_cast<int>(kBadTag);
    octetString = info.contents;
  }
  IdentObj octets;
  status = ASNTOctetStringValue(octetString, length, octets);
  if (status != 0) return Mapped(status);
  encapContentInfo.data = std::move(octets);
  return 0;
}

// The elements of an IMPLICIT [n] SET OF, each kept whole. An empty element
// (an end-of-contents marker among them) ends the set.
int SignData::ReadElementSet(const ASNTSpan& element, uint32_t tagNumber, std::list<IdentObj>& out) {
  out.clear();
  ASNTElementInfo info{};
  int status = ASNTReadHeader(info, element.data, element.size);
  if (status == 0 && (info.tagClass != kASNTContext || info.tagNumber != tagNumber))
    return static_cast<int>(kBadTag);
  uint64_t end = 0;
  if (status == 0) status = ASNTBoundedHeader(element.data, element.size, info, end);
  uint64_t position = status == 0 ? static_cast<uint64_t>(info.contents - element.data) : end;
  while (status == 0 && position < end) {
    ASNTElementInfo item{};
    const BYTE* at = element.data + position;
    uint64_t extent = 0;
    status = ASNTBoundedHeader(at, end - position, item, extent);
    if (status != 0 || item.length == 0) break;
    out.emplace_back(at, static_cast<uint32_t>(extent));
    position += extent;
  }
  if (status == 0) return 0;
  out.clear();
  return Mapped(status);
}

}  // namespace cmskit
