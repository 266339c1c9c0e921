// A message (or certificate) file as the library readers want it: DER on
// disk. Base64 input (armoured or not) is decoded into a temporary file that goes away with
// this object.
#ifndef CMSKIT_CLI_MESSAGE_INPUT_H
#define CMSKIT_CLI_MESSAGE_INPUT_H

#include <cmskit/cmskit.h>

#include <memory>
#include <string>

namespace cmskit_cli {

class MessageInput {
 public:
  enum class Kind { Message, Certificate };
  explicit MessageInput(const std::string& path, Kind kind = Kind::Message);
  const char* path() const { return derPath_.c_str(); }
  bool wasBase64() const { return temp_ != nullptr; }

 private:
  std::unique_ptr<cmskit::TOO::TEMPFOLDER> temp_;
  std::string derPath_;
};

}  // namespace cmskit_cli

#endif
