#include "enveloped/enveloped_data_reader.h"

#include <cstring>
#include <list>

#include "cmskit/asn_codec.h"
#include "cmskit/status.h"
#include "enveloped/enveloped_data_parts.h"
#include "enveloped/enveloped_support.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

// Empties what a read fills. The EncryptedContentInfo is reset through its
// assignment, which keeps its fileName.
void ResetForRead(EnvelopedData& target) {
  target.recipientInfos.clear();
  target.unprotectedAttrs.clear();
  target.originatorInfo.certs.clear();
  target.originatorInfo.crls.clear();
  target.encryptedContentInfo = EncryptedContentInfo();
}

bool IsEnvelopedDataType(const IdentObj& element) {
  uint32_t headerLength = 0;
  ASNTElementInfo info = ASNTWholeHeader(element, headerLength, "EnvelopedData::ReadObject");
  if (!ASNTIsUniversal(info, kASNTObjectId) || info.constructed) return false;
  info.length = ASNTWholeContentsLength(element, info, headerLength);
  int status = 0;
  const IdentObj text = ASNTDecodeElement(info, &status);
  const size_t expected = sizeof kEnvelopedDataType - 1;
  return status == 0 && text.size() == expected && memcmp(text.data(), kEnvelopedDataType, expected) == 0;
}

class EnvelopedDataReader {
 public:
  EnvelopedDataReader(EnvelopedData& target, EnvelopedSource& source) : target_(target), source_(source) {}

  void Run() {
    ResetForRead(target_);
    Expect(source_.ReadHeader(), kASNTUniversal, kASNTSequence);
    if (!IsEnvelopedDataType(source_.ReadElement())) return;  // another content type: not an error
    Expect(source_.ReadHeader(), kASNTContext, 0);
    Expect(source_.ReadHeader(), kASNTUniversal, kASNTSequence);
    ReadVersion();
    ASNTHeader next = source_.ReadHeader();
    if (next.tagClass == kASNTContext) {
      Expect(next, kASNTContext, 0);
      ReadOriginator(next);
      next = source_.ReadHeader();
    }
    Expect(next, kASNTUniversal, kASNTSet);
    ReadRecipients(next);
    source_.ReadEncryptedContent(target_.encryptedContentInfo);
    if (source_.Position() >= source_.End() || target_.version == 0) return;
    const ASNTHeader last = source_.ReadHeader();
    // Anything else after the content is passed over, its header counted.
    if (last.Is(kASNTContext, 1)) ReadAttributes();
  }

 private:
  void Expect(const ASNTHeader& header, uint8_t tagClass, uint32_t tagNumber) const {
    if (!header.Is(tagClass, tagNumber)) source_.Fail(kStatusCorrupt);
  }

  void ReadVersion() {
    const IdentObj value =
        ASNTDecodePrimitive(source_.ReadElement(), kASNTInteger, kStatusCorrupt, source_.Origin());
    if (value.IsEmpty()) source_.Fail(kStatusCorrupt);
    target_.version = value.data()[0];  // the least significant octet
  }

  void ReadOriginator(const ASNTHeader& wrapper) {
    const IdentObj contents = source_.ReadContents(wrapper);
    target_.originatorInfo.ReadObject(contents.data(), contents.size(), nullptr);
  }

  // An indefinite SET is measured with its end-of-contents octets, so the
  // same "length minus 2" bound serves both forms.
  void ReadRecipients(const ASNTHeader& set) {
    const uint64_t length = source_.ContentsLength(set);
    if (length <= 2) source_.Fail(kStatusCorrupt);
    const IdentObj contents = source_.ReadBytes(length);
    for (uint64_t consumed = 0; consumed < length - 2;) {
      TransRecipientInfo recipient;
      const DWORD used =
          recipient.ReadObject(contents.data() + consumed, static_cast<DWORD>(length - consumed), nullptr);
      if (used == 0) source_.Fail(kStatusCorrupt);
      target_.recipientInfos.push_back(recipient);
      consumed += used;
    }
  }

  void ReadAttributes() {
    const IdentObj set = source_.ReadElement();
    int status = 0;
    ASNTGetSequence(target_.unprotectedAttrs, set.data(), set.size(), &status);
    if (status != 0) source_.Fail(status);
  }

  EnvelopedData& target_;
  EnvelopedSource& source_;
};

}  // namespace

void ReadEnvelopedData(EnvelopedData& target, EnvelopedSource& source) {
  EnvelopedDataReader(target, source).Run();
  source.Finish();
}

uint64_t ReadEnvelopedDataAt(EnvelopedData& target, EnvelopedSource& source, int* pError, uint64_t limit) {
  uint64_t begin = 0;
  RunOrRethrow(pError, [&] {
    begin = source.Position();
    ReadEnvelopedData(target, source);
    if (source.Position() - begin > limit) source.Fail(kStatusTooLarge);
  });
  uint64_t reached = begin;
  CatchStatus([&] { reached = source.Position(); });
  return reached > begin ? reached - begin : 0;
}

}  // namespace cmskit
