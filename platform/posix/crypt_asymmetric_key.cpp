// Public and private keys: what kind they are, their signature size and
// their parameters.
#include "platform/posix/crypt_asymmetric_key.h"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/obj_mac.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <cstring>
#include <vector>

#include "platform/posix/crypt_backends.h"
#include "platform/posix/crypt_call.h"
#include "platform/posix/crypt_der.h"
#include "platform/posix/crypt_public_key_info.h"

namespace cmskit {
namespace posix {

namespace {

constexpr uint16_t kAsymmetricKeyHandleTag = 0x504B;
constexpr DWORD kGostSignatureSize = 64;
constexpr DWORD kGost512SignatureSize = 128;

struct PublicKeyAlgorithm {
  const char* oid;
  bool gost;
  bool namedCurve;  // its parameters must name the curve
};

const PublicKeyAlgorithm kPublicKeyAlgorithms[] = {
    {"1.2.840.113549.1.1.1", false, false},   // rsaEncryption
    {"1.2.840.113549.1.1.10", false, false},  // id-RSASSA-PSS
    {"1.2.840.10040.4.1", false, false},      // id-dsa
    {"1.2.840.10045.2.1", false, true},       // id-ecPublicKey
    {"1.2.643.2.2.19", true, false},          // GOST R 34.10-2001
    {"1.2.643.7.1.1.1.1", true, false},       // GOST R 34.10-2012, 256 bits
    {"1.2.643.7.1.1.1.2", true, false},       // GOST R 34.10-2012, 512 bits
};

const PublicKeyAlgorithm* PublicKeyAlgorithmByOid(const char* oid) {
  if (!oid) return nullptr;
  for (const auto& algorithm : kPublicKeyAlgorithms) {
    if (std::strcmp(algorithm.oid, oid) == 0) return &algorithm;
  }
  return nullptr;
}

bool FamilyOf(const EVP_PKEY* key, KeyFamily* family, bool* pssOnly) {
  *pssOnly = false;
  switch (EVP_PKEY_get_base_id(key)) {
    case EVP_PKEY_RSA_PSS:
      *pssOnly = true;
      *family = KeyFamily::kRsa;
      return true;
    case EVP_PKEY_RSA:
      *family = KeyFamily::kRsa;
      return true;
    case EVP_PKEY_DSA:
      *family = KeyFamily::kDsa;
      return true;
    case EVP_PKEY_EC:
      *family = KeyFamily::kEc;
      return true;
    case NID_id_GostR3410_2001:
      *family = KeyFamily::kGost2001;
      return true;
    case NID_id_GostR3410_2012_256:
      *family = KeyFamily::kGost2012_256;
      return true;
    case NID_id_GostR3410_2012_512:
      *family = KeyFamily::kGost2012_512;
      return true;
    default:
      return false;
  }
}

// DSA and ECDSA signatures are r and s side by side, each as wide as the
// group order; RSA's as wide as the modulus; GOST's fixed by the key size.
DWORD SignatureSizeOf(EVP_PKEY* key, KeyFamily family) {
  switch (family) {
    case KeyFamily::kRsa:
      return static_cast<DWORD>(EVP_PKEY_get_size(key) > 0 ? EVP_PKEY_get_size(key) : 0);
    case KeyFamily::kDsa: {
      BIGNUM* q = nullptr;
      if (!EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_FFC_Q, &q)) return 0;
      const BignumPtr owned(q);
      return 2 * static_cast<DWORD>(BN_num_bytes(q));
    }
    case KeyFamily::kEc:
      return EVP_PKEY_get_bits(key) > 0 ? 2 * ((static_cast<DWORD>(EVP_PKEY_get_bits(key)) + 7) / 8) : 0;
    case KeyFamily::kGost2012_512:
      return kGost512SignatureSize;
    default:
      return kGostSignatureSize;
  }
}

constexpr char kOidRsaEncryption[] = "1.2.840.113549.1.1.1";

// OpenSSL 3 reads a SubjectPublicKeyInfo through its decoder framework, at
// about a hundred times the cost of reading the RSAPublicKey inside it; for
// the common rsaEncryption key that cost would dominate a whole signature
// check. Null when the bits are not exactly one RSAPublicKey.
PkeyPtr ReadRsaPublicKey(const CRYPT_BIT_BLOB& bits) {
  if (bits.cUnusedBits != 0 || !bits.pbData || bits.cbData == 0) return nullptr;
  const unsigned char* next = bits.pbData;
  PkeyPtr key(d2i_PublicKey(EVP_PKEY_RSA, nullptr, &next, static_cast<long>(bits.cbData)));
  ERR_clear_error();
  if (key && next != bits.pbData + bits.cbData) key.reset();
  return key;
}

}  // namespace

HandleTable<AsymmetricKey>& AsymmetricKeyTable() {
  static auto* table = new HandleTable<AsymmetricKey>(kAsymmetricKeyHandleTag);
  return *table;
}

DWORD AsymmetricKey::Wrap(PkeyPtr key, std::shared_ptr<AsymmetricKey>* wrapped) {
  KeyFamily family;
  bool pssOnly;
  if (!key || !FamilyOf(key.get(), &family, &pssOnly)) return NTE_BAD_ALGID;
  const DWORD signatureSize = SignatureSizeOf(key.get(), family);
  ERR_clear_error();
  if (signatureSize == 0) return NTE_BAD_ALGID;
  wrapped->reset(new AsymmetricKey(std::move(key), family, pssOnly, signatureSize));
  return 0;
}

DWORD AsymmetricKey::FromPublicKeyInfo(const CERT_PUBLIC_KEY_INFO& info,
                                       std::shared_ptr<AsymmetricKey>* made) {
  const PublicKeyAlgorithm* algorithm = PublicKeyAlgorithmByOid(info.Algorithm.pszObjId);
  if (!algorithm) return NTE_BAD_ALGID;
  // The engine reads GOST keys once it is loaded.
  if (algorithm->gost && !GostEngine::Get().Available()) return NTE_BAD_ALGID;
  const CRYPT_OBJID_BLOB& parameters = info.Algorithm.Parameters;
  if (algorithm->namedCurve && (!parameters.cbData || !parameters.pbData || parameters.pbData[0] != kDerOid))
    return NTE_BAD_ALGID;
  if (std::strcmp(algorithm->oid, kOidRsaEncryption) == 0) {
    if (PkeyPtr key = ReadRsaPublicKey(info.PublicKey)) return Wrap(std::move(key), made);
  }
  std::vector<BYTE> der;
  if (const DWORD code = EncodePublicKeyInfo(info, &der)) return code;
  const unsigned char* next = der.data();
  PkeyPtr key(d2i_PUBKEY(nullptr, &next, static_cast<long>(der.size())));
  ERR_clear_error();
  if (!key || next != der.data() + der.size()) return CRYPT_E_ASN1_CORRUPT;
  return Wrap(std::move(key), made);
}

bool AsymmetricKey::IsGost() const {
  return family_ == KeyFamily::kGost2001 || family_ == KeyFamily::kGost2012_256 ||
         family_ == KeyFamily::kGost2012_512;
}

RsaPadding AsymmetricKey::Padding(bool signing) const {
  RsaPadding padding;
  const int64_t saltLength = pssSaltLength_.load();
  if (family_ != KeyFamily::kRsa || (saltLength == kNoSaltLength && !pssOnly_)) return padding;
  padding.pss = true;
  if (saltLength != kNoSaltLength)
    padding.saltLength = static_cast<int>(saltLength);
  else
    padding.saltLength = signing ? RSA_PSS_SALTLEN_DIGEST : RSA_PSS_SALTLEN_AUTO;
  return padding;
}

DWORD AsymmetricKey::GetParam(DWORD param, BYTE* data, DWORD* length) const {
  if (param != KP_KEYLEN) return NTE_BAD_TYPE;
  const DWORD bits = static_cast<DWORD>(EVP_PKEY_get_bits(key_.get()));
  return CopyOut(&bits, sizeof(bits), data, length);
}

DWORD AsymmetricKey::SetParam(DWORD param, const BYTE* data) {
  if (param != KP_CMSKIT_PSS_SALT_LENGTH || family_ != KeyFamily::kRsa) return NTE_BAD_TYPE;
  if (!data) return ERROR_INVALID_PARAMETER;
  DWORD saltLength;
  std::memcpy(&saltLength, data, sizeof(saltLength));
  if (saltLength > signatureSize_) return NTE_BAD_DATA;  // could never fit
  pssSaltLength_.store(saltLength);
  return 0;
}

}  // namespace posix
}  // namespace cmskit
