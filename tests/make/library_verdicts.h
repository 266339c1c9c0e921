// The library's own verifier over a message file: every signer's verdict.
#ifndef CMSKIT_TESTS_MAKE_LIBRARY_VERDICTS_H
#define CMSKIT_TESTS_MAKE_LIBRARY_VERDICTS_H

#include <list>
#include <string>
#include <vector>

#include "cmskit/cmskit.h"

namespace cmskit_testing {

// One verdict per signer of the message in `path` (its content, or the file
// `content` for a detached one); empty when the message cannot be read or checked.
inline std::vector<cmskit::SignerVerdict> LibraryVerdicts(const std::string& path,
                                                          const std::string& content = "") {
  cmskit::CTOOFile file(path.c_str(), "rb");
  cmskit::SignData message;
  int error = 0;
  if (!file.IsOpen() || message.ReadObject64(file, 0, &error) == 0) return {};
  cmskit::SignatureVerifier verifier(message);
  if (!content.empty()) verifier.SetContentFile(content.c_str());
  std::list<cmskit::SignerReport> reports;
  if (!verifier.VerifyAll(reports, &error)) return {};
  std::vector<cmskit::SignerVerdict> verdicts;
  for (const cmskit::SignerReport& report : reports) verdicts.push_back(report.verdict);
  return verdicts;
}

}  // namespace cmskit_testing

#endif
