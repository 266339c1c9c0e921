// Session keys: parameters and the streaming cipher context.
#include "platform/posix/crypt_symmetric_key.h"

#include <openssl/err.h>

#include <cstring>

#include "platform/posix/crypt_backends.h"
#include "platform/posix/crypt_call.h"
#include "platform/posix/crypt_provider.h"

namespace cmskit {
namespace posix {

namespace {

constexpr uint16_t kKeyHandleTag = 0x4B59;
// EVP takes int lengths: long inputs go through in pieces of this size.
constexpr DWORD kMaxPiece = 1u << 30;
constexpr DWORD kMaxEffectiveBits = 1024;
constexpr size_t kRc2GeneratedBytes = 16;
// Longer than any parameter set's dotted text.
constexpr size_t kMaxOidText = 64;

DWORD DwordOut(DWORD value, BYTE* data, DWORD* length) {
  return CopyOut(&value, sizeof(value), data, length);
}

DWORD ReadDword(const BYTE* data) {
  DWORD value;
  std::memcpy(&value, data, sizeof(value));
  return value;
}

// PKCS #5 padding at the end of a final block run: its length, or 0 when bad.
DWORD PaddingLength(const BYTE* data, DWORD length, DWORD blockBytes) {
  if (length == 0) return 0;
  const BYTE pad = data[length - 1];
  if (pad == 0 || pad > blockBytes || pad > length) return 0;
  for (DWORD i = 1; i <= pad; ++i) {
    if (data[length - i] != pad) return 0;
  }
  return pad;
}

// DES keys carry odd parity in the low bit of every byte.
void SetOddParity(SecretBytes* key) {
  for (size_t i = 0; i < key->size(); ++i) {
    BYTE& b = key->data()[i];
    int ones = 0;
    for (BYTE rest = b >> 1; rest; rest >>= 1) ones += rest & 1;
    b = static_cast<BYTE>((b & 0xFE) | (ones % 2 == 0 ? 1 : 0));
  }
}

}  // namespace

HandleTable<SymmetricKey>& KeyTable() {
  static auto* table = new HandleTable<SymmetricKey>(kKeyHandleTag);
  return *table;
}

SymmetricKey::SymmetricKey(const CipherAlgorithm& algorithm, CipherPtr cipher, const BYTE* key,
                           size_t keyLength)
    : algorithm_(algorithm),
      cipher_(std::move(cipher)),
      key_(key, keyLength),
      iv_(algorithm.ivBytes, 0),
      effectiveBits_(static_cast<DWORD>(keyLength * 8)) {
  if (algorithm.source == CipherSource::kGost) gostParamSet_ = kDefaultGostParamSet;
}

DWORD SymmetricKey::Create(const CipherAlgorithm& algorithm, const BYTE* key, size_t keyLength,
                           const KeyOptions& options, std::shared_ptr<SymmetricKey>* created) {
  if (keyLength < algorithm.minKeyBytes || keyLength > algorithm.maxKeyBytes) return NTE_BAD_LEN;
  CipherPtr cipher;
  if (algorithm.source == CipherSource::kGost) {
    if (!GostEngine::Get().Available()) return NTE_BAD_ALGID;
  } else {
    cipher = OpenSslLibrary::Get().FetchCipher(algorithm);
    if (!cipher) return NTE_BAD_ALGID;
  }
  std::shared_ptr<SymmetricKey> result(new SymmetricKey(algorithm, std::move(cipher), key, keyLength));
  if (!options.gostParamSet.empty()) {
    if (algorithm.source != CipherSource::kGost || !IsKnownGostParamSet(options.gostParamSet.c_str()))
      return NTE_BAD_ALGID;
    result->gostParamSet_ = options.gostParamSet;
  }
  if (options.effectiveBits) {
    if (algorithm.algId != CALG_RC2 || options.effectiveBits > kMaxEffectiveBits) return NTE_BAD_DATA;
    result->effectiveBits_ = options.effectiveBits;
  }
  result->exportable_ = options.exportable;
  *created = std::move(result);
  return 0;
}

DWORD SymmetricKey::Generate(const CipherAlgorithm& algorithm, DWORD flags,
                             std::shared_ptr<SymmetricKey>* created) {
  if (flags & 0xFFFF & ~DWORD{CRYPT_EXPORTABLE}) return NTE_BAD_FLAGS;
  const DWORD bits = flags >> 16;
  size_t bytes = algorithm.algId == CALG_RC2 ? kRc2GeneratedBytes : algorithm.maxKeyBytes;
  if (bits) {
    bytes = bits / 8;
    if (bits % 8 || bytes < algorithm.minKeyBytes || bytes > algorithm.maxKeyBytes) return NTE_BAD_FLAGS;
  }
  SecretBytes key(bytes);
  if (const DWORD code = FillRandom(key.data(), static_cast<DWORD>(bytes))) return code;
  if (algorithm.algId == CALG_3DES) SetOddParity(&key);
  KeyOptions options;
  options.exportable = (flags & CRYPT_EXPORTABLE) != 0;
  return Create(algorithm, key.data(), key.size(), options, created);
}

std::shared_ptr<SymmetricKey> SymmetricKey::Duplicate() const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (cipher_) EVP_CIPHER_up_ref(cipher_.get());
  std::shared_ptr<SymmetricKey> copy(
      new SymmetricKey(algorithm_, CipherPtr(cipher_.get()), key_.data(), key_.size()));
  copy->iv_ = iv_;
  copy->gostParamSet_ = gostParamSet_;
  copy->mixMode_ = mixMode_;
  copy->effectiveBits_ = effectiveBits_;
  copy->exportable_ = exportable_;
  return copy;
}

DWORD SymmetricKey::Decrypt(bool final, BYTE* data, DWORD* length) {
  if (!length || (*length && !data)) return ERROR_INVALID_PARAMETER;
  std::lock_guard<std::mutex> lock(mutex_);
  const DWORD blockBytes = algorithm_.blockBytes;
  DWORD size = *length;
  if (blockBytes && (size % blockBytes != 0 || (final && size == 0))) {
    if (final) End();
    return NTE_BAD_DATA;
  }
  if (const DWORD code = Begin(State::kDecrypting)) return code;
  if (const DWORD code = Transform(data, size)) {
    End();
    return code;
  }
  if (final) {
    End();
    if (blockBytes) {
      const DWORD pad = PaddingLength(data, size, blockBytes);
      if (pad == 0) return NTE_BAD_DATA;
      size -= pad;
    }
  }
  *length = size;
  return 0;
}

DWORD SymmetricKey::Encrypt(bool final, BYTE* data, DWORD* length, DWORD bufferLength) {
  if (!length) return ERROR_INVALID_PARAMETER;
  std::lock_guard<std::mutex> lock(mutex_);
  const DWORD blockBytes = algorithm_.blockBytes;
  const DWORD size = *length;
  if (blockBytes && !final && size % blockBytes != 0) return NTE_BAD_DATA;
  const uint64_t needed = blockBytes && final ? (uint64_t{size} / blockBytes + 1) * blockBytes : size;
  if (needed > UINT32_MAX) return NTE_BAD_LEN;
  if (!data) {
    *length = static_cast<DWORD>(needed);
    return 0;
  }
  if (bufferLength < needed) {
    *length = static_cast<DWORD>(needed);
    return ERROR_MORE_DATA;
  }
  if (const DWORD code = Begin(State::kEncrypting)) return code;
  if (needed > size) std::memset(data + size, static_cast<int>(needed - size), needed - size);
  const DWORD code = Transform(data, static_cast<DWORD>(needed));
  if (code || final) End();
  if (code) return code;
  *length = static_cast<DWORD>(needed);
  return 0;
}

DWORD SymmetricKey::GetParam(DWORD param, BYTE* data, DWORD* length) const {
  if (!length) return ERROR_INVALID_PARAMETER;
  std::lock_guard<std::mutex> lock(mutex_);
  const bool gost = algorithm_.source == CipherSource::kGost;
  switch (param) {
    case KP_IV:
      return CopyOut(iv_.data(), static_cast<DWORD>(iv_.size()), data, length);
    case KP_ALGID:
      return DwordOut(algorithm_.algId, data, length);
    case KP_KEYLEN:
      return DwordOut(static_cast<DWORD>(key_.size() * 8), data, length);
    case KP_BLOCKLEN:
      return DwordOut((algorithm_.blockBytes ? algorithm_.blockBytes : algorithm_.ivBytes) * 8, data, length);
    case KP_MODE:
      return DwordOut(algorithm_.mode, data, length);
    case KP_PADDING:
      return DwordOut(PKCS5_PADDING, data, length);
    case KP_EFFECTIVE_KEYLEN:
      if (algorithm_.algId != CALG_RC2) return NTE_BAD_TYPE;
      return DwordOut(effectiveBits_, data, length);
    case KP_MIXMODE:
      if (!gost) return NTE_BAD_TYPE;
      return DwordOut(mixMode_, data, length);
    case KP_CIPHEROID:
      if (!gost) return NTE_BAD_TYPE;
      return CopyOut(gostParamSet_.c_str(), static_cast<DWORD>(gostParamSet_.size() + 1), data, length);
    default:
      return NTE_BAD_TYPE;
  }
}

DWORD SymmetricKey::SetParam(DWORD param, const BYTE* data) {
  if (!data) return ERROR_INVALID_PARAMETER;
  std::lock_guard<std::mutex> lock(mutex_);
  const bool gost = algorithm_.source == CipherSource::kGost;
  switch (param) {
    case KP_IV:
      iv_.assign(data, data + algorithm_.ivBytes);
      break;
    case KP_MIXMODE:
      if (!gost) return NTE_BAD_TYPE;
      if (ReadDword(data) != CRYPT_SIMPLEMIX_MODE && ReadDword(data) != CRYPT_PROMIX_MODE)
        return NTE_BAD_DATA;
      mixMode_ = ReadDword(data);
      break;
    case KP_EFFECTIVE_KEYLEN:
      if (algorithm_.algId != CALG_RC2) return NTE_BAD_TYPE;
      if (ReadDword(data) == 0 || ReadDword(data) > kMaxEffectiveBits) return NTE_BAD_DATA;
      effectiveBits_ = ReadDword(data);
      break;
    case KP_MODE:
      if (ReadDword(data) != algorithm_.mode) return NTE_BAD_DATA;
      break;
    case KP_PADDING:
      if (ReadDword(data) != PKCS5_PADDING) return NTE_BAD_DATA;
      break;
    case KP_CIPHEROID: {
      if (!gost) return NTE_BAD_TYPE;
      const char* text = reinterpret_cast<const char*>(data);
      const size_t length = strnlen(text, kMaxOidText);
      if (length == kMaxOidText || !IsKnownGostParamSet(text)) return NTE_BAD_DATA;
      gostParamSet_.assign(text, length);
      break;
    }
    default:
      return NTE_BAD_TYPE;
  }
  End();
  return 0;
}

DWORD SymmetricKey::Begin(State direction) {
  if (state_ == direction) return 0;
  if (state_ != State::kIdle) return NTE_BAD_DATA;
  context_.reset(EVP_CIPHER_CTX_new());
  if (!context_) return NTE_NO_MEMORY;
  const bool encrypt = direction == State::kEncrypting;
  const DWORD code = cipher_ ? SetUpProviderCipher(encrypt) : SetUpGostCipher(encrypt);
  if (code) {
    ERR_clear_error();
    context_.reset();
    return code;
  }
  state_ = direction;
  return 0;
}

DWORD SymmetricKey::SetUpProviderCipher(bool encrypt) {
  EVP_CIPHER_CTX* context = context_.get();
  const int enc = encrypt ? 1 : 0;
  if (!EVP_CipherInit_ex2(context, cipher_.get(), nullptr, nullptr, enc, nullptr)) return NTE_BAD_ALGID;
  if (!EVP_CIPHER_CTX_set_key_length(context, static_cast<int>(key_.size()))) return NTE_BAD_LEN;
  if (algorithm_.algId == CALG_RC2 &&
      EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_SET_RC2_KEY_BITS, static_cast<int>(effectiveBits_), nullptr) <= 0)
    return NTE_BAD_DATA;
  EVP_CIPHER_CTX_set_padding(context, 0);  // padding is handled here, as the key's stream needs it
  if (!EVP_CipherInit_ex2(context, nullptr, key_.data(), iv_.data(), enc, nullptr)) return NTE_BAD_KEY;
  return 0;
}

DWORD SymmetricKey::SetUpGostCipher(bool encrypt) {
  const GostEngine& engine = GostEngine::Get();
  if (!engine.Available()) return NTE_BAD_ALGID;
  EVP_CIPHER_CTX* context = context_.get();
  const int enc = encrypt ? 1 : 0;
  // The parameter set and meshing can only be chosen before the key is set.
  if (!EVP_CipherInit_ex(context, engine.Cipher(), engine.Engine(), nullptr, nullptr, enc))
    return NTE_BAD_ALGID;
  if (EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_SET_SBOX, 0, const_cast<char*>(gostParamSet_.c_str())) <= 0)
    return NTE_BAD_ALGID;
  if (EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_KEY_MESH, mixMode_ == CRYPT_PROMIX_MODE ? 1 : 0, nullptr) <= 0)
    return NTE_BAD_ALGID;
  if (!EVP_CipherInit_ex(context, nullptr, nullptr, key_.data(), iv_.data(), enc)) return NTE_BAD_KEY;
  return 0;
}

DWORD SymmetricKey::Transform(BYTE* data, DWORD length) {
  for (DWORD done = 0; done < length;) {
    const DWORD piece = length - done < kMaxPiece ? length - done : kMaxPiece;
    int produced = 0;
    if (!EVP_CipherUpdate(context_.get(), data + done, &produced, data + done, static_cast<int>(piece)) ||
        produced != static_cast<int>(piece)) {
      ERR_clear_error();
      return NTE_FAIL;
    }
    done += piece;
  }
  return 0;
}

void SymmetricKey::End() {
  context_.reset();
  state_ = State::kIdle;
}

}  // namespace posix
}  // namespace cmskit
