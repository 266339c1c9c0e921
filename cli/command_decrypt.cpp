// decrypt: the exact plaintext of an enveloped message. The library leaves
// the CBC padding in place where it makes no final decryption call; the tool
// knows the algorithm and the content's form, so it checks and removes the
// padding exactly then, on the way to the output.
#include <cmskit/cmskit.h>

#include "argument_checks.h"
#include "cli_error.h"
#include "commands.h"
#include "content_cipher.h"
#include "loaded_message.h"
#include "output_file.h"
#include "padding_filter.h"
#include "recipient_key.h"

namespace cmskit_cli {

namespace {

constexpr uint32_t kBadTag = 0x8009310B;
constexpr uint32_t kBadAlgorithm = 0x80090008;
constexpr int kBadArguments = 160;

class ContentKey {
 public:
  ContentKey() = default;
  ContentKey(const ContentKey&) = delete;
  ContentKey& operator=(const ContentKey&) = delete;
  ~ContentKey() {
    if (handle) CryptDestroyKey(handle);
  }
  HCRYPTKEY handle = 0;
};

std::string AlgorithmOid(const cmskit::EncryptedContentInfo& content) {
  const cmskit::IdentObj& id = content.contentEncryptionAlgorithm.id;
  return std::string(reinterpret_cast<const char*>(id.data()), id.size());
}

}  // namespace

void CommandDecrypt(const std::string& input, const std::string& certificate, const std::string& key,
                    const std::string& output, const Feedback& feedback) {
  CheckFileArguments({input, certificate}, {output});
  LoadedMessage message(input);
  if (!message.envelopedData) throw OperationError(kBadTag, message.name() + " is not an enveloped message");
  cmskit::EnvelopedData& data = *message.envelopedData;
  cmskit::EncryptedContentInfo& content = data.encryptedContentInfo;
  const ContentCipher* cipher = FindContentCipher(AlgorithmOid(content));
  if (!cipher)
    throw OperationError(kBadAlgorithm, "cannot decrypt " + message.name() + ": its content algorithm " +
                                            AlgorithmOid(content) + " is not supported");
  const MessageInput certificateDer(certificate, MessageInput::Kind::Certificate);
  const RecipientKey recipient(certificateDer.path(), certificateDer.name(), key);
  OutputFile target(output);

  ContentKey contentKey;
  int error = 0;
  cmskit::ASNAlgorithmIdentifier algorithm = content.contentEncryptionAlgorithm;
  const int imported = data.GetEncryptionKey(recipient.certificate(), recipient.provider(), contentKey.handle,
                                             algorithm, &error);
  if (imported != 1) {
    const std::string keyName = key.empty() ? "the key of " + certificateDer.name() : key;
    Check(false, error,
          "cannot decrypt " + message.name() + ": " +
              (error == kBadArguments ? "none of its recipients is " + certificateDer.name()
                                      : "its content key does not unwrap with " + keyName));
  }
  Check(cmskit::DecryptKeyParam(contentKey.handle, algorithm), 0,
        "cannot decrypt " + message.name() + ": its content algorithm's parameters do not apply");

  const std::string what = "cannot decrypt " + message.name();
  PaddingFilter plaintext(target, DecryptionLeavesPadding(content) ? cipher->blockBytes : 0, what);
  WriteThroughLibrary(plaintext, feedback, content.GetOpenTextSize64(), [&](const char* path) {
    std::string name = path;
    cmskit::ToSignStruct64 out;
    out.flags = cmskit::ToSignStruct::kInFile;
    out.data = &name[0];
    SetLastError(0);
    Check(cmskit::DecryptContent64(contentKey.handle, content, out), 0, what);
  });
  plaintext.Finish();
  target.Commit();
}

}  // namespace cmskit_cli
