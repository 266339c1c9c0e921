// Converting public key information between DER and CERT_PUBLIC_KEY_INFO.
#include "platform/posix/crypt_public_key_info.h"

#include <cstring>
#include <string>

#include "platform/posix/crypt_der.h"

namespace cmskit {
namespace posix {

namespace {

constexpr uint64_t kAlignment = 8;

uint64_t Aligned(uint64_t size) { return (size + kAlignment - 1) & ~(kAlignment - 1); }

// The parts of a SubjectPublicKeyInfo, pointing into its DER.
struct PublicKeyParts {
  std::string oid;
  const BYTE* parameters = nullptr;
  size_t parametersLength = 0;
  const BYTE* key = nullptr;
  size_t keyLength = 0;
  BYTE unusedBits = 0;
};

DWORD SplitPublicKeyInfo(const std::vector<BYTE>& der, PublicKeyParts* parts) {
  DerElement info, algorithm, oid, bits;
  DWORD code = DerReader(der.data(), der.size()).Expect(kDerSequence, &info);
  DerReader fields(info);
  if (!code) code = fields.Expect(kDerSequence, &algorithm);
  if (!code) code = fields.Expect(kDerBitString, &bits);
  DerReader algorithmFields(algorithm);
  if (!code) code = algorithmFields.Expect(kDerOid, &oid);
  if (code) return code;
  if (bits.length == 0 || bits.value[0] > 7) return CRYPT_E_ASN1_CORRUPT;
  parts->oid = OidText(oid.value, oid.length);
  if (parts->oid.empty()) return CRYPT_E_ASN1_CORRUPT;
  parts->parameters = oid.start + oid.size;
  parts->parametersLength = static_cast<size_t>(algorithm.value + algorithm.length - parts->parameters);
  parts->unusedBits = bits.value[0];
  parts->key = bits.value + 1;
  parts->keyLength = bits.length - 1;
  return 0;
}

}  // namespace

DWORD EncodePublicKeyInfo(const CERT_PUBLIC_KEY_INFO& info, std::vector<BYTE>* der) {
  const CRYPT_OBJID_BLOB& parameters = info.Algorithm.Parameters;
  const CRYPT_BIT_BLOB& key = info.PublicKey;
  std::vector<BYTE> oid;
  if ((parameters.cbData && !parameters.pbData) || (key.cbData && !key.pbData) || key.cUnusedBits > 7 ||
      !OidValue(info.Algorithm.pszObjId, &oid))
    return E_INVALIDARG;
  std::vector<BYTE> algorithm = DerEncode(kDerOid, oid);
  algorithm.insert(algorithm.end(), parameters.pbData, parameters.pbData + parameters.cbData);
  std::vector<BYTE> bits{static_cast<BYTE>(key.cUnusedBits)};
  bits.insert(bits.end(), key.pbData, key.pbData + key.cbData);
  std::vector<BYTE> fields = DerEncode(kDerSequence, algorithm);
  const std::vector<BYTE> bitString = DerEncode(kDerBitString, bits);
  fields.insert(fields.end(), bitString.begin(), bitString.end());
  *der = DerEncode(kDerSequence, fields);
  return 0;
}

DWORD WritePublicKeyInfo(const std::vector<BYTE>& der, void* data, DWORD* length) {
  if (!length) return E_INVALIDARG;
  PublicKeyParts parts;
  if (const DWORD code = SplitPublicKeyInfo(der, &parts)) return code;
  const uint64_t oidOffset = Aligned(sizeof(CERT_PUBLIC_KEY_INFO));
  const uint64_t parametersOffset = oidOffset + Aligned(parts.oid.size() + 1);
  const uint64_t keyOffset = parametersOffset + Aligned(parts.parametersLength);
  const uint64_t size = keyOffset + parts.keyLength;
  if (size > UINT32_MAX) return NTE_BAD_LEN;
  const DWORD room = *length;
  *length = static_cast<DWORD>(size);
  if (!data) return 0;
  if (room < size) return ERROR_MORE_DATA;

  BYTE* base = static_cast<BYTE*>(data);
  CERT_PUBLIC_KEY_INFO info = {};
  info.Algorithm.pszObjId = reinterpret_cast<LPSTR>(base + oidOffset);
  std::memcpy(base + oidOffset, parts.oid.c_str(), parts.oid.size() + 1);
  info.Algorithm.Parameters.cbData = static_cast<DWORD>(parts.parametersLength);
  if (parts.parametersLength) {
    info.Algorithm.Parameters.pbData = base + parametersOffset;
    std::memcpy(base + parametersOffset, parts.parameters, parts.parametersLength);
  }
  info.PublicKey.cbData = static_cast<DWORD>(parts.keyLength);
  info.PublicKey.cUnusedBits = parts.unusedBits;
  if (parts.keyLength) {
    info.PublicKey.pbData = base + keyOffset;
    std::memcpy(base + keyOffset, parts.key, parts.keyLength);
  }
  std::memcpy(base, &info, sizeof(info));
  return 0;
}

}  // namespace posix
}  // namespace cmskit
