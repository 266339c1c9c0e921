// The subcommands of the cmskit tool. Each throws OperationError on a
// failed operation and UsageError on arguments that cannot go together.
// Every file they write goes through OutputFile (replaced whole or not at
// all), every file they read through InputFile (pipes spooled).
#ifndef CMSKIT_CLI_COMMANDS_H
#define CMSKIT_CLI_COMMANDS_H

#include <string>
#include <vector>

#include <cmskit/sign_data.h>

#include "library_write.h"

namespace cmskit_cli {

// Reports every file; false when one of them could not be read (its error
// line is already on standard error).
bool CommandType(const std::vector<std::string>& files);
void CommandInfo(const std::string& file, bool json);
void CommandDetach(const std::string& input, const std::string& contentOut, const std::string& messageOut,
                   const Feedback& feedback);
// Unless `force`, refuses content whose digest differs from a signer's
// messageDigest attribute.
void CommandAttach(const std::string& detached, const std::string& content, const std::string& output,
                   bool force, const Feedback& feedback);
// Prints one block per signer; throws OperationError (exit 1) after printing
// when a signer is not valid.
bool CommandVerify(const std::string& input, const std::string& content,
                   const std::vector<std::string>& certs, bool json);
// Throws OperationError when the content at `contentPath` is not what a
// signer of `message` signed, by the signed attributes' digests.
void CheckAttachedContent(const cmskit::SignData& message, const std::string& messageName,
                          const std::string& contentPath, const std::string& contentName);
void CommandDecrypt(const std::string& input, const std::string& certificate, const std::string& key,
                    const std::string& output, const Feedback& feedback);
// The cipher's name empty: GOST 28147-89 when a recipient has a GOST key,
// else AES-256.
void CommandEncrypt(const std::string& content, const std::vector<std::string>& certificates,
                    const std::string& cipher, const std::string& output, const Feedback& feedback);
void CommandBase64(const std::string& direction, const std::string& input, const std::string& output,
                   const Feedback& feedback);

struct SignArguments {
  std::string content, add, output, digest;
  std::vector<std::string> certificates, keys;
  bool detached = false;
  bool noAttributes = false;
};
// A new signed message, or with `add` one more signer on that message.
void CommandSign(const SignArguments& arguments, const Feedback& feedback);
void CommandRewrite(const std::string& input, const std::string& output, const Feedback& feedback);

}  // namespace cmskit_cli

#endif
