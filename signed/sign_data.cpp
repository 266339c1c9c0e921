#include "cmskit/sign_data.h"

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
