#include "cmskit/message_signer_info.h"

namespace cmskit {

bool MessageSignerInfo::operator==(const MessageSignerInfo& other) const {
  return version == other.version && issuer == other.issuer && serialNumber == other.serialNumber &&
         digestAlgorithm == other.digestAlgorithm && signatureAlgorithm == other.signatureAlgorithm &&
         signature == other.signature;
}

bool MessageSignerInfo::operator!=(const MessageSignerInfo& other) const { return !(*this == other); }

// A conjunction over the six members: two signers can each be not-less than
// the other while unequal. Containers sorted by it rely on this exact rule.
bool MessageSignerInfo::operator<(const MessageSignerInfo& other) const {
  return version < other.version && issuer < other.issuer && serialNumber < other.serialNumber &&
         digestAlgorithm < other.digestAlgorithm && signatureAlgorithm < other.signatureAlgorithm &&
         signature < other.signature;
}

// Deliberately the plain negation of `<` with the operands unchanged.
bool MessageSignerInfo::operator>(const MessageSignerInfo& other) const { return !(*this < other); }

}  // namespace cmskit
