// A message file read through the library's file readers: the object keeps
// the file name and byte ranges, so the input (and its spooled or decoded
// temporary copy) stays with it.
#ifndef CMSKIT_CLI_LOADED_MESSAGE_H
#define CMSKIT_CLI_LOADED_MESSAGE_H

#include <cmskit/cmskit.h>

#include <memory>
#include <string>

#include "message_input.h"

namespace cmskit_cli {

struct LoadedMessage {
  explicit LoadedMessage(const std::string& argument);

  const std::string& name() const { return input.name(); }

  MessageInput input;
  cmskit::CmsFileType type;
  std::unique_ptr<cmskit::SignData> signedData;
  std::unique_ptr<cmskit::EnvelopedData> envelopedData;

 private:
  void ReadEnveloped(cmskit::CTOOFile& file);
  void ReadSigned(cmskit::CTOOFile& file);
};

const char* TypeName(cmskit::CmsFileType type);

}  // namespace cmskit_cli

#endif
