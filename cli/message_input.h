// A message (or certificate) argument as the library readers want it: DER
// in a regular file. Base64 (armoured or not) is decoded into a temporary
// file that goes away with this object; pipes and standard input are
// spooled first (InputFile).
#ifndef CMSKIT_CLI_MESSAGE_INPUT_H
#define CMSKIT_CLI_MESSAGE_INPUT_H

#include <memory>
#include <string>

#include "input_file.h"
#include "temp_folder.h"

namespace cmskit_cli {

class MessageInput {
 public:
  enum class Kind { Message, Certificate };
  explicit MessageInput(const std::string& argument, Kind kind = Kind::Message);

  // The DER file.
  const char* path() const { return derPath_.c_str(); }
  // The argument as messages name it.
  const std::string& name() const { return input_.name(); }
  bool wasBase64() const { return decoded_ != nullptr; }

 private:
  InputFile input_;
  std::unique_ptr<TempFolder> decoded_;
  std::string derPath_;
};

}  // namespace cmskit_cli

#endif
