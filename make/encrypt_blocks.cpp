#include "make/encrypt_blocks.h"

#include <vector>

#include "asn/asn_build.h"
#include "enveloped/enveloped_support.h"

namespace cmskit {

namespace {

constexpr char kOrigin[] = "EncryptMessage";
// Whole blocks of every cipher (8 and 16 octets) and of GOST's key meshing
// (1024), large enough that the calls cost little next to the cipher.
constexpr uint32_t kChunk = 256 * 1024;
// Room for the padding block the final call adds.
constexpr uint32_t kPaddingRoom = 32;

}  // namespace

uint64_t EncryptBlocks(HCRYPTKEY key, CTOOFile& from, uint64_t length, CTOOFile& to) {
  std::vector<BYTE> buffer(kChunk + kPaddingRoom);
  uint64_t left = length, written = 0;
  do {
    const uint32_t take = left < kChunk ? static_cast<uint32_t>(left) : kChunk;
    if (take != 0 && from.Read(buffer.data(), take) != take) ASNTRaise(kStatusReadError, kOrigin);
    left -= take;
    DWORD size = take;
    if (!CryptEncrypt(key, 0, left == 0, 0, buffer.data(), &size, static_cast<DWORD>(buffer.size())))
      RaiseLastError("CryptEncrypt");
    if (size != 0 && to.Write(buffer.data(), size) != size)
      ASNTRaise(to.GetStatus() != 0 ? to.GetStatus() : kStatusWriteError, kOrigin);
    written += size;
  } while (left != 0);
  return written;
}

}  // namespace cmskit
