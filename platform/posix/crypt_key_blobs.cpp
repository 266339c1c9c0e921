// Reading and writing the key blobs of session keys.
#include "platform/posix/crypt_key_blobs.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/posix/crypt_asymmetric_key.h"
#include "platform/posix/crypt_call.h"
#include "platform/posix/crypt_key_transport.h"

namespace cmskit {
namespace posix {

namespace {

constexpr size_t kBlobHeaderSize = sizeof(BLOBHEADER);

void PutHeader(BYTE type, const SymmetricKey& key, BYTE* out) {
  const BLOBHEADER header{type, CUR_BLOB_VERSION, 0, key.Algorithm().algId};
  std::memcpy(out, &header, sizeof(header));
}

DWORD ExportPlainText(const SymmetricKey& key, BYTE* data, DWORD* length) {
  const SecretBytes& bytes = key.KeyBytes();
  const DWORD keyLength = static_cast<DWORD>(bytes.size());
  SecretBytes blob(kBlobHeaderSize + sizeof(keyLength) + bytes.size());
  PutHeader(PLAINTEXTKEYBLOB, key, blob.data());
  std::memcpy(blob.data() + kBlobHeaderSize, &keyLength, sizeof(keyLength));
  std::memcpy(blob.data() + kBlobHeaderSize + sizeof(keyLength), bytes.data(), bytes.size());
  return CopyOut(blob.data(), static_cast<DWORD>(blob.size()), data, length);
}

// The exchange key for a SIMPLEBLOB: an RSA public (or private) key.
DWORD FindExchangeKey(HCRYPTKEY handle, std::shared_ptr<AsymmetricKey>* key) {
  *key = AsymmetricKeyTable().Find(handle);
  if (!*key) return handle == 0 || KeyTable().Find(handle) ? NTE_BAD_KEY : ERROR_INVALID_PARAMETER;
  return (*key)->Family() == KeyFamily::kRsa ? 0 : NTE_BAD_KEY;
}

DWORD ExportSimple(const SymmetricKey& key, HCRYPTKEY exchangeHandle, BYTE* data, DWORD* length) {
  std::shared_ptr<AsymmetricKey> exchange;
  if (const DWORD code = FindExchangeKey(exchangeHandle, &exchange)) return code;
  const ALG_ID exchangeAlgorithm = CALG_RSA_KEYX;
  const DWORD modulusBytes = exchange->SignatureSize();
  const DWORD size = static_cast<DWORD>(kBlobHeaderSize + sizeof(exchangeAlgorithm)) + modulusBytes;
  // The size is known without encrypting anything.
  DWORD sizeCode = 0;
  if (SizeOnly(size, data, length, &sizeCode)) return sizeCode;
  std::vector<BYTE> wrapped;
  if (const DWORD code = WrapContentKey(*exchange, key.KeyBytes(), &wrapped)) return code;
  if (wrapped.size() != modulusBytes) return NTE_FAIL;
  PutHeader(SIMPLEBLOB, key, data);
  std::memcpy(data + kBlobHeaderSize, &exchangeAlgorithm, sizeof(exchangeAlgorithm));
  std::reverse_copy(wrapped.begin(), wrapped.end(), data + kBlobHeaderSize + sizeof(exchangeAlgorithm));
  *length = size;
  return 0;
}

}  // namespace

DWORD ImportPlainTextKey(const BYTE* data, DWORD length, DWORD flags, std::shared_ptr<SymmetricKey>* key) {
  BLOBHEADER header;
  DWORD keyLength;
  if (length < sizeof(header) + sizeof(keyLength)) return NTE_BAD_DATA;
  std::memcpy(&header, data, sizeof(header));
  std::memcpy(&keyLength, data + sizeof(header), sizeof(keyLength));
  if (header.bType != PLAINTEXTKEYBLOB) return NTE_BAD_TYPE;
  if (header.bVersion != CUR_BLOB_VERSION) return NTE_BAD_VER;
  if (uint64_t{length} < sizeof(header) + sizeof(keyLength) + uint64_t{keyLength}) return NTE_BAD_DATA;
  const CipherAlgorithm* algorithm = AlgorithmById(header.aiKeyAlg);
  if (!algorithm) return NTE_BAD_ALGID;
  KeyOptions options;
  options.exportable = (flags & CRYPT_EXPORTABLE) != 0;
  return SymmetricKey::Create(*algorithm, data + sizeof(header) + sizeof(keyLength), keyLength, options, key);
}

DWORD ExportKeyBlob(const SymmetricKey& key, HCRYPTKEY exchangeKey, DWORD blobType, BYTE* data,
                    DWORD* length) {
  if (!length) return ERROR_INVALID_PARAMETER;
  if (blobType != PLAINTEXTKEYBLOB && blobType != SIMPLEBLOB) return NTE_BAD_TYPE;
  if (!key.Exportable()) return NTE_BAD_KEY_STATE;
  if (blobType == SIMPLEBLOB) return ExportSimple(key, exchangeKey, data, length);
  return exchangeKey ? NTE_BAD_KEY : ExportPlainText(key, data, length);
}

}  // namespace posix
}  // namespace cmskit
