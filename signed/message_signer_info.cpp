#include <algorithm>
#include <cstdint>
#include <list>

#include "cmskit/asn_codec.h"
#include "cmskit/asn_record.h"
#include "cmskit/message_signer_info.h"
#include "cmskit/status.h"
#include "platform/win32.h"
#include "signed/attribute_boundary.h"
#include "signed/signer_info_codes.h"

namespace cmskit {

namespace {

DWORD Mapped(int status) { return StatusToWin32(status); }

// Identifier and length of one element taken whole from a split.
DWORD ReadHeader(const IdentObj& element, ASNTElementInfo& info) {
  info = ASNTElementInfo{};
  return Mapped(ASNTReadHeader(info, element.data(), element.size()));
}

// The decoded value of one element taken whole from a split.
DWORD ReadValue(const IdentObj& element, IdentObj& value) {
  CASNTBaseRecord record;
  int status = 0;
  record.ReadFromMemory(element.data(), element.size(), &status);
  if (status == 0) value = record.GetValue(&status);
  return Mapped(status);
}

// Decodes one SignerInfo child by child. Every step returns 0 or the
// platform code of its failure.
class SignerInfoReader {
 public:
  explicit SignerInfoReader(MessageSignerInfo& info) : info_(info) {}

  DWORD Read(const BYTE* data, DWORD size, DWORD& elementSize) {
    int status = 0;
    elementSize = ASNTGetSequence(children_, data, size, &status);
    if (status != 0) return Mapped(status);
    if (children_.empty()) return kCodeAsn1Corrupt;
    current_ = children_.begin();
    using Step = DWORD (SignerInfoReader::*)();
    static constexpr Step kSteps[] = {
        &SignerInfoReader::ReadVersion,
        &SignerInfoReader::ReadSid,
        &SignerInfoReader::ReadDigestAlgorithm,
        &SignerInfoReader::ReadSignedAttrs,
        &SignerInfoReader::ReadSignatureAlgorithm,
        &SignerInfoReader::ReadSignature,
        &SignerInfoReader::ReadUnsignedAttrs,
    };
    for (Step step : kSteps) {
      const DWORD code = (this->*step)();
      if (code != 0) return code;
    }
    return 0;
  }

 private:
  // Moves to the next child; false when there is none.
  bool Advance() { return ++current_ != children_.end(); }

  DWORD ReadVersion() {
    ASNTElementInfo header;
    DWORD code = ReadHeader(*current_, header);
    if (code != 0) return code;
    if (header.tagNumber != kASNTInteger) return kCodeAsn1BadTag;
    IdentObj value;
    code = ReadValue(*current_, value);
    if (code != 0) return code;
    if (value.size() >= 5) return kCodeAsn1Corrupt;
    // Least significant octet first: each octet lands in its own byte.
    info_.version = 0;
    for (DWORD i = 0; i < value.size(); ++i) info_.version |= static_cast<DWORD>(value.data()[i]) << (8 * i);
    return 0;
  }

  DWORD ReadSid() {
    if (!Advance()) return kCodeAsn1Corrupt;
    ASNTElementInfo header;
    const DWORD code = ReadHeader(*current_, header);
    if (code != 0) return code;
    if (header.tagClass == kASNTContext) return ReadKeyIdentifier(header);
    if (header.tagNumber != kASNTSequence) return kCodeAsn1Corrupt;
    return ReadIssuerAndSerial();
  }

  DWORD ReadKeyIdentifier(const ASNTElementInfo& header) {
    if (!header.constructed) return ReadValue(*current_, info_.subjectKeyIdentifier);
    std::list<IdentObj> inner;
    int status = 0;
    ASNTGetSequence(inner, current_->data(), current_->size(), &status);
    if (status != 0) return Mapped(status);
    if (inner.empty()) return kCodeAsn1Corrupt;
    return ReadValue(inner.front(), info_.subjectKeyIdentifier);
  }

  DWORD ReadIssuerAndSerial() {
    std::list<IdentObj> parts;
    int status = 0;
    ASNTGetSequence(parts, current_->data(), current_->size(), &status);
    if (status != 0) return Mapped(status);
    if (parts.size() != 2) return kCodeAsn1Corrupt;
    info_.issuer = parts.front();
    return ReadValue(parts.back(), info_.serialNumber);
  }

  DWORD ReadAlgorithm(ASNAlgorithmIdentifier& algorithm) {
    int status = 0;
    algorithm.ReadData(current_->data(), current_->size(), &status);
    return Mapped(status);
  }

  DWORD ReadDigestAlgorithm() {
    if (!Advance()) return kCodeAsn1Corrupt;
    return ReadAlgorithm(info_.digestAlgorithm);
  }

  DWORD ReadAttributes(AttributesList& list) {
    int code = 0;
    list.ReadData(current_->data(), current_->size(), &code);
    return static_cast<DWORD>(code);
  }

  DWORD ReadSignedAttrs() {
    if (!Advance()) return kCodeAsn1Corrupt;
    ASNTElementInfo header;
    const DWORD code = ReadHeader(*current_, header);
    if (code != 0) return code;
    if (header.tagClass != kASNTContext) return 0;
    if (header.tagNumber != 0) return kCodeAsn1Corrupt;
    const DWORD listCode = ReadAttributes(info_.signedAttrs);
    if (listCode != 0) return listCode;
    return Advance() ? 0 : kCodeAsn1Corrupt;
  }

  DWORD ReadSignatureAlgorithm() {
    const DWORD code = ReadAlgorithm(info_.signatureAlgorithm);
    if (code != 0) return code;
    return Advance() ? 0 : kCodeAsn1Corrupt;
  }

  DWORD ReadSignature() {
    IdentObj value;
    const DWORD code = ReadValue(*current_, value);
    if (code != 0) return code;
    if (value.IsEmpty()) return kCodeAsn1Corrupt;
    // Kept least significant octet first, the order platform signatures use.
    info_.signature.Allocate(value.size());
    std::reverse_copy(value.data(), value.data() + value.size(), info_.signature.data());
    return 0;
  }

  DWORD ReadUnsignedAttrs() {
    if (!Advance()) return 0;
    ASNTElementInfo header;
    const DWORD code = ReadHeader(*current_, header);
    if (code != 0) return code;
    if (header.tagClass != kASNTContext) return 0;
    if (header.tagNumber != 1) return kCodeAsn1BadTag;
    return ReadAttributes(info_.unsignedAttrs);
  }

  MessageSignerInfo& info_;
  std::list<IdentObj> children_;
  std::list<IdentObj>::iterator current_;
};

}  // namespace

MessageSignerInfo::~MessageSignerInfo() = default;

DWORD MessageSignerInfo::ReadData(const void* pData, DWORD cbData, int* pError) {
  DWORD elementSize = 0;
  const DWORD code = SignerInfoReader(*this).Read(static_cast<const BYTE*>(pData), cbData, elementSize);
  DeliverCodeEverywhere(pError, code);
  return code == 0 ? elementSize : 0;
}

}  // namespace cmskit
