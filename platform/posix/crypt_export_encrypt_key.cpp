// Exporting a content-encryption key for a GOST CMS recipient.
#include "platform/posix/crypt_export_encrypt_key.h"

#include <type_traits>

#include "platform/posix/crypt_asymmetric_key.h"
#include "platform/posix/crypt_call.h"
#include "platform/posix/crypt_key_transport.h"
#include "platform/posix/crypt_provider.h"
#include "platform/posix/crypt_symmetric_key.h"

namespace cmskit {
namespace posix {

namespace {

constexpr size_t kTransportedKeyBytes = 32;

const char* const kGostPublicKeyOids[] = {
    "1.2.643.2.2.19",     // GOST R 34.10-2001
    "1.2.643.7.1.1.1.1",  // GOST R 34.10-2012, 256 bits
    "1.2.643.7.1.1.1.2",  // GOST R 34.10-2012, 512 bits
};

DWORD Export(HCRYPTPROV prov, HCRYPTKEY contentKey, const CERT_PUBLIC_KEY_INFO* recipient, BYTE* data,
             DWORD* length) {
  if (!ProviderTable().Find(prov) || !recipient || !length) return ERROR_INVALID_PARAMETER;
  const std::shared_ptr<SymmetricKey> key = KeyTable().Find(contentKey);
  if (!key) return AsymmetricKeyTable().Find(contentKey) ? NTE_BAD_KEY : ERROR_INVALID_PARAMETER;
  if (!key->Exportable()) return NTE_BAD_KEY_STATE;
  if (key->KeyBytes().size() != kTransportedKeyBytes) return NTE_BAD_KEY;
  std::shared_ptr<AsymmetricKey> peer;
  if (const DWORD code = AsymmetricKey::FromPublicKeyInfo(*recipient, &peer)) return code;
  if (!peer->IsGost()) return NTE_BAD_ALGID;
  std::vector<BYTE> transport;
  if (const DWORD code = WrapContentKey(*peer, key->KeyBytes(), &transport)) return code;
  return CopyOut(transport.data(), static_cast<DWORD>(transport.size()), data, length);
}

}  // namespace

static_assert(std::is_same<decltype(&ExportEncryptKey), PFN_CMSG_EXPORT_ENCRYPT_KEY>::value,
              "the installed functions must have the platform's argument list");

BOOL WINAPI ExportEncryptKey(HCRYPTPROV prov, HCRYPTKEY contentKey, PCERT_PUBLIC_KEY_INFO recipient,
                             PBYTE data, PDWORD length) {
  return RunCall([&]() -> DWORD { return Export(prov, contentKey, recipient, data, length); });
}

std::vector<CRYPT_OID_FUNC_ENTRY> DefaultExportFunctions() {
  std::vector<CRYPT_OID_FUNC_ENTRY> entries;
  for (const char* oid : kGostPublicKeyOids) {
    entries.push_back(CRYPT_OID_FUNC_ENTRY{oid, reinterpret_cast<void*>(&ExportEncryptKey)});
  }
  return entries;
}

}  // namespace posix
}  // namespace cmskit
