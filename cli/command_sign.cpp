// sign: a new signed message around a content file, or (--add) one more
// signer on a signed message. The library digests the content in blocks and
// writes the message as DER through a file the tool opens for it, so the
// content's size does not matter.
#include <cmskit/cmskit.h>

#include <memory>
#include <vector>

#include "argument_checks.h"
#include "cli_error.h"
#include "commands.h"
#include "input_file.h"
#include "library_write.h"
#include "loaded_message.h"
#include "message_input.h"
#include "output_file.h"
#include "signing_key.h"

namespace cmskit_cli {

namespace {

constexpr uint32_t kBadTag = 0x8009310B;

struct DigestName {
  const char* name;
  const char* oid;
};

const DigestName kDigests[] = {
    {"sha1", "1.3.14.3.2.26"},
    {"sha256", "2.16.840.1.101.3.4.2.1"},
    {"sha384", "2.16.840.1.101.3.4.2.2"},
    {"sha512", "2.16.840.1.101.3.4.2.3"},
    {"gost94", "1.2.643.2.2.9"},
    {"gost2012-256", "1.2.643.7.1.1.2.2"},
    {"gost2012-512", "1.2.643.7.1.1.2.3"},
};

// Null for "the key's own".
const char* DigestOid(const std::string& name) {
  if (name.empty()) return nullptr;
  for (const DigestName& digest : kDigests) {
    if (name == digest.name) return digest.oid;
  }
  throw UsageError("unknown digest '" + name +
                   "' (sha1, sha256, sha384, sha512, gost94, gost2012-256, gost2012-512)");
}

// The certificates and keys paired in order, each loaded once.
class Signers {
 public:
  explicit Signers(const SignArguments& arguments) {
    const char* digest = DigestOid(arguments.digest);
    for (size_t i = 0; i < arguments.certificates.size(); ++i) {
      const MessageInput certificate(arguments.certificates[i], MessageInput::Kind::Certificate);
      keys_.push_back(
          std::make_unique<SigningKey>(certificate.path(), certificate.name(), arguments.keys[i]));
      signers_.push_back(keys_.back()->signer(digest));
    }
  }
  const cmskit::SignerCredential* data() const { return signers_.data(); }
  size_t size() const { return signers_.size(); }

 private:
  std::vector<std::unique_ptr<SigningKey>> keys_;
  std::vector<cmskit::SignerCredential> signers_;
};

cmskit::SignOptions Options(const SignArguments& arguments) {
  cmskit::SignOptions options;
  options.detached = arguments.detached;
  options.signedAttributes = !arguments.noAttributes;
  return options;
}

cmskit::ToSignStruct64 WholeFile(std::string& path, uint64_t size) {
  cmskit::ToSignStruct64 range;
  range.flags = cmskit::ToSignStruct::kInFile;
  range.data = &path[0];
  range.begin = 0;
  range.end = size;
  return range;
}

// Runs the library's writer on a file opened for it at `path`.
template <class Write>
void WriteSigned(OutputFile& target, const Feedback& feedback, uint64_t expected, const std::string& what,
                 Write&& write) {
  WriteThroughLibrary(target, feedback, expected, [&](const char* path) {
    cmskit::CTOOFile file(path, "wb");
    if (!file.IsOpen()) throw OperationError(cmskit::StatusToWin32(file.GetStatus()), what);
    int error = 0;
    SetLastError(0);
    Check(write(file, &error) != 0, error, what);
  });
}

bool HasContent(const cmskit::SignData& message) {
  return (message.GetDataInfo64().flags & cmskit::ToSignStruct::kInFile) ||
         !message.encapContentInfo.data.IsEmpty();
}

void SignNew(const SignArguments& arguments, const Feedback& feedback) {
  CheckFileArguments({arguments.content}, {arguments.output});
  const InputFile content(arguments.content);
  const Signers signers(arguments);
  OutputFile target(arguments.output);
  std::string path = content.path();
  const cmskit::ToSignStruct64 range = WholeFile(path, content.size());
  const cmskit::SignOptions options = Options(arguments);
  WriteSigned(target, feedback, arguments.detached ? 0 : content.size(), "cannot sign " + content.name(),
              [&](cmskit::CTOOFile& file, int* error) {
                return cmskit::SignContent64(range, signers.data(), signers.size(), options, file, error);
              });
  target.Commit();
}

void SignAdd(const SignArguments& arguments, const Feedback& feedback) {
  CheckFileArguments({arguments.add, arguments.content}, {arguments.output});
  LoadedMessage message(arguments.add);
  if (!message.signedData) throw OperationError(kBadTag, message.name() + " is not a signed message");
  cmskit::SignData& data = *message.signedData;
  const bool attached = HasContent(data);
  if (attached && !arguments.content.empty())
    throw UsageError(message.name() + " carries its content: CONTENT is only for a detached message");
  if (!attached && arguments.content.empty())
    throw UsageError(message.name() + " is detached: give its CONTENT after it");
  std::unique_ptr<InputFile> content = attached ? nullptr : std::make_unique<InputFile>(arguments.content);
  const Signers signers(arguments);
  OutputFile target(arguments.output);
  std::string path = content ? content->path() : std::string();
  const cmskit::ToSignStruct64 range = content ? WholeFile(path, content->size()) : cmskit::ToSignStruct64();
  const cmskit::SignOptions options = Options(arguments);
  WriteSigned(target, feedback, 0, "cannot add a signer to " + message.name(),
              [&](cmskit::CTOOFile& file, int* error) {
                return cmskit::CoSignMessage64(data, content ? &range : nullptr, signers.data(),
                                               signers.size(), options, file, error);
              });
  target.Commit();
}

// What the arguments alone show, before any file is read.
void CheckSignArguments(const SignArguments& arguments) {
  if (arguments.certificates.empty()) throw UsageError("at least one signer (-c CERT -k KEY) is required");
  if (arguments.certificates.size() != arguments.keys.size())
    throw UsageError("each signer certificate (-c) needs its private key (-k)");
  DigestOid(arguments.digest);
  if (arguments.add.empty() && arguments.content.empty()) throw UsageError("the CONTENT to sign is required");
  if (!arguments.add.empty() && arguments.detached)
    throw UsageError("--add keeps the message's form: --detached does not apply");
}

}  // namespace

void CommandSign(const SignArguments& arguments, const Feedback& feedback) {
  CheckSignArguments(arguments);
  if (arguments.add.empty()) {
    SignNew(arguments, feedback);
    return;
  }
  SignAdd(arguments, feedback);
}

}  // namespace cmskit_cli
