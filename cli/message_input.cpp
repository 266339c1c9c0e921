#include "message_input.h"

#include <cmskit/cmskit.h>

#include <fstream>

#include "cli_error.h"
#include "library_write.h"
#include "output_file.h"

namespace cmskit_cli {

namespace {

constexpr uint32_t kInvalidData = 13;

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

MessageInput::MessageInput(const std::string& argument, Kind kind)
    : input_(argument), derPath_(input_.path()) {
  if (!IsBase64(derPath_, kind)) return;
  decoded_ = std::make_unique<TempFolder>();
  derPath_ = decoded_->File("message.der");
  OutputFile der(derPath_);
  WriteThroughLibrary(der, Feedback{false}, 0, [&](const char* path) {
    if (!cmskit::Base64FileDecode(input_.path().c_str(), path))
      throw OperationError(kInvalidData, "cannot decode the Base64 of " + name());
  });
  der.Commit();
}

}  // namespace cmskit_cli
