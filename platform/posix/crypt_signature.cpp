// Signing and verifying with OpenSSL, and the byte orders around it.
#include "platform/posix/crypt_signature.h"

#include <openssl/err.h>
#include <openssl/rsa.h>

#include <algorithm>

namespace cmskit {
namespace posix {

namespace {

HashFamily HashFamilyFor(KeyFamily family) {
  switch (family) {
    case KeyFamily::kGost2001:
      return HashFamily::kGost94;
    case KeyFamily::kGost2012_256:
      return HashFamily::kGost2012_256;
    case KeyFamily::kGost2012_512:
      return HashFamily::kGost2012_512;
    default:
      return HashFamily::kClassic;
  }
}

bool IsDss(KeyFamily family) { return family == KeyFamily::kDsa || family == KeyFamily::kEc; }

// r then s, little-endian, each half of `signature`, to a DER Dss-Sig-Value.
bool DssToDer(const BYTE* signature, DWORD length, std::vector<BYTE>* der) {
  const int width = static_cast<int>(length / 2);
  BignumPtr r(BN_lebin2bn(signature, width, nullptr));
  BignumPtr s(BN_lebin2bn(signature + width, width, nullptr));
  EcdsaSigPtr value(ECDSA_SIG_new());
  if (!r || !s || !value || !ECDSA_SIG_set0(value.get(), r.get(), s.get())) return false;
  r.release();
  s.release();
  const int size = i2d_ECDSA_SIG(value.get(), nullptr);
  if (size <= 0) return false;
  der->resize(static_cast<size_t>(size));
  unsigned char* next = der->data();
  return i2d_ECDSA_SIG(value.get(), &next) == size;
}

// The reverse of DssToDer for a signature of `length` bytes.
bool DerToDss(const std::vector<BYTE>& der, DWORD length, std::vector<BYTE>* signature) {
  const unsigned char* next = der.data();
  EcdsaSigPtr value(d2i_ECDSA_SIG(nullptr, &next, static_cast<long>(der.size())));
  if (!value) return false;
  const int width = static_cast<int>(length / 2);
  signature->resize(length);
  return BN_bn2lebinpad(ECDSA_SIG_get0_r(value.get()), signature->data(), width) == width &&
         BN_bn2lebinpad(ECDSA_SIG_get0_s(value.get()), signature->data() + width, width) == width;
}

// RSA keys name the digest in their padding; PSS also takes MGF1 over it.
// DSA, ECDSA and GOST keys sign the digest as it is.
DWORD SetUpPadding(EVP_PKEY_CTX* context, const AsymmetricKey& key, const EVP_MD* md, bool signing) {
  if (key.Family() != KeyFamily::kRsa) return 0;
  const RsaPadding padding = key.Padding(signing);
  if (EVP_PKEY_CTX_set_rsa_padding(context, padding.pss ? RSA_PKCS1_PSS_PADDING : RSA_PKCS1_PADDING) <= 0 ||
      EVP_PKEY_CTX_set_signature_md(context, md) <= 0)
    return NTE_BAD_ALGID;
  if (padding.pss && (EVP_PKEY_CTX_set_rsa_mgf1_md(context, md) <= 0 ||
                      EVP_PKEY_CTX_set_rsa_pss_saltlen(context, padding.saltLength) <= 0))
    return NTE_BAD_ALGID;
  return 0;
}

DWORD Verify(const AsymmetricKey& key, const EVP_MD* md, const std::vector<BYTE>& digest,
             const std::vector<BYTE>& wire) {
  PkeyCtxPtr context(EVP_PKEY_CTX_new(key.Pkey(), nullptr));
  if (!context || EVP_PKEY_verify_init(context.get()) <= 0) return NTE_BAD_ALGID;
  if (const DWORD code = SetUpPadding(context.get(), key, md, false)) return code;
  const int verified = EVP_PKEY_verify(context.get(), wire.data(), wire.size(), digest.data(), digest.size());
  return verified == 1 ? 0 : NTE_BAD_SIGNATURE;
}

DWORD Sign(const AsymmetricKey& key, const EVP_MD* md, const std::vector<BYTE>& digest,
           std::vector<BYTE>* wire) {
  PkeyCtxPtr context(EVP_PKEY_CTX_new(key.Pkey(), nullptr));
  if (!context || EVP_PKEY_sign_init(context.get()) <= 0) return NTE_BAD_ALGID;
  if (const DWORD code = SetUpPadding(context.get(), key, md, true)) return code;
  size_t size = 0;
  if (EVP_PKEY_sign(context.get(), nullptr, &size, digest.data(), digest.size()) <= 0) return NTE_FAIL;
  wire->resize(size);
  if (EVP_PKEY_sign(context.get(), wire->data(), &size, digest.data(), digest.size()) <= 0) return NTE_FAIL;
  wire->resize(size);
  return 0;
}

}  // namespace

DWORD CheckHashFitsKey(const AsymmetricKey& key, const HashAlgorithm& hash) {
  return HashFamilyFor(key.Family()) == hash.family ? 0 : NTE_BAD_ALGID;
}

DWORD VerifySignature(const AsymmetricKey& key, const HashAlgorithm& hash, const EVP_MD* md,
                      const std::vector<BYTE>& digest, const BYTE* signature, DWORD length) {
  if (const DWORD code = CheckHashFitsKey(key, hash)) return code;
  if (length != key.SignatureSize()) return NTE_BAD_SIGNATURE;
  std::vector<BYTE> wire;
  if (IsDss(key.Family())) {
    if (!DssToDer(signature, length, &wire)) {
      ERR_clear_error();
      return NTE_NO_MEMORY;
    }
  } else {
    wire.assign(std::reverse_iterator<const BYTE*>(signature + length),
                std::reverse_iterator<const BYTE*>(signature));
  }
  const DWORD code = Verify(key, md, digest, wire);
  ERR_clear_error();
  return code;
}

DWORD SignDigest(const AsymmetricKey& key, const HashAlgorithm& hash, const EVP_MD* md,
                 const std::vector<BYTE>& digest, std::vector<BYTE>* signature) {
  if (const DWORD code = CheckHashFitsKey(key, hash)) return code;
  std::vector<BYTE> wire;
  DWORD code = Sign(key, md, digest, &wire);
  if (!code && IsDss(key.Family())) {
    if (!DerToDss(wire, key.SignatureSize(), signature)) code = NTE_FAIL;
  } else if (!code) {
    // RSA signatures come as wide as the modulus, GOST ones at their fixed size.
    if (wire.size() != key.SignatureSize()) code = NTE_FAIL;
    signature->assign(wire.rbegin(), wire.rend());
  }
  ERR_clear_error();
  return code;
}

}  // namespace posix
}  // namespace cmskit
