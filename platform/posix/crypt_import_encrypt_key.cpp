// Importing a transported content-encryption key for a CMS recipient.
#include "platform/posix/crypt_import_encrypt_key.h"

#include <type_traits>

#include "platform/posix/crypt_algorithms.h"
#include "platform/posix/crypt_call.h"
#include "platform/posix/crypt_der.h"
#include "platform/posix/crypt_key_transport.h"
#include "platform/posix/crypt_symmetric_key.h"

namespace cmskit {
namespace posix {

namespace {

// Absent parameters and an explicit NULL both mean "none".
bool NoParameters(const CRYPT_OBJID_BLOB& parameters) {
  return parameters.cbData == 0 || !parameters.pbData ||
         (parameters.cbData == 2 && parameters.pbData[0] == kDerNull && parameters.pbData[1] == 0);
}

// Gost28147-89-Parameters ::= SEQUENCE { iv OCTET STRING, encryptionParamSet OID }
DWORD GostOptions(const CRYPT_OBJID_BLOB& parameters, KeyOptions* options) {
  if (NoParameters(parameters)) return 0;
  DerElement sequence, iv, paramSet;
  DWORD code = DerReader(parameters.pbData, parameters.cbData).Expect(kDerSequence, &sequence);
  DerReader fields(sequence);
  if (!code) code = fields.Expect(kDerOctetString, &iv);
  if (!code) code = fields.Expect(kDerOid, &paramSet);
  if (code) return NTE_BAD_DATA;
  options->gostParamSet = OidText(paramSet.value, paramSet.length);
  return options->gostParamSet.empty() ? NTE_BAD_DATA : 0;
}

// RC2's parameter version names the effective key length (RFC 2268).
DWORD Rc2EffectiveBits(uint32_t version, DWORD* bits) {
  switch (version) {
    case 160:
      *bits = 40;
      return 0;
    case 120:
      *bits = 64;
      return 0;
    case 58:
      *bits = 128;
      return 0;
    default:
      if (version < 256) return NTE_BAD_DATA;
      *bits = version;
      return 0;
  }
}

// RC2-CBCParameter ::= CHOICE { iv OCTET STRING, SEQUENCE { version INTEGER, iv OCTET STRING } };
// the bare IV form means 32 effective bits.
DWORD Rc2Options(const CRYPT_OBJID_BLOB& parameters, KeyOptions* options) {
  constexpr DWORD kBareIvBits = 32;
  if (NoParameters(parameters)) return 0;
  DerReader reader(parameters.pbData, parameters.cbData);
  DerElement element, version;
  if (reader.Next(&element)) return NTE_BAD_DATA;
  if (element.tag == kDerOctetString) {
    options->effectiveBits = kBareIvBits;
    return 0;
  }
  uint32_t value = 0;
  if (element.tag != kDerSequence || DerReader(element).Expect(kDerInteger, &version) ||
      !SmallInteger(version, &value))
    return NTE_BAD_DATA;
  return Rc2EffectiveBits(value, &options->effectiveBits);
}

DWORD OptionsFor(const CipherAlgorithm& algorithm, const CRYPT_OBJID_BLOB& parameters, KeyOptions* options) {
  if (algorithm.source == CipherSource::kGost) return GostOptions(parameters, options);
  if (algorithm.algId == CALG_RC2) return Rc2Options(parameters, options);
  return 0;
}

DWORD Import(HCRYPTPROV prov, DWORD keySpec, const CRYPT_ALGORITHM_IDENTIFIER* encryptAlgorithm,
             const BYTE* encryptedKey, DWORD encryptedKeyLength, HCRYPTKEY* key) {
  if (!encryptAlgorithm || !key || (encryptedKeyLength && !encryptedKey)) return ERROR_INVALID_PARAMETER;
  const std::shared_ptr<Provider> provider = ProviderTable().Find(prov);
  if (!provider) return ERROR_INVALID_PARAMETER;
  if (keySpec != AT_KEYEXCHANGE && keySpec != AT_SIGNATURE) return NTE_NO_KEY;
  const CipherAlgorithm* algorithm = AlgorithmByOid(encryptAlgorithm->pszObjId);
  if (!algorithm) return NTE_BAD_ALGID;
  KeyOptions options;
  if (const DWORD code = OptionsFor(*algorithm, encryptAlgorithm->Parameters, &options)) return code;
  SecretBytes contentKey;
  if (const DWORD code = UnwrapContentKey(*provider, encryptedKey, encryptedKeyLength, &contentKey))
    return code;
  std::shared_ptr<SymmetricKey> created;
  if (const DWORD code =
          SymmetricKey::Create(*algorithm, contentKey.data(), contentKey.size(), options, &created))
    return code;
  *key = static_cast<HCRYPTKEY>(KeyTable().Add(std::move(created)));
  return 0;
}

}  // namespace

static_assert(std::is_same<decltype(&ImportEncryptKey), PFN_CMSG_IMPORT_ENCRYPT_KEY>::value,
              "the installed functions must have the platform's argument list");

BOOL WINAPI ImportEncryptKey(HCRYPTPROV prov, DWORD keySpec, PCRYPT_ALGORITHM_IDENTIFIER encryptAlgorithm,
                             PCRYPT_ALGORITHM_IDENTIFIER /*publicKeyAlgorithm*/, PBYTE encryptedKey,
                             DWORD encryptedKeyLength, HCRYPTKEY* key) {
  // The private key itself says how the key was transported.
  return RunCall([&]() -> DWORD {
    return Import(prov, keySpec, encryptAlgorithm, encryptedKey, encryptedKeyLength, key);
  });
}

std::vector<CRYPT_OID_FUNC_ENTRY> DefaultImportFunctions() {
  size_t count = 0;
  const CipherAlgorithm* algorithms = AllAlgorithms(&count);
  std::vector<CRYPT_OID_FUNC_ENTRY> entries;
  for (size_t i = 0; i < count; ++i) {
    entries.push_back(CRYPT_OID_FUNC_ENTRY{algorithms[i].oid, reinterpret_cast<void*>(&ImportEncryptKey)});
  }
  return entries;
}

}  // namespace posix
}  // namespace cmskit
