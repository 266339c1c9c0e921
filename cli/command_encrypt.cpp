// encrypt: an enveloped message of the content for every certificate given,
// written by the library in one pass over the content.
#include <cmskit/cmskit.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>

#include "argument_checks.h"
#include "cli_error.h"
#include "commands.h"
#include "input_file.h"
#include "message_input.h"
#include "output_file.h"

namespace cmskit_cli {

namespace {

constexpr char kGostKeyPrefix[] = "1.2.643.";

struct CertificateRelease {
  void operator()(const CERT_CONTEXT* context) const { CertFreeCertificateContext(context); }
};
using Certificate = std::unique_ptr<const CERT_CONTEXT, CertificateRelease>;

Certificate LoadCertificate(const std::string& argument) {
  const MessageInput der(argument, MessageInput::Kind::Certificate);
  std::ifstream in(der.path(), std::ios::binary);
  const std::vector<BYTE> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (!in.good() && !in.eof()) throw OperationError(2, "cannot read the certificate " + der.name());
  Certificate certificate(CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, bytes.data(),
                                                       static_cast<DWORD>(bytes.size())));
  if (!certificate) throw OperationError(GetLastError(), "cannot read the certificate " + der.name());
  return certificate;
}

bool IsGostKey(const CERT_CONTEXT& certificate) {
  const char* oid = certificate.pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId;
  return oid && strncmp(oid, kGostKeyPrefix, sizeof kGostKeyPrefix - 1) == 0;
}

// GOST recipients get the GOST cipher unless told otherwise, as their
// software expects; everyone else AES-256.
cmskit::ContentCipher ChooseCipher(const std::string& name, const std::vector<Certificate>& recipients) {
  static const struct {
    const char* name;
    cmskit::ContentCipher cipher;
  } kNames[] = {{"aes128", cmskit::ContentCipher::kAes128},
                {"aes192", cmskit::ContentCipher::kAes192},
                {"aes256", cmskit::ContentCipher::kAes256},
                {"des3", cmskit::ContentCipher::kDes3},
                {"gost89", cmskit::ContentCipher::kGost28147}};
  bool gost = false;
  for (const Certificate& recipient : recipients) gost = gost || IsGostKey(*recipient);
  if (name.empty()) return gost ? cmskit::ContentCipher::kGost28147 : cmskit::ContentCipher::kAes256;
  for (const auto& entry : kNames) {
    if (name != entry.name) continue;
    // The GOST key transport wraps 32-byte keys only.
    if (gost && entry.cipher != cmskit::ContentCipher::kGost28147 &&
        entry.cipher != cmskit::ContentCipher::kAes256)
      throw UsageError("GOST recipients need --cipher gost89 or aes256");
    return entry.cipher;
  }
  throw UsageError("unknown cipher '" + name + "'");
}

}  // namespace

void CommandEncrypt(const std::string& content, const std::vector<std::string>& certificates,
                    const std::string& cipher, const std::string& output, const Feedback& feedback) {
  std::vector<std::string> inputs = certificates;
  inputs.push_back(content);
  CheckFileArguments(inputs, {output});
  std::vector<Certificate> recipients;
  for (const std::string& certificate : certificates) recipients.push_back(LoadCertificate(certificate));
  std::vector<const CERT_CONTEXT*> contexts;
  for (const Certificate& recipient : recipients) contexts.push_back(recipient.get());
  cmskit::EncryptOptions options;
  options.cipher = ChooseCipher(cipher, recipients);

  const InputFile source(content);
  OutputFile target(output);
  const std::string what = "cannot encrypt " + source.name();
  WriteThroughLibrary(target, feedback, source.size(), [&](const char* path) {
    cmskit::CTOOFile plain(source.path().c_str(), "rb");
    if (!plain.IsOpen()) throw OperationError(cmskit::StatusToWin32(plain.GetStatus()), what);
    cmskit::CTOOFile message(path, "wb");
    if (!message.IsOpen()) throw OperationError(cmskit::StatusToWin32(message.GetStatus()), what);
    int error = 0;
    cmskit::EncryptMessage64(plain, contexts.data(), static_cast<DWORD>(contexts.size()), options, message,
                             &error);
    Check(error == 0, error, what);
  });
  target.Commit();
}

}  // namespace cmskit_cli
