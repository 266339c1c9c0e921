// Providers: acquiring one from a key file, releasing it, and random numbers.
#include "platform/posix/crypt_provider.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "platform/posix/crypt_backends.h"
#include "platform/posix/crypt_call.h"

namespace cmskit {
namespace posix {

namespace {

constexpr uint16_t kProviderHandleTag = 0x5056;
constexpr DWORD kAllowedFlags = CRYPT_VERIFYCONTEXT | CRYPT_SILENT;
// Key files are small; anything larger is not a key.
constexpr long kMaxKeyFileSize = 1 << 20;
constexpr DWORD kRandomPiece = 1 << 20;

struct FileCloser {
  void operator()(FILE* file) const { fclose(file); }
};

bool IsGostType(DWORD type) {
  return type == PROV_GOST_2001_DH || type == PROV_GOST_2012_256 || type == PROV_GOST_2012_512;
}

bool IsRsaType(DWORD type) { return type == PROV_RSA_FULL || type == PROV_RSA_AES; }

// The whole file in memory that is wiped afterwards: it holds a private key.
bool ReadKeyFile(const char* path, SecretBytes* bytes) {
  std::unique_ptr<FILE, FileCloser> file(fopen(path, "rb"));
  if (!file || fseek(file.get(), 0, SEEK_END) != 0) return false;
  const long size = ftell(file.get());
  if (size <= 0 || size > kMaxKeyFileSize || fseek(file.get(), 0, SEEK_SET) != 0) return false;
  SecretBytes content(static_cast<size_t>(size));
  if (fread(content.data(), 1, content.size(), file.get()) != content.size()) return false;
  *bytes = std::move(content);
  return true;
}

// An encrypted key file would otherwise make OpenSSL prompt on the terminal.
int RefusePassword(char*, int, int, void*) { return -1; }

PkeyPtr ParseKey(const SecretBytes& bytes) {
  static const char kPemStart[] = "-----BEGIN";
  const BYTE* end = bytes.data() + bytes.size();
  const bool pem = std::search(bytes.data(), end, kPemStart, kPemStart + sizeof(kPemStart) - 1) != end;
  BioPtr bio(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
  if (!bio) return nullptr;
  PkeyPtr key(pem ? PEM_read_bio_PrivateKey(bio.get(), nullptr, RefusePassword, nullptr)
                  : d2i_PrivateKey_bio(bio.get(), nullptr));
  ERR_clear_error();
  return key;
}

// GOST key files only parse once the engine is loaded; it is loaded only
// when a key did not parse without it.
PkeyPtr LoadKey(const char* path) {
  SecretBytes bytes;
  if (!ReadKeyFile(path, &bytes)) return nullptr;
  PkeyPtr key = ParseKey(bytes);
  if (!key && GostEngine::Get().Available()) key = ParseKey(bytes);
  return key;
}

// UTF-8 of a wide (UTF-32) text; false for values that are not characters.
bool Utf8FromWide(LPCWSTR text, std::string* utf8) {
  for (; *text; ++text) {
    const uint32_t c = static_cast<uint32_t>(*text);
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return false;
    if (c < 0x80) {
      *utf8 += static_cast<char>(c);
    } else if (c < 0x800) {
      *utf8 += static_cast<char>(0xC0 | (c >> 6));
      *utf8 += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      *utf8 += static_cast<char>(0xE0 | (c >> 12));
      *utf8 += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      *utf8 += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      *utf8 += static_cast<char>(0xF0 | (c >> 18));
      *utf8 += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      *utf8 += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      *utf8 += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return true;
}

DWORD CheckRequest(DWORD type, DWORD flags) {
  if (flags & ~kAllowedFlags) return NTE_BAD_FLAGS;
  if (!IsGostType(type) && !IsRsaType(type)) return NTE_PROV_TYPE_NOT_DEF;
  if (IsGostType(type) && !GostEngine::Get().Available()) return NTE_PROV_TYPE_NOT_DEF;
  return 0;
}

}  // namespace

HandleTable<Provider>& ProviderTable() {
  static auto* table = new HandleTable<Provider>(kProviderHandleTag);
  return *table;
}

DWORD Provider::Open(const char* container, DWORD type, DWORD flags, std::shared_ptr<Provider>* opened) {
  if (const DWORD code = CheckRequest(type, flags)) return code;
  std::shared_ptr<AsymmetricKey> key;
  if (!(flags & CRYPT_VERIFYCONTEXT)) {
    if (!container || !*container) return NTE_BAD_KEYSET;
    if (AsymmetricKey::Wrap(LoadKey(container), &key)) return NTE_BAD_KEYSET;
    if (IsGostType(type) != key->IsGost()) return NTE_BAD_KEYSET;
  }
  opened->reset(new Provider(type, std::move(key)));
  return 0;
}

bool Provider::IsGost() const { return IsGostType(type_); }

DWORD Provider::KeyFor(DWORD keySpec, std::shared_ptr<AsymmetricKey>* key) const {
  if (!key_ || (keySpec != AT_KEYEXCHANGE && keySpec != AT_SIGNATURE)) return NTE_NO_KEY;
  *key = key_;
  return 0;
}

DWORD FillRandom(BYTE* buffer, DWORD length) {
  for (DWORD done = 0; done < length;) {
    const DWORD piece = length - done < kRandomPiece ? length - done : kRandomPiece;
    if (RAND_bytes(buffer + done, static_cast<int>(piece)) != 1) {
      ERR_clear_error();
      return NTE_FAIL;
    }
    done += piece;
  }
  return 0;
}

}  // namespace posix
}  // namespace cmskit

using cmskit::posix::Provider;
using cmskit::posix::ProviderTable;
using cmskit::posix::RunCall;
using cmskit::posix::Utf8FromWide;

extern "C" {

BOOL CryptAcquireContextA(HCRYPTPROV* prov, LPCSTR container, LPCSTR /*provider*/, DWORD provType,
                          DWORD flags) {
  return RunCall([&]() -> DWORD {
    if (!prov) return ERROR_INVALID_PARAMETER;
    std::shared_ptr<Provider> opened;
    if (const DWORD code = Provider::Open(container, provType, flags, &opened)) return code;
    *prov = static_cast<HCRYPTPROV>(ProviderTable().Add(std::move(opened)));
    return 0;
  });
}

BOOL CryptAcquireContextW(HCRYPTPROV* prov, LPCWSTR container, LPCWSTR /*provider*/, DWORD provType,
                          DWORD flags) {
  return RunCall([&]() -> DWORD {
    std::string path;
    if (container && !Utf8FromWide(container, &path)) return ERROR_INVALID_PARAMETER;
    const char* narrow = container ? path.c_str() : nullptr;
    return CryptAcquireContextA(prov, narrow, nullptr, provType, flags) ? 0 : GetLastError();
  });
}

BOOL CryptReleaseContext(HCRYPTPROV prov, DWORD flags) {
  return RunCall([&]() -> DWORD {
    if (!ProviderTable().Remove(prov)) return ERROR_INVALID_PARAMETER;
    return flags ? NTE_BAD_FLAGS : 0;
  });
}

BOOL CryptGenRandom(HCRYPTPROV prov, DWORD length, BYTE* buffer) {
  return RunCall([&]() -> DWORD {
    if (!ProviderTable().Find(prov) || (length && !buffer)) return ERROR_INVALID_PARAMETER;
    return cmskit::posix::FillRandom(buffer, length);
  });
}

}  // extern "C"
