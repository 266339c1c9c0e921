// EnvelopedData::GetEncryptionKey: the recipient that a certificate names,
// and the platform's import function that unwraps its content key.
#include <cstring>
#include <string>
#include <vector>

#include "cmskit/asn_types.h"
#include "cmskit/enveloped_data.h"
#include "cmskit/status.h"
#include "enveloped/enveloped_support.h"
#include "platform/win32.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr char kOrigin[] = "EnvelopedData::GetEncryptionKey";
constexpr DWORD kMessageEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
// The status of a platform failure that left no code behind (maps to
// ERROR_FUNCTION_FAILED).
constexpr int kStatusPlatformFailed = 36;

[[noreturn]] void RaisePlatformError(const char* origin) {
  const int status = Win32ToStatus(GetLastError());
  ASNTRaise(status != 0 ? status : kStatusPlatformFailed, origin);
}

// The dwKeySpec of the certificate's key-provider property; a certificate
// without the property names no key and fails with the query's code.
DWORD KeySpecOf(const CERT_CONTEXT* cert) {
  constexpr char kPropertyOrigin[] = "CertGetCertificateContextProperty";
  DWORD size = 0;
  if (!CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size))
    RaisePlatformError(kPropertyOrigin);
  // 64-bit words keep the structure aligned; never less than the structure.
  const size_t words = (size > sizeof(CRYPT_KEY_PROV_INFO) ? size : sizeof(CRYPT_KEY_PROV_INFO)) / 8 + 1;
  std::vector<uint64_t> buffer(words, 0);
  if (!CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, buffer.data(), &size))
    RaisePlatformError(kPropertyOrigin);
  return reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(buffer.data())->dwKeySpec;
}

bool SameBytes(const IdentObj& value, const CRYPTOAPI_BLOB& blob) {
  if (value.size() != blob.cbData) return false;
  return value.size() == 0 || memcmp(value.data(), blob.pbData, value.size()) == 0;
}

// Issuer and serial number both equal to the certificate's; a recipient
// named by key identifier has neither and never matches.
bool Names(const TransRecipientInfo& recipient, const CERT_INFO& info) {
  if (recipient.issuer.IsEmpty() && recipient.serialNumber.IsEmpty()) return false;
  return SameBytes(recipient.serialNumber, info.SerialNumber) && SameBytes(recipient.issuer, info.Issuer);
}

const TransRecipientInfo& FindRecipient(const std::list<TransRecipientInfo>& recipients,
                                        const CERT_INFO& info) {
  for (const TransRecipientInfo& recipient : recipients) {
    if (!Names(recipient, info)) continue;
    if (recipient.encryptedKey.IsEmpty()) break;
    return recipient;
  }
  ASNTRaise(kStatusBadArgument, kOrigin);
}

// A CRYPT_ALGORITHM_IDENTIFIER over an algorithm's OID text (given a
// terminator here) and its encoded parameters.
class PlatformAlgorithm {
 public:
  explicit PlatformAlgorithm(const ASNAlgorithmIdentifier& algorithm)
      : oid_(reinterpret_cast<const char*>(algorithm.id.data()), algorithm.id.size()),
        parameters_(algorithm.data) {
    value_.pszObjId = &oid_[0];
    value_.Parameters.cbData = parameters_.size();
    value_.Parameters.pbData = parameters_.data();
  }
  PlatformAlgorithm(const PlatformAlgorithm&) = delete;
  PlatformAlgorithm& operator=(const PlatformAlgorithm&) = delete;

  CRYPT_ALGORITHM_IDENTIFIER* Get() { return &value_; }
  const char* Oid() const { return oid_.c_str(); }

 private:
  std::string oid_;
  IdentObj parameters_;
  CRYPT_ALGORITHM_IDENTIFIER value_{};
};

// The import function registered for an OID, released when done.
class ImportFunction {
 public:
  explicit ImportFunction(const char* oid) {
    HCRYPTOIDFUNCSET set = CryptInitOIDFunctionSet(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, 0);
    if (!set) RaisePlatformError("CryptInitOIDFunctionSet");
    void* address = nullptr;
    if (!CryptGetOIDFunctionAddress(set, kMessageEncoding, oid, 0, &address, &handle_) || !address)
      RaisePlatformError("CryptGetOIDFunctionAddress");
    function_ = reinterpret_cast<PFN_CMSG_IMPORT_ENCRYPT_KEY>(address);
  }
  ~ImportFunction() {
    if (handle_) CryptFreeOIDFunctionAddress(handle_, 0);
  }
  ImportFunction(const ImportFunction&) = delete;
  ImportFunction& operator=(const ImportFunction&) = delete;

  PFN_CMSG_IMPORT_ENCRYPT_KEY Get() const { return function_; }

 private:
  PFN_CMSG_IMPORT_ENCRYPT_KEY function_ = nullptr;
  HCRYPTOIDFUNCADDR handle_ = nullptr;
};

void ImportKey(const EnvelopedData& message, const CERT_CONTEXT* cert, HCRYPTPROV prov, HCRYPTKEY& key,
               const ASNAlgorithmIdentifier& contentAlg) {
  const DWORD keySpec = KeySpecOf(cert);
  const TransRecipientInfo& recipient = FindRecipient(message.recipientInfos, *cert->pCertInfo);
  IdentObj encryptedKey =
      ASNTDecodePrimitive(recipient.encryptedKey, kASNTOctetString, kStatusBadTag, kOrigin);

  PlatformAlgorithm content(contentAlg);
  const ImportFunction import(content.Oid());
  PlatformAlgorithm publicKey(CASNPublicKeyInfo(cert->pCertInfo->SubjectPublicKeyInfo).algorithm);
  if (!import.Get()(prov, keySpec, content.Get(), publicKey.Get(), encryptedKey.data(), encryptedKey.size(),
                    &key))
    RaisePlatformError("CryptMsgDllImportEncryptKey");
  SetLastError(0);
}

}  // namespace

int EnvelopedData::GetEncryptionKey(const CERT_CONTEXT* const& cert, const HCRYPTPROV& prov, HCRYPTKEY& key,
                                    const ASNAlgorithmIdentifier& contentAlg, int* pError) {
  if (!cert || !cert->pCertInfo || prov == 0) {
    SetLastError(ERROR_BAD_ARGUMENTS);
    return 0;
  }
  bool imported = false;
  RunOrRethrow(pError, [&] {
    ImportKey(*this, cert, prov, key, contentAlg);
    imported = true;
  });
  return imported ? 1 : 0;
}

}  // namespace cmskit
