#include "make/content_key.h"

#include <cstring>
#include <vector>

#include "asn/asn_build.h"
#include "cmskit/key_transport.h"
#include "cmskit/status.h"
#include "enveloped/enveloped_support.h"

namespace cmskit {

namespace {

constexpr char kOrigin[] = "EncryptMessage";

struct CipherInfo {
  ContentCipher cipher;
  ALG_ID algId;
  const char* oid;
  DWORD provType;
  uint32_t keyBytes;
  uint32_t blockBytes;  // 0: no padding (GOST 28147-89 in CFB mode)
  uint32_t ivBytes;
};

constexpr CipherInfo kCiphers[] = {
    {ContentCipher::kAes128, CALG_AES_128, "2.16.840.1.101.3.4.1.2", PROV_RSA_AES, 16, 16, 16},
    {ContentCipher::kAes192, CALG_AES_192, "2.16.840.1.101.3.4.1.22", PROV_RSA_AES, 24, 16, 16},
    {ContentCipher::kAes256, CALG_AES_256, "2.16.840.1.101.3.4.1.42", PROV_RSA_AES, 32, 16, 16},
    {ContentCipher::kDes3, CALG_3DES, "1.2.840.113549.3.7", PROV_RSA_AES, 24, 8, 8},
    // A GOST provider type, which Windows needs for the algorithm.
    {ContentCipher::kGost28147, CALG_G28147, "1.2.643.2.2.21", PROV_GOST_2012_256, 32, 0, 8},
};

const CipherInfo& Find(ContentCipher cipher) {
  for (const CipherInfo& info : kCiphers)
    if (info.cipher == cipher) return info;
  ASNTRaise(kStatusBadArgument, kOrigin);
}

// A fixed key or IV of the wrong size would make a message no recipient
// reads; refused here rather than left to the provider.
void CheckSize(const IdentObj& value, uint32_t expected) {
  if (!value.IsEmpty() && value.size() != expected) ASNTRaise(kStatusBadArgument, kOrigin);
}

}  // namespace

ContentKey::ContentKey(const EncryptOptions& options) {
  const CipherInfo& info = Find(options.cipher);
  CheckSize(options.key, info.keyBytes);
  CheckSize(options.iv, info.ivBytes);
  blockBytes_ = info.blockBytes;
  HCRYPTPROV provider = 0;
  if (!CryptAcquireContextA(&provider, nullptr, nullptr, info.provType, CRYPT_VERIFYCONTEXT))
    RaiseLastError("CryptAcquireContextA");
  provider_.Reset(provider);
  if (options.key.IsEmpty())
    Generate(info.algId);
  else
    Import(info.algId, options.key);

  IdentObj iv = options.iv;
  if (iv.IsEmpty() && !GenerateNewInitVector(key_.get(), provider_.get(), iv))
    RaiseLastError("GenerateNewInitVector");
  std::vector<char> oid(info.oid, info.oid + strlen(info.oid) + 1);
  if (!EncryptKeySetParam(key_.get(), provider, oid.data(), iv)) RaiseLastError("EncryptKeySetParam");
  IdentObj parameters;
  if (!EncryptKeyGetParam(key_.get(), oid.data(), iv, parameters)) RaiseLastError("EncryptKeyGetParam");
  algorithm_ = ASNAlgorithmIdentifier(info.oid, parameters);
}

uint64_t ContentKey::EncryptedSize(uint64_t plainSize) const {
  if (blockBytes_ == 0) return plainSize;
  return (plainSize / blockBytes_ + 1) * blockBytes_;
}

void ContentKey::Generate(ALG_ID algId) {
  HCRYPTKEY key = 0;
  if (!CryptGenKey(provider_.get(), algId, CRYPT_EXPORTABLE, &key)) RaiseLastError("CryptGenKey");
  key_.Reset(key);
}

// A PLAINTEXTKEYBLOB: the header, the key length, the key.
void ContentKey::Import(ALG_ID algId, const IdentObj& bytes) {
  const BLOBHEADER header{PLAINTEXTKEYBLOB, CUR_BLOB_VERSION, 0, algId};
  const DWORD length = bytes.size();
  std::vector<BYTE> blob(sizeof header + sizeof length + length);
  memcpy(blob.data(), &header, sizeof header);
  memcpy(blob.data() + sizeof header, &length, sizeof length);
  memcpy(blob.data() + sizeof header + sizeof length, bytes.data(), length);
  HCRYPTKEY key = 0;
  if (!CryptImportKey(provider_.get(), blob.data(), static_cast<DWORD>(blob.size()), 0, CRYPT_EXPORTABLE,
                      &key))
    RaiseLastError("CryptImportKey");
  key_.Reset(key);
}

}  // namespace cmskit
