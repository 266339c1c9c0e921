// libFuzzer target: SignatureVerifier over a SignedData read from arbitrary
// bytes. The seeds are valid messages with their signers' certificates, so
// mutations mostly land in signer infos and signed attributes checked
// against a certificate that stays good. Every signer must end in a verdict
// or the whole check in a code; a verdict of valid must survive a second
// check, and CheckContentDigests must agree with it on the digest.
#include <cstddef>
#include <cstdint>
#include <list>

#include "cmskit/cmskit.h"
#include "fuzz/fuzz_util.h"

using cmskit::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 0xFFFFFFFFu) return 0;
  cmskit::SignData message;
  int error = 0;
  if (!message.ReadObject(data, static_cast<DWORD>(size), &error)) return 0;
  cmskit::SignatureVerifier verifier(message);
  std::list<cmskit::SignerReport> reports;
  error = 0;
  const bool checked = verifier.VerifyAll(reports, &error);
  Require(checked == (error == 0));
  if (!checked) return 0;
  Require(reports.size() == message.signerInfos.size());
  std::list<cmskit::SignerReport> digests;
  Require(verifier.CheckContentDigests(digests, &error));
  Require(digests.size() == reports.size());
  auto digest = digests.begin();
  size_t index = 0;
  for (const cmskit::SignerReport& report : reports) {
    if (report.verdict == cmskit::SignerVerdict::kValid) {
      Require(digest->verdict == cmskit::SignerVerdict::kValid);
      cmskit::SignerReport again;
      Require(verifier.VerifySigner(index, again, &error));
      Require(again.verdict == cmskit::SignerVerdict::kValid);
    }
    ++digest;
    ++index;
  }
  return 0;
}
