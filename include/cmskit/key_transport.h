// Content-encryption keys of enveloped messages: their algorithm parameters
// (initialisation vector, GOST parameter set) and the decryption of the
// content with them. The key comes from EnvelopedData::GetEncryptionKey; the
// caller owns it and destroys it.
//
// Decrypting a received message:
//
//   HCRYPTKEY key = 0;
//   ASNAlgorithmIdentifier alg = message.encryptedContentInfo.contentEncryptionAlgorithm;
//   message.GetEncryptionKey(cert, prov, key, alg, &error);
//   DecryptKeyParam(key, alg);               // the key must carry its IV first
//   DecryptContent(key, message.encryptedContentInfo, out);
//
// None of these functions throws, except DecryptContent as stated below.
#ifndef CMSKIT_KEY_TRANSPORT_H
#define CMSKIT_KEY_TRANSPORT_H

#include "asn_types.h"
#include "encrypted_content_info.h"
#include "export.h"
#include "identobj.h"
#include "platform/win32.h"
#include "sign_data.h"

namespace cmskit {

// True for the GOST family: a plain character prefix test on "1.2.643.2.2",
// so "1.2.643.2.20" counts as well.
CMSKIT_API bool IsGostAlg(const char* algOid);

// Applies the parameters of a received content algorithm to `key`. GOST
// 28147-89 ("1.2.643.2.2.21" exactly) takes only the SEQUENCE { iv, paramSet }
// form: the IV and CryptoPro key meshing are set, the parameter set stays the
// one the key was imported with. Any other algorithm, the other "1.2.643.2.2"
// ones included, takes a bare OCTET STRING IV or an RC2 SEQUENCE { version,
// iv }; no parameters at all leave the key as it is.
// Only a null key or an empty OID sets the thread's last error (160); other
// failures are told by the false result alone.
CMSKIT_API bool DecryptKeyParam(HCRYPTKEY& key, ASNAlgorithmIdentifier& contentAlg);

// Encrypting side: sets the IV on `key`, and for any IsGostAlg OID also turns
// on key meshing. False leaves the platform's last error (160 for a null key,
// provider or OID).
CMSKIT_API bool EncryptKeySetParam(const HCRYPTKEY& key, HCRYPTPROV& prov, char* const algOid,
                                   const IdentObj& iv);
// Encrypting side: the encoded parameters for `key` (GOST: SEQUENCE { iv, the
// key's parameter set }; others: OCTET STRING iv).
CMSKIT_API bool EncryptKeyGetParam(const HCRYPTKEY& key, char* const algOid, const IdentObj& iv,
                                   IdentObj& params);
// A random IV of the key's IV length from `prov`; the key is not changed.
CMSKIT_API bool GenerateNewInitVector(const HCRYPTKEY& key, const HCRYPTPROV& prov, IdentObj& iv);

// Decrypts the content of `eci` into the buffer range [out.begin, out.end) of
// out.data (out.end becomes the end of the plaintext), or, with
// ToSignStruct::kInFile, into the file named by out.data (created or
// truncated: it must not be the file the content is read from).
//
// The platform's Final flag is fixed per path, and callers must expect it:
// - one primitive string into memory, or from memory into a file: one call,
//   final, so CBC padding is checked and removed;
// - one primitive string from a file into a file: 4096-byte blocks, none
//   final, then the remainder (length mod 4096) in one final call. When the
//   length is a whole multiple of 4096 there is no final call: the output
//   keeps the CBC padding block (an AES message of 4095 bytes comes out as
//   4096, ending in the pad byte 01). Stream ciphers (GOST) are unaffected.
// - pieces (a constructed content) into a file: every piece non-final, as one
//   stream; CBC padding stays at the end of the output;
// - pieces into memory: every piece final, each a complete message of its
//   own (the key restarts from its IV). A CBC message cut into pieces by a
//   streaming encoder does not decrypt this way; decrypt it into a file.
// Pieces from memory into a file are bounded by eci.contentLength, not by the
// stored octets: with contentLength 0 (as the memory reader leaves it) the
// walk runs until the element parser fails at the end of the octets, which
// leaves as an XTOOStatus exception after all pieces were written. A
// malformed piece throws in the same way on every piece path.
// Memory output loads the whole content first (and keeps file content in
// eci.encryptedContent); file to file holds one block or one piece at a time.
// Failures: false with the thread's last error: 160 for a missing buffer or
// file name, E_OUTOFMEMORY when the plaintext does not fit the range (out.end
// unchanged), the platform's code of the failed decryption or file call. A
// partly written output file stays.
CMSKIT_API bool DecryptContent(HCRYPTKEY key, EncryptedContentInfo& eci, ToSignStruct& out);
// The 64-bit companion, for encrypted content or plaintext of 4 GiB and more
// (the content range as EncryptedContentInfo's 64-bit members record it).
// DecryptContent fails with ERROR_FILE_TOO_LARGE (223) for content it could
// not address.
CMSKIT_API bool DecryptContent64(HCRYPTKEY key, EncryptedContentInfo& eci, ToSignStruct64& out);

}  // namespace cmskit

#endif
