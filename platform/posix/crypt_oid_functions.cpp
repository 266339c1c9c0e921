// The in-process table of OID functions: named sets, each holding functions
// installed for object identifiers. The provider's own key import and export
// functions are installed when the table is first used.
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/posix/crypt_call.h"
#include "platform/posix/crypt_export_encrypt_key.h"
#include "platform/posix/crypt_import_encrypt_key.h"

namespace cmskit {
namespace posix {

namespace {

// Values below 0x10000 in place of an OID text are numeric identifiers.
std::string OidKey(LPCSTR oid) {
  const uintptr_t value = reinterpret_cast<uintptr_t>(oid);
  return value <= 0xFFFF ? "#" + std::to_string(value) : std::string(oid);
}

// Certificate and message encoding types are separate bits; an entry serves
// a request that shares any of them.
bool EncodingMatches(DWORD installed, DWORD requested) {
  return installed == requested || (installed & requested) != 0;
}

class OidFunctionRegistry {
 public:
  static OidFunctionRegistry& Get() {
    static auto* registry = new OidFunctionRegistry();
    return *registry;
  }

  HCRYPTOIDFUNCSET InitSet(LPCSTR name) {
    std::lock_guard<std::mutex> lock(mutex_);
    return FindOrAddSet(name);
  }

  DWORD Install(DWORD encodingType, LPCSTR name, DWORD count, const CRYPT_OID_FUNC_ENTRY* entries,
                DWORD flags) {
    std::vector<Entry> added;
    for (DWORD i = 0; i < count; ++i) {
      if (!entries[i].pszOID || !entries[i].pvFuncAddr) return E_INVALIDARG;
      added.push_back(Entry{encodingType, OidKey(entries[i].pszOID), entries[i].pvFuncAddr});
    }
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Entry>& list = FindOrAddSet(name)->entries;
    // Lookups take the first match: "before" entries override what is there.
    list.insert(flags & CRYPT_INSTALL_OID_FUNC_BEFORE_FLAG ? list.begin() : list.end(), added.begin(),
                added.end());
    return 0;
  }

  DWORD Lookup(HCRYPTOIDFUNCSET set, DWORD encodingType, LPCSTR oid, void** function,
               HCRYPTOIDFUNCADDR* handle) {
    const std::string key = OidKey(oid);
    std::lock_guard<std::mutex> lock(mutex_);
    const FunctionSet* known = KnownSet(set);
    if (!known) return E_INVALIDARG;
    for (const Entry& entry : known->entries) {
      if (entry.oid != key || !EncodingMatches(entry.encodingType, encodingType)) continue;
      const uintptr_t token = ++lastToken_;
      tokens_.insert(token);
      *function = entry.function;
      *handle = reinterpret_cast<HCRYPTOIDFUNCADDR>(token);
      return 0;
    }
    return ERROR_FILE_NOT_FOUND;
  }

  DWORD Free(HCRYPTOIDFUNCADDR handle) {
    if (!handle) return 0;
    std::lock_guard<std::mutex> lock(mutex_);
    return tokens_.erase(reinterpret_cast<uintptr_t>(handle)) ? 0 : E_INVALIDARG;
  }

 private:
  struct Entry {
    DWORD encodingType;
    std::string oid;
    void* function;
  };
  struct FunctionSet {
    std::string name;
    std::vector<Entry> entries;
  };

  OidFunctionRegistry() {
    const std::vector<CRYPT_OID_FUNC_ENTRY> imports = DefaultImportFunctions();
    Install(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC,
            static_cast<DWORD>(imports.size()), imports.data(), 0);
    const std::vector<CRYPT_OID_FUNC_ENTRY> exports = DefaultExportFunctions();
    Install(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, CMSG_OID_EXPORT_ENCRYPT_KEY_FUNC,
            static_cast<DWORD>(exports.size()), exports.data(), 0);
  }

  FunctionSet* FindOrAddSet(LPCSTR name) {
    for (FunctionSet& set : sets_) {
      if (set.name == name) return &set;
    }
    sets_.push_back(FunctionSet{name, {}});
    return &sets_.back();
  }

  const FunctionSet* KnownSet(HCRYPTOIDFUNCSET handle) const {
    for (const FunctionSet& set : sets_) {
      if (&set == handle) return &set;
    }
    return nullptr;
  }

  std::mutex mutex_;
  std::deque<FunctionSet> sets_;  // a deque keeps each set at its address, which is its handle
  std::unordered_set<uintptr_t> tokens_;
  uintptr_t lastToken_ = 0;
};

}  // namespace

}  // namespace posix
}  // namespace cmskit

using cmskit::posix::OidFunctionRegistry;
using cmskit::posix::RunCall;

extern "C" {

HCRYPTOIDFUNCSET CryptInitOIDFunctionSet(LPCSTR funcName, DWORD /*flags*/) {
  HCRYPTOIDFUNCSET set = nullptr;
  RunCall([&]() -> DWORD {
    if (!funcName) return E_INVALIDARG;
    set = OidFunctionRegistry::Get().InitSet(funcName);
    return 0;
  });
  return set;
}

BOOL CryptInstallOIDFunctionAddress(HMODULE /*module*/, DWORD encodingType, LPCSTR funcName, DWORD funcCount,
                                    const void* funcEntries, DWORD flags) {
  return RunCall([&]() -> DWORD {
    if (!funcName || (funcCount && !funcEntries)) return E_INVALIDARG;
    return OidFunctionRegistry::Get().Install(encodingType, funcName, funcCount,
                                              static_cast<const CRYPT_OID_FUNC_ENTRY*>(funcEntries), flags);
  });
}

BOOL CryptGetOIDFunctionAddress(HCRYPTOIDFUNCSET funcSet, DWORD encodingType, LPCSTR oid, DWORD /*flags*/,
                                void** funcAddr, HCRYPTOIDFUNCADDR* funcAddrHandle) {
  return RunCall([&]() -> DWORD {
    if (!funcAddr || !funcAddrHandle) return E_INVALIDARG;
    *funcAddr = nullptr;
    *funcAddrHandle = nullptr;
    if (!oid) return E_INVALIDARG;
    return OidFunctionRegistry::Get().Lookup(funcSet, encodingType, oid, funcAddr, funcAddrHandle);
  });
}

BOOL CryptFreeOIDFunctionAddress(HCRYPTOIDFUNCADDR funcAddrHandle, DWORD /*flags*/) {
  return RunCall([&]() -> DWORD { return OidFunctionRegistry::Get().Free(funcAddrHandle); });
}

}  // extern "C"
