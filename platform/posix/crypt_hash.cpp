// Hash objects: the table of digests and the streaming context.
#include "platform/posix/crypt_hash.h"

#include <openssl/err.h>
#include <openssl/obj_mac.h>

#include <cstring>

#include "platform/posix/crypt_backends.h"
#include "platform/posix/crypt_call.h"

namespace cmskit {
namespace posix {

namespace {

constexpr uint16_t kHashHandleTag = 0x4853;

const HashAlgorithm kHashAlgorithms[] = {
    {CALG_MD5, "MD5", 0, 16, HashFamily::kClassic},
    {CALG_SHA1, "SHA1", 0, 20, HashFamily::kClassic},
    {CALG_SHA_256, "SHA2-256", 0, 32, HashFamily::kClassic},
    {CALG_SHA_384, "SHA2-384", 0, 48, HashFamily::kClassic},
    {CALG_SHA_512, "SHA2-512", 0, 64, HashFamily::kClassic},
    {CALG_GR3411, nullptr, NID_id_GostR3411_94, 32, HashFamily::kGost94},
    {CALG_GR3411_2012_256, nullptr, NID_id_GostR3411_2012_256, 32, HashFamily::kGost2012_256},
    {CALG_GR3411_2012_512, nullptr, NID_id_GostR3411_2012_512, 64, HashFamily::kGost2012_512},
};

DWORD DwordOut(DWORD value, BYTE* data, DWORD* length) {
  return CopyOut(&value, sizeof(value), data, length);
}

}  // namespace

const HashAlgorithm* HashAlgorithmById(ALG_ID algId) {
  for (const auto& algorithm : kHashAlgorithms) {
    if (algorithm.algId == algId) return &algorithm;
  }
  return nullptr;
}

HandleTable<HashObject>& HashTable() {
  static auto* table = new HandleTable<HashObject>(kHashHandleTag);
  return *table;
}

DWORD HashObject::Create(const HashAlgorithm& algorithm, std::shared_ptr<Provider> provider,
                         std::shared_ptr<HashObject>* created) {
  std::shared_ptr<HashObject> hash(new HashObject(algorithm, std::move(provider)));
  ENGINE* engine = nullptr;
  if (algorithm.openSslName) {
    hash->fetched_ = OpenSslLibrary::Get().FetchDigest(algorithm.openSslName);
    hash->md_ = hash->fetched_.get();
  } else if (GostEngine::Get().Available()) {
    engine = GostEngine::Get().Engine();
    hash->md_ = GostEngine::Get().Digest(algorithm.engineNid);
  }
  if (!hash->md_) return NTE_BAD_ALGID;
  hash->context_.reset(EVP_MD_CTX_new());
  if (!hash->context_) return NTE_NO_MEMORY;
  if (!EVP_DigestInit_ex(hash->context_.get(), hash->md_, engine)) {
    ERR_clear_error();
    return NTE_BAD_ALGID;
  }
  *created = std::move(hash);
  return 0;
}

DWORD HashObject::Update(const BYTE* data, DWORD length) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!context_) return NTE_BAD_HASH_STATE;
  if (length == 0) return 0;
  if (!EVP_DigestUpdate(context_.get(), data, length)) {
    ERR_clear_error();
    return NTE_FAIL;
  }
  return 0;
}

DWORD HashObject::FinishLocked() {
  if (!context_) return 0;
  BYTE digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  const bool done = EVP_DigestFinal_ex(context_.get(), digest, &size) && size == algorithm_.size;
  context_.reset();
  if (!done) {
    ERR_clear_error();
    return NTE_FAIL;
  }
  value_.assign(digest, digest + size);
  return 0;
}

DWORD HashObject::Finish(std::vector<BYTE>* value) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (const DWORD code = FinishLocked()) return code;
  *value = value_;
  return 0;
}

DWORD HashObject::GetParam(DWORD param, BYTE* data, DWORD* length) {
  if (!length) return ERROR_INVALID_PARAMETER;
  switch (param) {
    case HP_ALGID:
      return DwordOut(algorithm_.algId, data, length);
    case HP_HASHSIZE:
      return DwordOut(algorithm_.size, data, length);
    case HP_HASHVAL: {
      // Asking for the size leaves the computation open.
      if (!data) return CopyOut(nullptr, algorithm_.size, nullptr, length);
      std::lock_guard<std::mutex> lock(mutex_);
      if (const DWORD code = FinishLocked()) return code;
      return CopyOut(value_.data(), algorithm_.size, data, length);
    }
    default:
      return NTE_BAD_TYPE;
  }
}

DWORD HashObject::SetParam(DWORD param, const BYTE* data) {
  if (param != HP_HASHVAL) return NTE_BAD_TYPE;
  if (!data) return ERROR_INVALID_PARAMETER;
  std::lock_guard<std::mutex> lock(mutex_);
  context_.reset();
  value_.assign(data, data + algorithm_.size);
  return 0;
}

}  // namespace posix
}  // namespace cmskit
