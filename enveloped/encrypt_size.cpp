// How large a decrypted or encrypted content will be, so that callers can
// size their buffers beforehand.
#include <list>

#include "asn/asn_element.h"
#include "cmskit/encrypted_content_info.h"
#include "cmskit/status.h"
#include "enveloped/enveloped_support.h"
#include "enveloped/key_params.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr char kOrigin[] = "EncryptedContentInfo::GetEncryptSize";
constexpr uint64_t kPieceBlock = 4096;
constexpr uint64_t kPieceHeader = 4;

// The encrypting side cuts piece-form content into 4096-byte pieces and
// counts a 4-byte header for each, the last partial one included.
uint64_t EncryptedLength(uint64_t plainSize, DWORD pieceFlags) {
  uint64_t size = plainSize;
  if (pieceFlags & EncryptedContentInfo::kContentConstructed) {
    size += kPieceHeader * (plainSize / kPieceBlock);
    if (plainSize % kPieceBlock != 0) size += kPieceHeader;
  }
  return size;
}

// The content algorithm written is always GOST 28147-89 with the key's IV
// and parameter set.
uint64_t GostAlgorithmLength(const IdentObj& iv, const IdentObj& paramSet) {
  const ASNAlgorithmIdentifier algorithm(kGost28147Oid, EncodeGostParameters(iv, paramSet));
  int status = 0;
  const IdentObj encoded = algorithm.WriteData(&status);
  if (status != 0) ASNTRaise(status, kOrigin);
  return encoded.size();
}

uint64_t Measure(const EncryptedContentInfo& info, const IdentObj& iv, const IdentObj& paramSet,
                 uint64_t contentSize) {
  uint64_t inner = ASNTBuildOid(info.contentType.c_str(), info.contentType.GetLength(), kOrigin).size();
  inner += GostAlgorithmLength(iv, paramSet);
  if (contentSize != 0) {
    const uint8_t constructed =
        (info.flags & EncryptedContentInfo::kContentConstructed) ? kASNTConstructed : kASNTPrimitive;
    inner += ASNTEncodeHeader(kASNTContext, constructed, 0, contentSize).size() + contentSize;
  }
  return ASNTEncodeHeader(kASNTUniversal, kASNTConstructed, kASNTSequence, inner).size() + inner;
}

}  // namespace

DWORD EncryptedContentInfo::GetOpenTextSize() {
  const uint64_t size = GetOpenTextSize64();
  if (size <= 0xFFFFFFFFull) return static_cast<DWORD>(size);
  SetLastError(kErrorFileTooLarge);
  return 0;
}

uint64_t EncryptedContentInfo::GetOpenTextSize64() {
  return (flags & kContentInFile) ? GetContentLength64() : encryptedContent.size();
}

DWORD EncryptedContentInfo::GetEncryptSize(HCRYPTKEY key, DWORD plainSize, DWORD pieceFlags) const {
  const uint64_t size = GetEncryptSize64(key, plainSize, pieceFlags);
  if (size <= 0xFFFFFFFFull) return static_cast<DWORD>(size);
  SetLastError(kErrorFileTooLarge);
  return 0;
}

uint64_t EncryptedContentInfo::GetEncryptSize64(HCRYPTKEY key, uint64_t plainSize, DWORD pieceFlags) const {
  IdentObj paramSet, iv;
  DWORD code = 0;
  int status = CatchStatus([&] {
    code = ReadKeyParam(key, kKeyParamCipherOid, paramSet);
    if (code == 0) code = ReadKeyParam(key, KP_IV, iv);
  });
  if (status == 0 && code != 0) {
    SetLastError(code);
    return 0;
  }
  uint64_t size = 0;
  if (status == 0)
    status =
        CatchStatus([&] { size = Measure(*this, iv, paramSet, EncryptedLength(plainSize, pieceFlags)); });
  return DeliverStatus(nullptr, status) ? size : 0;
}

}  // namespace cmskit
