// cmskit verify: who signed a message and whether each signature holds over
// its content. Trust in the signers' certificates is left to the user.
#include <cmskit/cmskit.h>

#include <fstream>
#include <iterator>
#include <memory>

#include "argument_checks.h"
#include "asn_view.h"
#include "cli_error.h"
#include "commands.h"
#include "describe.h"
#include "input_file.h"
#include "loaded_message.h"
#include "message_input.h"
#include "output_file.h"

namespace cmskit_cli {

namespace {

using Json = nlohmann::ordered_json;

constexpr uint32_t kBadTag = 0x8009310B;

cmskit::IdentObj ReadCertificate(const std::string& argument) {
  const MessageInput der(argument, MessageInput::Kind::Certificate);
  std::ifstream in(der.path(), std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (!in.good() && !in.eof()) throw OperationError(30, "cannot read the certificate " + der.name());
  return cmskit::IdentObj(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

std::string VerdictText(const cmskit::SignerReport& report) {
  std::string text = cmskit::SignerVerdictText(report.verdict);
  if (report.verdict == cmskit::SignerVerdict::kUnsupportedAlgorithm)
    text += ": " + std::string(report.unsupported.c_str());
  return text;
}

Json DescribeReport(const cmskit::SignerReport& report) {
  Json out;
  out["subject"] = report.subject.IsEmpty() ? std::string("-") : NameText(report.subject);
  if (!report.issuer.IsEmpty()) {
    out["issuer"] = NameText(report.issuer);
    out["serial"] = HexReversed(report.serialNumber);
  } else {
    out["subjectKeyIdentifier"] = Hex(report.subjectKeyIdentifier);
  }
  out["digestAlgorithm"] = report.digestAlgorithm.c_str();
  out["signatureAlgorithm"] = report.signatureAlgorithm.c_str();
  if (report.signingTime.dwLowDateTime != 0 || report.signingTime.dwHighDateTime != 0)
    out["signingTime"] = TimeText(report.signingTime);
  out["verdict"] = VerdictText(report);
  out["valid"] = report.verdict == cmskit::SignerVerdict::kValid;
  return out;
}

// The first signer that is not valid, as "signer N: verdict"; empty when
// all are.
std::string FirstFailure(const std::list<cmskit::SignerReport>& reports) {
  size_t index = 1;
  for (const cmskit::SignerReport& report : reports) {
    if (report.verdict != cmskit::SignerVerdict::kValid)
      return "signer " + std::to_string(index) + ": " + VerdictText(report);
    ++index;
  }
  return std::string();
}

}  // namespace

bool CommandVerify(const std::string& input, const std::string& content,
                   const std::vector<std::string>& certs, bool json) {
  CheckFileArguments({input, content}, {});
  LoadedMessage message(input);
  if (!message.signedData) throw OperationError(kBadTag, message.name() + " is not a signed message");
  if (content.empty() && message.type == cmskit::CmsFileSignedDetached)
    throw UsageError(message.name() + " holds no content: give the CONTENT file it signs");
  cmskit::SignatureVerifier verifier(*message.signedData);
  for (const std::string& cert : certs) verifier.AddCertificate(ReadCertificate(cert));
  std::unique_ptr<InputFile> source = content.empty() ? nullptr : std::make_unique<InputFile>(content);
  if (source) verifier.SetContentFile(source->path().c_str());

  std::list<cmskit::SignerReport> reports;
  int error = 0;
  Check(verifier.VerifyAll(reports, &error), error, "cannot verify " + message.name());
  Json signers = Json::array();
  for (const cmskit::SignerReport& report : reports) signers.push_back(DescribeReport(report));
  const std::string failure = FirstFailure(reports);
  Json out;
  out["message"] = message.name();
  out["signers"] = signers;
  out["valid"] = failure.empty() && !reports.empty();
  PrintToStandardOutput(json ? out.dump(2) + "\n" : RenderText(out));
  if (reports.empty()) throw OperationError(0, message.name() + " has no signers");
  if (!failure.empty()) throw OperationError(0, message.name() + " does not verify (" + failure + ")");
  return true;
}

void CheckAttachedContent(const cmskit::SignData& message, const std::string& messageName,
                          const std::string& contentPath, const std::string& contentName) {
  cmskit::SignatureVerifier verifier(message);
  verifier.SetContentFile(contentPath.c_str());
  std::list<cmskit::SignerReport> reports;
  int error = 0;
  Check(verifier.CheckContentDigests(reports, &error), error,
        "cannot compare " + contentName + " with the digests of " + messageName);
  size_t index = 1;
  for (const cmskit::SignerReport& report : reports) {
    if (report.verdict == cmskit::SignerVerdict::kDigestMismatch ||
        report.verdict == cmskit::SignerVerdict::kContentTypeMismatch)
      throw OperationError(0, "will not attach " + contentName + " to " + messageName + ": signer " +
                                  std::to_string(index) + " signed other content (" + VerdictText(report) +
                                  "; --force attaches it anyway)");
    ++index;
  }
}

}  // namespace cmskit_cli
