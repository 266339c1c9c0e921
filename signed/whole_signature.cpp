#include "cmskit/message_signer_info.h"

namespace cmskit {

WholeSignature::~WholeSignature() = default;

bool WholeSignature::operator==(const WholeSignature& other) const {
  return info == other.info && encoded == other.encoded;
}

bool WholeSignature::operator!=(const WholeSignature& other) const { return !(*this == other); }

bool WholeSignature::operator<(const WholeSignature& other) const {
  return info < other.info && encoded < other.encoded;
}

// Uses the signer info's negated form of `<`, so it is not the mirror of `<`.
bool WholeSignature::operator>(const WholeSignature& other) const {
  return info > other.info && encoded > other.encoded;
}

CTOOCryptBitBlob WholeSignature::GetSignerUniqueID() const { return info.uniqueID; }

}  // namespace cmskit
