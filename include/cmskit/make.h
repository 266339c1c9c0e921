// Making messages: signed ones (make_signed.h), and an EnvelopedData for
// certificate holders, written as DER in one pass over the content, in
// constant memory whatever its size.
//
//   CTOOFile content("report.pdf", "rb"), message("report.p7m.tmp", "wb");
//   EncryptOptions options;                 // AES-256, fresh key and IV
//   const CERT_CONTEXT* recipients[] = {aliceCert, bobCert};
//   int error = 0;
//   EncryptMessage64(content, recipients, 2, options, message, &error);
//   // then close the message file and rename it over the target
#ifndef CMSKIT_MAKE_H
#define CMSKIT_MAKE_H

#include <cstdint>

#include "export.h"
#include "file.h"
#include "identobj.h"
#include "make_signed.h"
#include "platform/win32.h"

namespace cmskit {

enum class ContentCipher : DWORD { kAes128, kAes192, kAes256, kDes3, kGost28147 };

struct EncryptOptions {
  ContentCipher cipher = ContentCipher::kAes256;
  // A fixed content key and IV, for messages that must come out the same
  // every time (tests); empty, fresh random ones come from the provider. The
  // key must have the cipher's key size, the IV its block size (8 for GOST).
  IdentObj key;
  IdentObj iv;
};

// Encrypts the content from the file's current position to its end for
// every certificate in recipients[0 .. count), and writes the EnvelopedData
// (a ContentInfo, version 0, one key-transport recipient per certificate in
// that order, named by issuer and serial number) at the message file's
// position. RSA recipients get the content key by PKCS #1 v1.5, GOST R
// 34.10-2001 and 2012 ones by the GOST key transport of the platform's
// "CryptMsgDllExportEncryptKey" functions. Returns the octets written.
// Errors: with pError the mapped code is stored there and 0 returned (160
// for no recipients, a null certificate or a key or IV of the wrong size);
// without it the XTOOStatus is thrown. A failure leaves a partial message:
// write to a temporary file and rename it only after success.
CMSKIT_API uint64_t EncryptMessage64(CTOOFile& content, const CERT_CONTEXT* const* recipients, DWORD count,
                                     const EncryptOptions& options, CTOOFile& message, int* pError = nullptr);

}  // namespace cmskit

#endif
