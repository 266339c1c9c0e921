#include "loaded_message.h"

#include "cli_error.h"
#include "recipient_kinds.h"

namespace cmskit_cli {

namespace {

constexpr uint32_t kBadTag = 0x8009310B;

}  // namespace

const char* TypeName(cmskit::CmsFileType type) {
  switch (type) {
    case cmskit::CmsFileEnveloped:
      return "enveloped";
    case cmskit::CmsFileSignedAttached:
      return "signed-attached";
    case cmskit::CmsFileSignedDetached:
      return "signed-detached";
    default:
      return "unknown";
  }
}

LoadedMessage::LoadedMessage(const std::string& argument)
    : input(argument), type(cmskit::GetFileTypeByContent(input.path())) {
  cmskit::CTOOFile file(input.path(), "rb");
  if (!file.IsOpen()) throw OperationError(cmskit::StatusToWin32(file.GetStatus()), "cannot open " + name());
  if (type == cmskit::CmsFileEnveloped)
    ReadEnveloped(file);
  else if (type == cmskit::CmsFileSignedAttached || type == cmskit::CmsFileSignedDetached)
    ReadSigned(file);
  else
    throw OperationError(kBadTag, name() + " is not a signed or enveloped message");
}

void LoadedMessage::ReadEnveloped(cmskit::CTOOFile& file) {
  envelopedData = std::make_unique<cmskit::EnvelopedData>();
  int error = 0;
  envelopedData->ReadObject64(file, &error);
  if (error == 0) return;
  // The reader takes key transport recipients only; say which other kind
  // stopped it rather than how its decoding failed.
  const std::string unsupported = UnsupportedRecipient(input.path());
  if (!unsupported.empty())
    throw OperationError(
        0, "cannot read the enveloped message " + name() + ": " + unsupported + " is not supported");
  Check(false, error, "cannot read the enveloped message " + name());
}

void LoadedMessage::ReadSigned(cmskit::CTOOFile& file) {
  signedData = std::make_unique<cmskit::SignData>();
  int error = 0;
  const uint64_t consumed = signedData->ReadObject64(file, 0, &error);
  Check(consumed != 0 && error == 0, error, "cannot read the signed message " + name());
}

}  // namespace cmskit_cli
