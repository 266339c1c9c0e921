// A ContentInfo holding an EnvelopedData, read from and written to memory or
// files. Read from a file, the encrypted content stays there.
#ifndef CMSKIT_ENVELOPED_DATA_H
#define CMSKIT_ENVELOPED_DATA_H

#include <list>

#include "encrypted_content_info.h"
#include "export.h"
#include "file.h"
#include "identobj.h"
#include "originator_info.h"
#include "platform/win32.h"
#include "trans_recipient_info.h"

namespace cmskit {

// Errors: with pError the mapped code is stored there and the normal result
// returned (bytes consumed so far, an empty object, 0); without it the
// XTOOStatus is thrown to the caller unchanged.
class CMSKIT_API EnvelopedData {
 public:
  EnvelopedData();
  EnvelopedData(EnvelopedData& other);
  // encryptedContentInfo is assigned by its own rule: the target keeps its
  // fileName.
  EnvelopedData& operator=(const EnvelopedData& other);
  ~EnvelopedData();

  DWORD ReadObject(const BYTE* data, DWORD size, int* pError = nullptr);
  // From the file's current position; the encrypted octets are not loaded.
  DWORD ReadObject(const CTOOFile& file, int* pError = nullptr);
  IdentObj WriteObject(int* pError = nullptr);
  // Refuses (status 156) to write over the file that holds its own content.
  DWORD WriteObject(CTOOFile& file, int* pError = nullptr) const;

  // 64-bit companions of the file members, for messages of 4 GiB and more;
  // they behave as their 32-bit siblings in every other respect. The 32-bit
  // members fail with ERROR_FILE_TOO_LARGE (223) for a message or encrypted
  // content they cannot express (without pError: XTOOStatus kStatusTooLarge).
  uint64_t ReadObject64(const CTOOFile& file, int* pError = nullptr);
  uint64_t WriteObject64(CTOOFile& file, int* pError = nullptr) const;

  // Imports the content-encryption key transported to the recipient that
  // `cert` names by issuer and serial number (the first such recipient),
  // through the platform's "CryptMsgDllImportEncryptKey" function for the
  // OID of `contentAlg`. The certificate must carry its key-provider property
  // (CERT_KEY_PROV_INFO_PROP_ID), whose dwKeySpec is passed on. Returns 1, or
  // 0 on failure: status 28 (ERROR_BAD_ARGUMENTS) when no recipient matches,
  // else the platform's code. A null certificate or provider is last error
  // 160 with pError untouched. The key belongs to the caller.
  int GetEncryptionKey(const CERT_CONTEXT* const& cert, const HCRYPTPROV& prov, HCRYPTKEY& key,
                       const ASNAlgorithmIdentifier& contentAlg, int* pError = nullptr);

  // Written as it stands; the caller chooses it (0 for the plain layout).
  DWORD version;
  OriginatorInfo originatorInfo;
  std::list<TransRecipientInfo> recipientInfos;
  EncryptedContentInfo encryptedContentInfo;
  // Each element one whole Attribute encoding; read only when version != 0.
  std::list<IdentObj> unprotectedAttrs;
};

}  // namespace cmskit

#endif
