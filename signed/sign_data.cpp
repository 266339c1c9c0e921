#include "cmskit/sign_data.h"

#include <cstring>

#include "asn/asn_build.h"
#include "platform/win32.h"
#include "signed/signed_oids.h"

namespace cmskit {

namespace {

// Allowance for the identifier and length octets of one element.
constexpr DWORD kHeaderAllowance = 4;
// ContentInfo, [0] and SignedData headers and the version.
constexpr DWORD kFixedAllowance = 12;

}  // namespace

SignData::SignData() : version(1), encapContentInfo(kOidData, IdentObj()) { contentType = kOidSignedData; }

// Every member starts empty (even the content types) before the assignment
// fills them, so a copy never inherits the defaults of a fresh object.
SignData::SignData(const SignData& other) : version(0) { *this = other; }

SignData& SignData::operator=(const SignData& other) {
  if (this == &other) return *this;
  contentType = other.contentType;
  version = other.version;
  digestAlgorithms = other.digestAlgorithms;
  encapContentInfo = other.encapContentInfo;
  certificates = other.certificates;
  crls = other.crls;
  signerInfos = other.signerInfos;
  dataInfo = other.dataInfo;
  wideRange_ = other.wideRange_;
  wideMark_ = other.wideMark_;
  wide_ = other.wide_;
  // workPath stays: it names the file this object itself last read.
  return *this;
}

SignData::~SignData() = default;

// 32-bit sums that wrap like the buffers they size; deliberately generous.
DWORD SignData::GetDataSize() {
  DWORD size = kFixedAllowance;
  for (const ASNAlgorithmIdentifier& algorithm : digestAlgorithms) size += algorithm.GetWriteSize();
  size += encapContentInfo.GetWriteSize() + kHeaderAllowance;
  for (const IdentObj& certificate : certificates) size += certificate.size() + kHeaderAllowance;
  size += kHeaderAllowance;
  for (const IdentObj& crl : crls) size += crl.size() + kHeaderAllowance;
  size += kHeaderAllowance;
  for (const IdentObj& signer : signerInfos) size += signer.size() + kHeaderAllowance;
  return size;
}

DWORD SignData::GetObjectSize() { return GetDataSize() + contentType.size() + kHeaderAllowance; }

namespace {

bool SameWords(const ToSignStruct& a, const ToSignStruct& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

ToSignStruct64 SignData::ContentRange() const {
  if (wide_ && SameWords(dataInfo, wideMark_)) return wideRange_;
  return ToSignStruct64(dataInfo);
}

bool SignData::ContentTooLarge() const {
  ToSignStruct narrow;
  return wide_ && SameWords(dataInfo, wideMark_) && !wideRange_.Narrow(narrow);
}

// A range that fits goes to dataInfo alone. One that does not is kept aside,
// and dataInfo keeps the flags and name with an empty range as the mark of
// it: a caller who replaces dataInfo replaces the range too.
void SignData::SetContentRange(const ToSignStruct64& range) {
  wide_ = !range.Narrow(dataInfo);
  if (!wide_) return;
  wideRange_ = range;
  dataInfo = ToSignStruct();
  dataInfo.flags = range.flags;
  dataInfo.fileMark = range.fileMark;
  dataInfo.data = range.data;
  dataInfo.extra = range.extra;
  wideMark_ = dataInfo;
}

void SignData::ResolveContentEnd(uint64_t end) {
  if (wide_ && SameWords(dataInfo, wideMark_)) {
    wideRange_.end = end;
  } else if (end < ToSignStruct::kToEndOfFile) {
    dataInfo.end = static_cast<DWORD>(end);
  } else {
    ToSignStruct64 range(dataInfo);
    range.end = end;
    SetContentRange(range);
  }
}

ToSignStruct64 SignData::GetDataInfo64() const { return ContentRange(); }

bool SignData::AttachData64(const ToSignStruct64& content, int* pError) {
  if (!(content.flags & ToSignStruct::kInFile)) {
    // Memory content is copied whole into the object: the 32-bit rules hold.
    ToSignStruct narrow;
    if (!content.Narrow(narrow)) {
      if (pError) *pError = static_cast<int>(kErrorFileTooLarge);
      SetLastError(kErrorFileTooLarge);
      return false;
    }
    return AttachData(narrow, pError);
  }
  ToSignStruct named;
  named.flags = content.flags;
  named.data = content.data;
  if (!AttachData(named, pError)) return false;
  SetContentRange(content);
  return true;
}

bool SignData::AttachData(const ToSignStruct& content, int* pError) {
  DWORD code = 0;
  if (content.flags & ToSignStruct::kInFile) {
    const char* name = static_cast<const char*>(content.data);
    if (!name) {
      code = ERROR_BAD_ARGUMENTS;
    } else if (!FileExists(name)) {
      code = ERROR_FILE_NOT_FOUND;
    } else {
      // The file is only named here; the writers read it when they need it.
      encapContentInfo.id = kOidData;
      encapContentInfo.data.Clear();
      dataInfo = content;
      wide_ = false;
    }
  } else if (content.end < content.begin || (content.end != content.begin && !content.data)) {
    // A reversed range or a missing buffer would send the copy astray.
    code = ERROR_BAD_ARGUMENTS;
  } else {
    encapContentInfo.id = kOidData;
    const BYTE* bytes = static_cast<const BYTE*>(content.data);
    const DWORD length = content.end - content.begin;
    encapContentInfo.data.SetData(length ? bytes + content.begin : nullptr, length);
  }
  if (pError) *pError = static_cast<int>(code);
  if (code == 0) return true;
  SetLastError(code);
  return false;
}

}  // namespace cmskit
