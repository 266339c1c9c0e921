// DecryptContent: the encrypted octets of an EncryptedContentInfo, held in
// memory or left in the message file, as one primitive string or as pieces,
// decrypted into a caller's buffer or streamed into a file.
//
// The Final flag of each platform call is fixed per path and must stay in
// step with the encrypting side: a primitive string is final at its end (in a
// file: its last partial 4096-byte block, none when there is no partial
// block); pieces towards a file are one stream and never final; pieces
// towards memory are each a complete message and each final.
#include <cstring>

#include "cmskit/asn_record.h"
#include "cmskit/key_transport.h"
#include "cmskit/status.h"
#include "enveloped/enveloped_support.h"
#include "platform/win32.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr char kOrigin[] = "DecryptContent";
constexpr DWORD kBlock = 4096;
constexpr DWORD kOutOfRoom = 0x8007000E;  // E_OUTOFMEMORY
constexpr DWORD kFunctionFailed = 1627;

DWORD LastErrorOr(DWORD fallback) {
  const DWORD code = GetLastError();
  return code != 0 ? code : fallback;
}

// A file call failed: the file's own status mapped, else `fallbackStatus`.
DWORD FileFailure(const CTOOFile& file, int fallbackStatus) {
  return StatusToWin32(file.GetStatus() != 0 ? file.GetStatus() : fallbackStatus);
}

// Decrypts `length` bytes of `data` in place; `length` becomes the plaintext
// length. Returns 0 or the platform's code.
DWORD Decrypt(HCRYPTKEY key, bool final, BYTE* data, DWORD& length) {
  // An empty piece still goes through the platform, never with a null buffer.
  BYTE empty = 0;
  const DWORD given = length;
  if (!CryptDecrypt(key, 0, final ? TRUE : FALSE, 0, data ? data : &empty, &length))
    return LastErrorOr(kFunctionFailed);
  if (length > given) length = given;
  return 0;
}

DWORD Write(CTOOFile& output, const BYTE* data, DWORD length) {
  if (length == 0 || output.Write(data, length) == length) return 0;
  return FileFailure(output, kStatusWriteError);
}

// The caller's range [begin, end) of out.data, filled from its start;
// out.end moves only when everything fitted.
class MemoryTarget {
 public:
  explicit MemoryTarget(ToSignStruct64& out)
      : out_(out), room_(out.end >= out.begin ? out.end - out.begin : 0) {}

  DWORD Append(const BYTE* data, DWORD length) {
    if (written_ + length > room_) return kOutOfRoom;
    if (length == 0) return 0;
    if (!out_.data) return ERROR_BAD_ARGUMENTS;
    memcpy(static_cast<BYTE*>(out_.data) + out_.begin + written_, data, length);
    written_ += length;
    return 0;
  }
  void Commit() { out_.end = out_.begin + written_; }

 private:
  ToSignStruct64& out_;
  uint64_t room_;
  uint64_t written_ = 0;
};

// One piece element, parsed where it stands; its value is copied into `work`
// for decryption in place. Parser failures (the end of the octets among
// them) leave as XTOOStatus.
void TakeValue(CASNTBaseRecord& piece, IdentObj& work) {
  const IdentObj& encoded = piece.GetEncodedRef(nullptr);
  const ASNTElementInfo& info = piece.GetInfo();
  const uint64_t header = static_cast<uint64_t>(info.contents - encoded.data());
  uint64_t length = info.length;
  if (info.length == kASNTIndefinite) length = encoded.size() - header >= 2 ? encoded.size() - header - 2 : 0;
  if (header + length > encoded.size()) ASNTRaise(kStatusCorrupt, kOrigin);
  work.SetData(info.contents, static_cast<uint32_t>(length));
}

DWORD MemoryPiece(const IdentObj& octets, uint64_t position, IdentObj& work) {
  const uint64_t available = position < octets.size() ? octets.size() - position : 0;
  CASNTBaseRecord piece;
  const DWORD size = piece.ReadFromMemory(available ? octets.data() + position : nullptr,
                                          static_cast<DWORD>(available), nullptr);
  TakeValue(piece, work);
  return size;
}

// One primitive string from memory into a file: one final call.
DWORD MemoryStringToFile(HCRYPTKEY key, const EncryptedContentInfo& eci, CTOOFile& output) {
  IdentObj work = eci.encryptedContent;
  DWORD length = work.size();
  if (const DWORD code = Decrypt(key, true, work.data(), length)) return code;
  return Write(output, work.data(), length);
}

// Pieces from memory into a file, none final. The bound deliberately comes
// from contentLength in 32-bit arithmetic: for octets read from memory
// (contentLength 0) it is 0xFFFFFFFE and the walk ends when the parser fails
// at the end of the octets.
DWORD MemoryPiecesToFile(HCRYPTKEY key, const EncryptedContentInfo& eci, CTOOFile& output) {
  const DWORD bound = eci.contentLength - 2;
  IdentObj work;
  for (uint64_t position = 0; position < bound;) {
    position += MemoryPiece(eci.encryptedContent, position, work);
    DWORD length = work.size();
    if (const DWORD code = Decrypt(key, false, work.data(), length)) return code;
    if (const DWORD code = Write(output, work.data(), length)) return code;
  }
  return 0;
}

// One primitive string from a file into a file: whole 4096-byte blocks non-
// final, then the remainder final. A length that is a whole multiple of 4096
// gets no final call. A failed block ends the loop; the remainder is still
// read from where the loop stopped and decrypted.
DWORD FileStringToFile(HCRYPTKEY key, uint64_t contentLength, CTOOFile& input, CTOOFile& output) {
  BYTE block[kBlock];
  DWORD failed = 0;
  for (uint64_t left = contentLength / kBlock; left != 0; --left) {
    if (input.Read(block, kBlock) != kBlock) return FileFailure(input, kStatusReadError);
    DWORD length = kBlock;
    failed = Decrypt(key, false, block, length);
    if (failed != 0) break;
    if (const DWORD code = Write(output, block, length)) return code;
  }
  const DWORD rest = static_cast<DWORD>(contentLength % kBlock);
  if (rest == 0) return failed;
  if (input.Read(block, rest) != rest) return FileFailure(input, kStatusReadError);
  DWORD length = rest;
  if (const DWORD code = Decrypt(key, true, block, length)) return code;
  if (const DWORD code = Write(output, block, length)) return code;
  return failed;
}

// Pieces from a file into a file, none final, one piece in memory at a time.
DWORD FilePiecesToFile(HCRYPTKEY key, const EncryptedContentInfo& eci, CTOOFile& input, CTOOFile& output) {
  IdentObj work;
  const uint64_t offset = eci.GetContentOffset64(), length = eci.GetContentLength64();
  for (uint64_t consumed = 0; consumed + 2 < length;) {
    CASNTBaseRecord piece;
    // The record reader checks a 32-bit position against the file's end;
    // beyond 4 GiB it takes the stream's own.
    const uint64_t at = offset + consumed;
    consumed += piece.ReadFromFile(input, at < 0xFFFFFFFFull ? static_cast<DWORD>(at) : 0xFFFFFFFF, nullptr);
    TakeValue(piece, work);
    DWORD length = work.size();
    if (const DWORD code = Decrypt(key, false, work.data(), length)) return code;
    if (const DWORD code = Write(output, work.data(), length)) return code;
  }
  return 0;
}

// The message file, open for reading at the content's first octet.
DWORD OpenSource(const EncryptedContentInfo& eci, CTOOFile& input) {
  if (eci.fileName.IsEmpty()) return ERROR_BAD_ARGUMENTS;
  input.Open(eci.fileName.c_str(), "rbc");
  if (!input.IsOpen()) return FileFailure(input, kStatusOpenFailed);
  if (input.Seek64(static_cast<int64_t>(eci.GetContentOffset64()), SEEK_SET) != 0)
    return FileFailure(input, kStatusReadError);
  return 0;
}

DWORD DecryptToFile(HCRYPTKEY key, EncryptedContentInfo& eci, const char* target) {
  if (!target) return ERROR_BAD_ARGUMENTS;
  CTOOFile output(target, "wbc");
  if (!output.IsOpen()) return FileFailure(output, kStatusOpenFailed);
  const bool pieces = (eci.flags & EncryptedContentInfo::kContentConstructed) != 0;
  DWORD code = 0;
  if (!(eci.flags & EncryptedContentInfo::kContentInFile)) {
    code = pieces ? MemoryPiecesToFile(key, eci, output) : MemoryStringToFile(key, eci, output);
  } else {
    CTOOFile input;
    code = OpenSource(eci, input);
    if (code == 0)
      code = pieces ? FilePiecesToFile(key, eci, input, output)
                    : FileStringToFile(key, eci.GetContentLength64(), input, output);
  }
  if (code == 0 && !output.Flush()) code = FileFailure(output, kStatusWriteError);
  return code;
}

// Memory output decrypts from memory: file content is loaded first and kept
// in the object.
DWORD LoadContent(EncryptedContentInfo& eci) {
  // The octets are held in one IdentObj.
  if (eci.GetContentLength64() > 0xFFFFFFFFull) return kErrorFileTooLarge;
  CTOOFile input;
  if (const DWORD code = OpenSource(eci, input)) return code;
  const uint64_t fileLength = input.GetLength64();
  if (input.IsError() || eci.GetContentOffset64() + eci.GetContentLength64() > fileLength)
    return FileFailure(input, kStatusReadError);
  if (input.Seek64(static_cast<int64_t>(eci.GetContentOffset64()), SEEK_SET) != 0)
    return FileFailure(input, kStatusReadError);
  IdentObj content;
  content.Allocate(static_cast<uint32_t>(eci.GetContentLength64()));
  if (input.Read(content.data(), content.size()) != content.size())
    return FileFailure(input, kStatusReadError);
  eci.encryptedContent = content;
  return 0;
}

DWORD StringToMemory(HCRYPTKEY key, const IdentObj& octets, MemoryTarget& target) {
  IdentObj work = octets;
  DWORD length = work.size();
  if (const DWORD code = Decrypt(key, true, work.data(), length)) return code;
  return target.Append(work.data(), length);
}

// Every piece final: each one is decrypted as a message of its own.
DWORD PiecesToMemory(HCRYPTKEY key, const IdentObj& octets, MemoryTarget& target) {
  IdentObj work;
  for (uint64_t position = 0; position + 2 < octets.size();) {
    position += MemoryPiece(octets, position, work);
    DWORD length = work.size();
    if (const DWORD code = Decrypt(key, true, work.data(), length)) return code;
    if (const DWORD code = target.Append(work.data(), length)) return code;
  }
  return 0;
}

DWORD DecryptToMemory(HCRYPTKEY key, EncryptedContentInfo& eci, ToSignStruct64& out) {
  if (eci.flags & EncryptedContentInfo::kContentInFile) {
    if (const DWORD code = LoadContent(eci)) return code;
  }
  MemoryTarget target(out);
  const bool pieces = (eci.flags & EncryptedContentInfo::kContentConstructed) != 0;
  const DWORD code = pieces ? PiecesToMemory(key, eci.encryptedContent, target)
                            : StringToMemory(key, eci.encryptedContent, target);
  if (code == 0) target.Commit();
  return code;
}

DWORD DecryptAny(HCRYPTKEY key, EncryptedContentInfo& eci, ToSignStruct64& out) {
  if (eci.GetContentLength64() != 0 && !out.data) return ERROR_BAD_ARGUMENTS;
  return (out.flags & ToSignStruct::kInFile) ? DecryptToFile(key, eci, static_cast<const char*>(out.data))
                                             : DecryptToMemory(key, eci, out);
}

bool Deliver(DWORD code) {
  if (code == 0) return true;
  SetLastError(code);
  return false;
}

}  // namespace

bool DecryptContent(HCRYPTKEY key, EncryptedContentInfo& eci, ToSignStruct& out) {
  if (eci.GetContentOffset64() > 0xFFFFFFFFull || eci.GetContentLength64() > 0xFFFFFFFFull)
    return Deliver(kErrorFileTooLarge);
  // The caller's range as plain numbers: here all ones is no marker.
  ToSignStruct64 wide;
  wide.flags = out.flags;
  wide.data = out.data;
  wide.begin = out.begin;
  wide.end = out.end;
  const DWORD code = DecryptAny(key, eci, wide);
  out.end = static_cast<DWORD>(wide.end);
  return Deliver(code);
}

bool DecryptContent64(HCRYPTKEY key, EncryptedContentInfo& eci, ToSignStruct64& out) {
  return Deliver(DecryptAny(key, eci, out));
}

}  // namespace cmskit
