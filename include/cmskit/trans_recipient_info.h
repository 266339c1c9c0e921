// One KeyTransRecipientInfo: the certificate the content-encryption key was
// transported to, the key-encryption algorithm and the encrypted key.
#ifndef CMSKIT_TRANS_RECIPIENT_INFO_H
#define CMSKIT_TRANS_RECIPIENT_INFO_H

#include "export.h"
#include "identobj.h"
#include "platform/win32.h"

namespace cmskit {

class CMSKIT_API TransRecipientInfo {
 public:
  TransRecipientInfo();
  TransRecipientInfo(const TransRecipientInfo& other);
  TransRecipientInfo& operator=(const TransRecipientInfo& other);
  ~TransRecipientInfo();

  // Writes the issuer-and-serial form when both are set, else the key
  // identifier form, and records that choice in `version`.
  // With pError: the mapped code there and an empty object on failure;
  // without it a failure is thrown as XTOOStatus.
  IdentObj WriteObject(int* pError = nullptr) const;
  // Returns the bytes consumed (0 after a failure reported through pError).
  DWORD ReadObject(const BYTE* data, DWORD size, int* pError = nullptr);
  // 0 when the recipient cannot be written.
  DWORD GetObjectSize() const;

  // 0: named by issuer and serial number; 2: by subject key identifier.
  mutable DWORD version;
  // The issuer Name exactly as encoded in the message, for byte comparison
  // with a certificate's encoded issuer.
  IdentObj issuer;
  // Least significant byte first, as the platform presents serial numbers.
  IdentObj serialNumber;
  IdentObj subjectKeyIdentifier;
  // Whole AlgorithmIdentifier element.
  IdentObj keyEncryptionAlgorithm;
  // Whole OCTET STRING element, tag and length included.
  IdentObj encryptedKey;
};

}  // namespace cmskit

#endif
