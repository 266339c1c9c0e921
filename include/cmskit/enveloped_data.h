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
