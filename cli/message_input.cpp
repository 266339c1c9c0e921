#include "message_input.h"

#include <fstream>

#include "cli_error.h"

namespace cmskit_cli {

namespace {

// Certificates are not messages, so the message detection does not apply:
// anything that does not start as a DER SEQUENCE is taken for Base64.
bool StartsAsDer(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return in.get() == 0x30;
}

bool IsBase64(const std::string& path, MessageInput::Kind kind) {
  if (kind == MessageInput::Kind::Certificate) return !StartsAsDer(path);
  return !cmskit::IsAsn1Binary(path.c_str()) && cmskit::IsAsn1Base64(path.c_str());
}

}  // namespace

MessageInput::MessageInput(const std::string& path, Kind kind) : derPath_(path) {
  if (!cmskit::FileExists(path.c_str())) throw OperationError(2, "cannot read " + path);
  if (!IsBase64(path, kind)) return;
  temp_ = std::make_unique<cmskit::TOO::TEMPFOLDER>(true);
  derPath_ = cmskit::TOO::FILENAME(temp_->c_str(), "message.der").path;
  Check(cmskit::Base64FileDecode(path.c_str(), derPath_.c_str()), 0, "cannot decode the Base64 of " + path);
}

}  // namespace cmskit_cli
