// The optional originatorInfo of an EnvelopedData: certificates and CRLs,
// carried as opaque encodings.
#ifndef CMSKIT_ORIGINATOR_INFO_H
#define CMSKIT_ORIGINATOR_INFO_H

#include <list>

#include "export.h"
#include "identobj.h"
#include "platform/win32.h"

namespace cmskit {

class CMSKIT_API OriginatorInfo {
 public:
  OriginatorInfo();
  OriginatorInfo(const OriginatorInfo& other);
  OriginatorInfo& operator=(const OriginatorInfo& other);
  ~OriginatorInfo();

  bool IsEmpty() const;
  // Empty object when both lists are empty. With pError: the mapped code
  // there; without it a failure is thrown as XTOOStatus.
  IdentObj WriteObject(int* pError = nullptr) const;
  // Appends to the lists; returns the bytes consumed, 0 after a failure
  // reported through pError.
  DWORD ReadObject(const BYTE* data, DWORD size, int* pError = nullptr);
  DWORD GetObjectSize() const;

  // Each element one whole certificate / CRL encoding, in message order.
  std::list<IdentObj> certs;
  std::list<IdentObj> crls;
};

}  // namespace cmskit

#endif
