#include "loaded_message.h"

#include "cli_error.h"

namespace cmskit_cli {

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

LoadedMessage::LoadedMessage(const std::string& path)
    : input(path), type(cmskit::GetFileTypeByContent(input.path())) {
  cmskit::CTOOFile file(input.path(), "rb");
  if (!file.IsOpen()) throw OperationError(cmskit::StatusToWin32(file.GetStatus()), "cannot open " + path);
  int error = 0;
  if (type == cmskit::CmsFileEnveloped) {
    envelopedData = std::make_unique<cmskit::EnvelopedData>();
    envelopedData->ReadObject(file, &error);
    Check(error == 0, error, "cannot read the enveloped message " + path);
    return;
  }
  if (type == cmskit::CmsFileSignedAttached || type == cmskit::CmsFileSignedDetached) {
    signedData = std::make_unique<cmskit::SignData>();
    const DWORD consumed = signedData->ReadObject(file, 0, &error);
    Check(consumed != 0 && error == 0, error, "cannot read the signed message " + path);
    return;
  }
  throw OperationError(0x8009310B, path + " is not a signed or enveloped message");
}

}  // namespace cmskit_cli
