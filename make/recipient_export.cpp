#include "make/recipient_export.h"

#include <cstring>
#include <vector>

#include "asn/asn_build.h"
#include "cmskit/asn_types.h"
#include "enveloped/enveloped_support.h"
#include "verify/crypt_handles.h"

namespace cmskit {

namespace {

constexpr char kRsaOid[] = "1.2.840.113549.1.1.1";
constexpr DWORD kMessageEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
// SIMPLEBLOB: BLOBHEADER, then the ALG_ID of the key that wrapped it.
constexpr size_t kSimpleBlobHeader = sizeof(BLOBHEADER) + sizeof(ALG_ID);

// The recipient's public key, released whatever happens after the import.
KeyHandle ImportedKey(HCRYPTPROV prov, CERT_PUBLIC_KEY_INFO& info) {
  HCRYPTKEY key = 0;
  if (!CryptImportPublicKeyInfo(prov, X509_ASN_ENCODING, &info, &key))
    RaiseLastError("CryptImportPublicKeyInfo");
  return KeyHandle(key);
}

// PKCS #1 v1.5: the provider writes the encrypted key least significant
// byte first; the message carries it the other way round.
std::vector<BYTE> RsaTransport(HCRYPTPROV prov, HCRYPTKEY contentKey, CERT_PUBLIC_KEY_INFO& info) {
  const KeyHandle recipient = ImportedKey(prov, info);
  DWORD length = 0;
  if (!CryptExportKey(contentKey, recipient.get(), SIMPLEBLOB, 0, nullptr, &length))
    RaiseLastError("CryptExportKey");
  std::vector<BYTE> blob(length);
  if (!CryptExportKey(contentKey, recipient.get(), SIMPLEBLOB, 0, blob.data(), &length))
    RaiseLastError("CryptExportKey");
  if (length <= kSimpleBlobHeader) ASNTRaise(kStatusCorrupt, "CryptExportKey");
  return std::vector<BYTE>(blob.rbegin() + static_cast<std::ptrdiff_t>(blob.size() - length),
                           blob.rend() - static_cast<std::ptrdiff_t>(kSimpleBlobHeader));
}

class ExportFunction {
 public:
  explicit ExportFunction(const char* oid) {
    HCRYPTOIDFUNCSET set = CryptInitOIDFunctionSet(CMSG_OID_EXPORT_ENCRYPT_KEY_FUNC, 0);
    if (!set) RaiseLastError("CryptInitOIDFunctionSet");
    void* address = nullptr;
    if (!CryptGetOIDFunctionAddress(set, kMessageEncoding, oid, 0, &address, &handle_) || !address)
      RaiseLastError("CryptGetOIDFunctionAddress");
    function_ = reinterpret_cast<PFN_CMSG_EXPORT_ENCRYPT_KEY>(address);
  }
  ~ExportFunction() {
    if (handle_) CryptFreeOIDFunctionAddress(handle_, 0);
  }
  ExportFunction(const ExportFunction&) = delete;
  ExportFunction& operator=(const ExportFunction&) = delete;
  PFN_CMSG_EXPORT_ENCRYPT_KEY Get() const { return function_; }

 private:
  PFN_CMSG_EXPORT_ENCRYPT_KEY function_ = nullptr;
  HCRYPTOIDFUNCADDR handle_ = nullptr;
};

// Every other algorithm goes to the function installed for its OID (the
// GOST ones), whose octets are the message's own.
std::vector<BYTE> InstalledTransport(HCRYPTPROV prov, HCRYPTKEY contentKey, CERT_PUBLIC_KEY_INFO& info) {
  const ExportFunction exporter(info.Algorithm.pszObjId);
  DWORD length = 0;
  if (!exporter.Get()(prov, contentKey, &info, nullptr, &length))
    RaiseLastError("CryptMsgDllExportEncryptKey");
  std::vector<BYTE> octets(length);
  if (!exporter.Get()(prov, contentKey, &info, octets.data(), &length))
    RaiseLastError("CryptMsgDllExportEncryptKey");
  octets.resize(length);
  return octets;
}

IdentObj OctetString(const std::vector<BYTE>& value) {
  const ASNTElementInfo info{kASNTUniversal, kASNTPrimitive, kASNTOctetString, 0, nullptr};
  return ASNTEncodeElement(info, value.data(), static_cast<uint32_t>(value.size()));
}

}  // namespace

TransRecipientInfo ExportToRecipient(const CERT_CONTEXT& cert, HCRYPTPROV prov, HCRYPTKEY contentKey) {
  constexpr char kOrigin[] = "EncryptMessage";
  CERT_INFO& info = *cert.pCertInfo;
  CERT_PUBLIC_KEY_INFO& publicKey = info.SubjectPublicKeyInfo;
  const bool rsa = publicKey.Algorithm.pszObjId && strcmp(publicKey.Algorithm.pszObjId, kRsaOid) == 0;
  const std::vector<BYTE> wrapped =
      rsa ? RsaTransport(prov, contentKey, publicKey) : InstalledTransport(prov, contentKey, publicKey);

  TransRecipientInfo recipient;
  recipient.issuer = info.Issuer;
  recipient.serialNumber = info.SerialNumber;
  int status = 0;
  recipient.keyEncryptionAlgorithm = CASNPublicKeyInfo(publicKey).algorithm.WriteData(&status);
  if (status != 0) ASNTRaise(status, kOrigin);
  recipient.encryptedKey = OctetString(wrapped);
  return recipient;
}

}  // namespace cmskit
