// One CMS SignerInfo in decoded form. The library carries signatures and
// never computes or checks them.
#ifndef CMSKIT_MESSAGE_SIGNER_INFO_H
#define CMSKIT_MESSAGE_SIGNER_INFO_H

#include "asn_types.h"
#include "attributes.h"
#include "export.h"
#include "identobj.h"
#include "platform/win32.h"

namespace cmskit {

class CMSKIT_API MessageSignerInfo {
 public:
  MessageSignerInfo() = default;
  MessageSignerInfo(const MessageSignerInfo& other) = default;
  MessageSignerInfo& operator=(const MessageSignerInfo& other) = default;
  virtual ~MessageSignerInfo();

  // Decodes the SignerInfo at the start of pData; returns its size, 0 on
  // failure. A failure code goes to *pError (when given) and to the last error.
  DWORD ReadData(const void* pData, DWORD cbData, int* pError);
  // The whole SignerInfo; `version` is first set from the kind of sid held
  // (3 for a key identifier, else 1). Empty after a failure.
  IdentObj WriteData(int* pError);
  // The signingTime signed attribute; {0, 0} when missing or unreadable.
  FILETIME GetSigningData(int* pError);

  // Over version, issuer, serialNumber, both algorithms and the signature.
  bool operator==(const MessageSignerInfo& other) const;
  bool operator!=(const MessageSignerInfo& other) const;
  // Every one of those six members less: not a lexicographic order.
  bool operator<(const MessageSignerInfo& other) const;
  // The negation of `<` with the same operands, so a > a holds.
  bool operator>(const MessageSignerInfo& other) const;

  CTOOCryptBitBlob uniqueID;
  DWORD version = 1;
  // The issuer Name, whole element.
  IdentObj issuer;
  // Least significant octet first.
  IdentObj serialNumber;
  IdentObj subjectKeyIdentifier;
  ASNAlgorithmIdentifier digestAlgorithm;
  ASNAlgorithmIdentifier signatureAlgorithm;
  // Least significant octet first: the reverse of the OCTET STRING.
  IdentObj signature;
  AttributesList signedAttrs;
  AttributesList unsignedAttrs;
};

// A signer info with one further encoded object, ordered by both.
class CMSKIT_API WholeSignature {
 public:
  WholeSignature() = default;
  WholeSignature(const WholeSignature& other) = default;
  WholeSignature& operator=(const WholeSignature& other) = default;
  virtual ~WholeSignature();

  bool operator==(const WholeSignature& other) const;
  bool operator!=(const WholeSignature& other) const;
  bool operator<(const WholeSignature& other) const;
  bool operator>(const WholeSignature& other) const;

  CTOOCryptBitBlob GetSignerUniqueID() const;

  IdentObj encoded;
  MessageSignerInfo info;
};

}  // namespace cmskit

#endif
