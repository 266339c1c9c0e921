// Making signed messages: signing content of any size into a new SignedData,
// and adding signers to a message that is already signed. Both write DER
// through the library's file writer, so the content is read twice (digested
// in blocks, then copied across) and never held whole.
#ifndef CMSKIT_MAKE_SIGNED_H
#define CMSKIT_MAKE_SIGNED_H

#include <cstddef>
#include <cstdint>

#include "export.h"
#include "file.h"
#include "identobj.h"
#include "platform/win32.h"
#include "sign_data.h"

namespace cmskit {

// One signer: its certificate and a provider holding the matching private
// key. The caller keeps both alive for the call.
struct CMSKIT_API SignerCredential {
  PCCERT_CONTEXT certificate = nullptr;
  HCRYPTPROV provider = 0;
  DWORD keySpec = AT_SIGNATURE;
  // Dotted digest algorithm; null takes the one the key calls for: SHA-256
  // for RSA, ECDSA and DSA, GOST R 34.11-2012 of the key's size for
  // GOST R 34.10-2012, GOST R 34.11-94 for GOST R 34.10-2001.
  const char* digestOid = nullptr;
};

struct CMSKIT_API SignOptions {
  // No eContent: the signature travels without what it signs.
  bool detached = false;
  // False: no signed attributes, the signature is over the content digest.
  bool signedAttributes = true;
  // The signingTime written; null takes the current time.
  const FILETIME* signingTime = nullptr;
};

// One DER SignerInfo for content of type `contentTypeOid` whose digest
// (under the signer's digest algorithm) is `digest`, most significant octet
// first. Empty on failure, with the code in *pError and the last error.
CMSKIT_API IdentObj MakeSignerInfo(const SignerCredential& signer, const char* contentTypeOid,
                                   const IdentObj& digest, const SignOptions& options, int* pError);

// Signs `content` (memory, or a file range of any size) for each of the
// `count` signers and writes the SignedData at `file`'s position. Returns
// the octets written, 0 on failure (code in *pError and the last error).
CMSKIT_API uint64_t SignContent64(const ToSignStruct64& content, const SignerCredential* signers,
                                  size_t count, const SignOptions& options, CTOOFile& file, int* pError);

// Appends the signers to `message` (as a reader left it) and writes it at
// `file`'s position: its certificates, CRLs, signer infos and content go out
// as received, each new certificate and digest algorithm is added once.
// `content` is the content of a detached message (null when attached);
// options.detached is ignored, the message keeps its form. Returns as
// SignContent64 does.
CMSKIT_API uint64_t CoSignMessage64(SignData& message, const ToSignStruct64* content,
                                    const SignerCredential* signers, size_t count, const SignOptions& options,
                                    CTOOFile& file, int* pError);

}  // namespace cmskit

#endif
