// The hash functions: creating, feeding, reading, duplicating and destroying
// hash objects.
#include <memory>

#include "platform/posix/crypt_call.h"
#include "platform/posix/crypt_hash.h"

namespace cmskit {
namespace posix {

namespace {

// Runs `body` on the hash object a handle names; ERROR_INVALID_PARAMETER for any other value.
template <class Body>
BOOL WithHash(HCRYPTHASH handle, Body&& body) {
  return RunCall([&]() -> DWORD {
    const std::shared_ptr<HashObject> hash = HashTable().Find(handle);
    return hash ? body(*hash) : ERROR_INVALID_PARAMETER;
  });
}

}  // namespace

}  // namespace posix
}  // namespace cmskit

using cmskit::posix::HashAlgorithm;
using cmskit::posix::HashObject;
using cmskit::posix::HashTable;
using cmskit::posix::Provider;
using cmskit::posix::ProviderTable;
using cmskit::posix::RunCall;
using cmskit::posix::WithHash;

extern "C" {

BOOL CryptCreateHash(HCRYPTPROV prov, ALG_ID algId, HCRYPTKEY key, DWORD flags, HCRYPTHASH* hash) {
  return RunCall([&]() -> DWORD {
    std::shared_ptr<Provider> provider = ProviderTable().Find(prov);
    if (!provider || !hash) return ERROR_INVALID_PARAMETER;
    if (flags) return NTE_BAD_FLAGS;
    const HashAlgorithm* algorithm = cmskit::posix::HashAlgorithmById(algId);
    if (!algorithm) return NTE_BAD_ALGID;
    if (key) return NTE_BAD_KEY;  // none of these digests takes a key
    std::shared_ptr<HashObject> created;
    if (const DWORD code = HashObject::Create(*algorithm, std::move(provider), &created)) return code;
    *hash = static_cast<HCRYPTHASH>(HashTable().Add(std::move(created)));
    return 0;
  });
}

BOOL CryptHashData(HCRYPTHASH hash, const BYTE* data, DWORD dataLength, DWORD flags) {
  return WithHash(hash, [&](HashObject& found) -> DWORD {
    if (dataLength && !data) return ERROR_INVALID_PARAMETER;
    if (flags) return NTE_BAD_FLAGS;
    return found.Update(data, dataLength);
  });
}

BOOL CryptGetHashParam(HCRYPTHASH hash, DWORD param, BYTE* data, DWORD* dataLength, DWORD flags) {
  return WithHash(hash, [&](HashObject& found) -> DWORD {
    if (flags) return NTE_BAD_FLAGS;
    return found.GetParam(param, data, dataLength);
  });
}

BOOL CryptSetHashParam(HCRYPTHASH hash, DWORD param, const BYTE* data, DWORD flags) {
  return WithHash(hash, [&](HashObject& found) -> DWORD {
    if (flags) return NTE_BAD_FLAGS;
    return found.SetParam(param, data);
  });
}

BOOL CryptDestroyHash(HCRYPTHASH hash) {
  return RunCall([&]() -> DWORD { return HashTable().Remove(hash) ? 0 : ERROR_INVALID_PARAMETER; });
}

}  // extern "C"
