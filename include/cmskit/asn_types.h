// Small typed values over the codec: an object identifier with one optional
// element, algorithm identifiers and public keys.
#ifndef CMSKIT_ASN_TYPES_H
#define CMSKIT_ASN_TYPES_H

#include <cstdint>

#include "export.h"
#include "file.h"
#include "identobj.h"
#include "platform/win32.h"

namespace cmskit {

// SEQUENCE { OBJECT IDENTIFIER, element OPTIONAL }: `id` as dotted text
// without terminator, `data` the second element whole (empty when absent or
// NULL).
class CMSKIT_API CASNTIdData {
 public:
  CASNTIdData() = default;
  CASNTIdData(const char* oid, const IdentObj& data);
  CASNTIdData(const CASNTIdData& other);
  CASNTIdData& operator=(const CASNTIdData& other);
  virtual ~CASNTIdData();

  bool operator==(const CASNTIdData& other) const;
  bool operator!=(const CASNTIdData& other) const { return !(*this == other); }
  // Both members less: deliberately not a lexicographic order, so two unequal
  // pairs can each be not-less than the other.
  bool operator<(const CASNTIdData& other) const;

  // Returns the bytes consumed, which leaves out NULL parameters: callers
  // advance by the outer element's own length.
  DWORD ReadData(const BYTE* data, DWORD size, int* status);
  DWORD ReadData(CTOOFile& file, int* status);
  // Absent parameters are written as NULL.
  IdentObj WriteData(int* status) const;
  DWORD GetWriteSize() const;

  IdentObj id;
  IdentObj data;
};

class CMSKIT_API ASNAlgorithmIdentifier : public CASNTIdData {
 public:
  using CASNTIdData::CASNTIdData;
  ASNAlgorithmIdentifier() = default;
  ASNAlgorithmIdentifier(const ASNAlgorithmIdentifier& other) = default;
  ASNAlgorithmIdentifier& operator=(const ASNAlgorithmIdentifier& other) = default;
  ~ASNAlgorithmIdentifier() override;
};

// SubjectPublicKeyInfo: the algorithm and the key bits.
class CMSKIT_API CASNPublicKeyInfo {
 public:
  CASNPublicKeyInfo() = default;
  explicit CASNPublicKeyInfo(const CERT_PUBLIC_KEY_INFO& keyInfo);
  CASNPublicKeyInfo(const CASNPublicKeyInfo& other) = default;
  CASNPublicKeyInfo& operator=(const CASNPublicKeyInfo& other) = default;
  virtual ~CASNPublicKeyInfo();

  ASNAlgorithmIdentifier algorithm;
  IdentObj publicKey;
};

}  // namespace cmskit

#endif
