// The certificate-context functions. Contexts are counted references, as on
// Windows; a pointer that is not a live context is refused.
#include <memory>
#include <mutex>
#include <unordered_map>

#include "platform/posix/crypt_call.h"
#include "platform/posix/crypt_certificate.h"

namespace cmskit {
namespace posix {

namespace {

class CertificateTable {
 public:
  static CertificateTable& Get() {
    static auto* table = new CertificateTable();
    return *table;
  }

  PCCERT_CONTEXT Add(std::shared_ptr<CertificateContext> context) {
    std::lock_guard<std::mutex> lock(mutex_);
    PCCERT_CONTEXT key = context->Context();
    entries_[key] = Entry{std::move(context), 1};
    return key;
  }

  std::shared_ptr<CertificateContext> Find(PCCERT_CONTEXT key) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = entries_.find(key);
    return found == entries_.end() ? nullptr : found->second.context;
  }

  bool AddReference(PCCERT_CONTEXT key) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = entries_.find(key);
    if (found == entries_.end()) return false;
    ++found->second.references;
    return true;
  }

  bool Release(PCCERT_CONTEXT key) {
    std::shared_ptr<CertificateContext> last;
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = entries_.find(key);
    if (found == entries_.end()) return false;
    if (--found->second.references == 0) {
      last = std::move(found->second.context);
      entries_.erase(found);
    }
    return true;
  }

 private:
  struct Entry {
    std::shared_ptr<CertificateContext> context;
    uint64_t references;
  };

  mutable std::mutex mutex_;
  std::unordered_map<PCCERT_CONTEXT, Entry> entries_;
};

}  // namespace

}  // namespace posix
}  // namespace cmskit

using cmskit::posix::CertificateContext;
using cmskit::posix::CertificateTable;
using cmskit::posix::RunCall;

extern "C" {

PCCERT_CONTEXT CertCreateCertificateContext(DWORD encodingType, const BYTE* encoded, DWORD encodedLength) {
  PCCERT_CONTEXT created = nullptr;
  RunCall([&]() -> DWORD {
    if (!(encodingType & X509_ASN_ENCODING) || !encoded) return E_INVALIDARG;
    std::shared_ptr<CertificateContext> context;
    if (const DWORD code = CertificateContext::Parse(encoded, encodedLength, &context)) return code;
    created = CertificateTable::Get().Add(std::move(context));
    return 0;
  });
  return created;
}

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT context) {
  if (!context || !CertificateTable::Get().AddReference(context)) {
    SetLastError(E_INVALIDARG);
    return nullptr;
  }
  return context;
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT context) {
  return RunCall([&]() -> DWORD {
    if (!context) return 0;
    return CertificateTable::Get().Release(context) ? 0 : E_INVALIDARG;
  });
}

BOOL CertSetCertificateContextProperty(PCCERT_CONTEXT context, DWORD propId, DWORD /*flags*/,
                                       const void* data) {
  return RunCall([&]() -> DWORD {
    const std::shared_ptr<CertificateContext> found = CertificateTable::Get().Find(context);
    if (!found || propId != CERT_KEY_PROV_INFO_PROP_ID) return E_INVALIDARG;
    return found->SetKeyProvInfo(static_cast<const CRYPT_KEY_PROV_INFO*>(data));
  });
}

BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT context, DWORD propId, void* data, DWORD* dataLength) {
  return RunCall([&]() -> DWORD {
    const std::shared_ptr<CertificateContext> found = CertificateTable::Get().Find(context);
    if (!found || !dataLength) return E_INVALIDARG;
    if (propId != CERT_KEY_PROV_INFO_PROP_ID) return CRYPT_E_NOT_FOUND;
    return found->GetKeyProvInfo(data, dataLength);
  });
}

}  // extern "C"
