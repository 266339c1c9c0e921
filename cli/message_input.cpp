#include "message_input.h"

#include "cli_error.h"

namespace cmskit_cli {

MessageInput::MessageInput(const std::string& path) : derPath_(path) {
  if (!cmskit::FileExists(path.c_str())) throw OperationError(2, "cannot read " + path);
  if (cmskit::IsAsn1Binary(path.c_str()) || !cmskit::IsAsn1Base64(path.c_str())) return;
  temp_ = std::make_unique<cmskit::TOO::TEMPFOLDER>(true);
  derPath_ = cmskit::TOO::FILENAME(temp_->c_str(), "message.der").path;
  Check(cmskit::Base64FileDecode(path.c_str(), derPath_.c_str()), 0, "cannot decode the Base64 of " + path);
}

}  // namespace cmskit_cli
