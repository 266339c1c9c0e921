// Every parsing entry point fed damaged copies of real messages must come back
// with a consistent result; the sanitizer build checks reads and leaks. File
// entry points see a strided subset, since file I/O is slow under Wine.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>

#include "cmskit/cmskit.h"
#include "common/test_util.h"
#include "files/base64.h"

namespace cmskit {
namespace {

using Bytes = std::string;

enum class Family { Signed, Enveloped };

// Attached, detached, two signers, key identifier, streamed BER (two kinds),
// and enveloped DER and BER from several makers; paths under the test data.
const char* const kSamples[] = {"/sweep/signed_openssl_attached.der",
                                "/sweep/signed_openssl_detached.der",
                                "/sweep/signed_openssl_two_signers.der",
                                "/sweep/signed_openssl_keyid.der",
                                "/sweep/signed_openssl_stream.der",
                                "/signed/rfc4134/4.5.bin",
                                "/signed/tk26/Signed_256.der",
                                "/enveloped/EnvelopedKTRI_512.der",
                                "/enveloped/rfc4134_5.1.bin",
                                "/enveloped/rfc4490_9.2_enveloped_keyagree.der",
                                "/decrypt/aes128.der",
                                "/sweep/enveloped_openssl_stream.der",
                                "/sweep/enveloped_crafted_indefinite.der"};

// Truncations per message (in memory: all of them here), flips, rewritten
// headers, and file variants per message and form.
constexpr size_t kMaxTruncations = 8192, kFlips = 300, kMaxHeaders = 200, kMaxFileVariants = 60;

// Where the length octets of every element sit, walking definite and
// indefinite forms alike, as far as the encoding holds together.
using LengthField = std::pair<size_t, size_t>;  // offset and size

size_t CollectLengths(const Bytes& b, size_t pos, size_t end, int depth, std::vector<LengthField>& out) {
  while (pos < end && out.size() < kMaxHeaders) {
    if (b[pos] == 0 && pos + 1 < end && b[pos + 1] == 0) return pos;
    const bool constructed = (b[pos] & 0x20) != 0;
    if ((b[pos++] & 0x1F) == 0x1F) {
      while (pos < end && (b[pos++] & 0x80)) {
      }
    }
    if (pos >= end) return end;
    const size_t at = pos;
    const uint8_t first = static_cast<uint8_t>(b[pos++]);
    uint64_t length = first;
    if (first > 0x80) {
      const size_t count = first & 0x7F;
      if (count > 8 || count > end - pos) return end;
      length = 0;
      for (size_t i = 0; i < count; ++i) length = (length << 8) | static_cast<uint8_t>(b[pos++]);
    }
    out.push_back({at, pos - at});
    const bool descend = constructed && depth < 32;
    if (first == 0x80) {
      if (!descend) return end;
      pos = CollectLengths(b, pos, end, depth + 1, out) + 2;
      continue;
    }
    if (length > end - pos) return end;
    if (descend) CollectLengths(b, pos, pos + static_cast<size_t>(length), depth + 1, out);
    pos += static_cast<size_t>(length);
  }
  return pos;
}

Bytes EncodeLength(uint64_t value) {
  if (value < 0x80) return Bytes(1, static_cast<char>(value));
  Bytes octets;
  for (; value != 0; value >>= 8) octets.insert(octets.begin(), static_cast<char>(value & 0xFF));
  return static_cast<char>(0x80 | octets.size()) + octets;
}

void AddLengthRewrites(const Bytes& input, std::vector<Bytes>& out) {
  std::vector<LengthField> fields;
  CollectLengths(input, 0, input.size(), 0, fields);
  for (const LengthField& field : fields) {
    const uint64_t rest = input.size() - field.first - field.second;
    std::vector<Bytes> replacements = {Bytes("\x80", 1), Bytes("\x81\x7F", 2),
                                       Bytes("\x84\xFF\xFF\xFF\xFF", 5), Bytes("\x89", 1)};
    for (uint64_t value :
         {uint64_t{0}, uint64_t{1}, uint64_t{0x7E}, uint64_t{0x7F}, uint64_t{0x80}, uint64_t{0x81},
          uint64_t{0xFFFFFFFF}, uint64_t{0xFFFFFFFE}, rest, rest + 1, rest + 0x100, uint64_t{1} << 32})
      replacements.push_back(EncodeLength(value));
    for (const Bytes& replacement : replacements) {
      Bytes variant = input;
      variant.replace(field.first, field.second, replacement);
      out.push_back(std::move(variant));
    }
  }
}

// Every truncation, fixed-seed flips (the same on every platform: raw
// engine output, no distributions) and, for DER, rewritten lengths.
std::vector<Bytes> Variants(const Bytes& input, bool withLengths) {
  std::vector<Bytes> out;
  for (size_t length = 0; length < input.size(); length += input.size() / kMaxTruncations + 1)
    out.push_back(input.substr(0, length));
  std::mt19937 random(20261122);
  for (size_t i = 0; i < kFlips && !input.empty(); ++i) {
    Bytes variant = input;
    const size_t at = random() % input.size();
    const uint32_t pick = random();
    variant[at] ^= static_cast<char>((pick & 3) == 0 ? 1u << ((pick >> 2) & 7) : (pick >> 8) | 1);
    out.push_back(std::move(variant));
  }
  if (withLengths) AddLengthRewrites(input, out);
  return out;
}

std::vector<Bytes> Sampled(const std::vector<Bytes>& all) {  // every k-th, at most kMaxFileVariants
  std::vector<Bytes> out;
  for (size_t i = 0; i < all.size(); i += all.size() / kMaxFileVariants + 1) out.push_back(all[i]);
  return out;
}

std::string Base64(const Bytes& bytes, bool pem) {
  const DWORD flags = pem ? kBase64WrapLines : 0;
  std::string text(Base64Encode(bytes.data(), bytes.size(), nullptr, 0, flags, 64, "\r\n"), '\0');
  text.resize(Base64Encode(bytes.data(), bytes.size(), &text[0], text.size(), flags, 64, "\r\n"));
  return pem ? "-----BEGIN CMS-----\r\n" + text + "-----END CMS-----\r\n" : text;
}

const BYTE* Data(const Bytes& bytes) { return reinterpret_cast<const BYTE*>(bytes.data()); }
DWORD Size(const Bytes& bytes) { return static_cast<DWORD>(bytes.size()); }

class MutationSweep : public ::testing::Test {
 protected:
  static void ReadInMemory(const Bytes& input, Family family) {
    int error = 0;
    SetLastError(0);
    if (family == Family::Signed) {
      SignData message;
      const bool read = message.ReadObject(Data(input), Size(input), &error);
      // Its own structural checks fail with the last error alone, *pError 0.
      EXPECT_TRUE(read ? error == 0 : GetLastError() != 0)
          << "error " << error << ", " << input.size() << " bytes";
    } else {
      EnvelopedData message;
      EXPECT_LE(message.ReadObject(Data(input), Size(input), &error), input.size());
    }
  }

  // One file write, then every file-based entry point on it (the message
  // readers only for binary forms).
  void ReadFiles(const Bytes& input, Family family, bool binary) {
    const std::string in = temp_.Path("in.bin"), out = temp_.Path("out.bin");
    cmskit_testing::WriteBytes(in, cmskit_testing::Bytes(input.begin(), input.end()));
    if (binary) {
      CTOOFile file(in.c_str(), "rb");
      ASSERT_TRUE(file.IsOpen());
      int error = 0;
      if (family == Family::Signed) {
        SignData message;
        const DWORD consumed = message.ReadObject(file, 0, &error);
        EXPECT_EQ(consumed != 0, error == 0) << "error " << error;
        EXPECT_LE(consumed, input.size());
      } else {
        EnvelopedData message;
        EXPECT_LE(message.ReadObject(file, &error), input.size());
      }
    }
    const CmsFileType type = GetFileTypeByContent(in.c_str());
    EXPECT_GE(type, CmsFileUnknown);
    EXPECT_LE(type, CmsFileSignedDetached);
    Base64FileDecode(in.c_str(), out.c_str());
    ++fileVariants_;
  }

  static void SweepSignerInfos(const Bytes& message) {
    SignData parsed;
    int error = 0;
    ASSERT_TRUE(parsed.ReadObject(Data(message), Size(message), &error)) << error;
    ASSERT_FALSE(parsed.signerInfos.empty());
    for (const IdentObj& signer : parsed.signerInfos) {
      const Bytes whole(reinterpret_cast<const char*>(signer.data()), signer.size());
      std::vector<Bytes> all = Variants(whole, true);
      all.push_back(whole);
      for (const Bytes& input : all) {
        MessageSignerInfo info;
        error = 0;
        const DWORD read = info.ReadData(input.data(), Size(input), &error);
        EXPECT_EQ(read != 0, error == 0) << "error " << error;
        EXPECT_LE(read, input.size());
        if (read != 0) info.GetSigningData(&error);
      }
    }
  }

  cmskit_testing::TempDir temp_;
  size_t fileVariants_ = 0;
};

TEST_F(MutationSweep, EveryEntryPointSurvivesDamagedMessages) {
  const auto start = std::chrono::steady_clock::now();
  size_t variants = 0;
  for (const char* path : kSamples) {
    SCOPED_TRACE(path);
    const Family family = strstr(path, "sign") ? Family::Signed : Family::Enveloped;
    const cmskit_testing::Bytes raw = cmskit_testing::ReadBytes(std::string(CMSKIT_TEST_DATA) + path);
    const Bytes message(raw.begin(), raw.end());
    ASSERT_FALSE(message.empty());
    std::vector<Bytes> all = Variants(message, true);
    all.push_back(message);
    variants += all.size();
    for (const Bytes& variant : all) ReadInMemory(variant, family);
    for (const Bytes& variant : Sampled(all)) ReadFiles(variant, family, true);
    if (family == Family::Signed) SweepSignerInfos(message);
    for (bool pem : {false, true}) {
      for (const Bytes& variant : Sampled(Variants(Base64(message, pem), false)))
        ReadFiles(variant, family, false);
    }
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf("mutation sweep: %zu messages, %zu in-memory variants, %zu file variants, %.1f s\n",
              std::size(kSamples), variants, fileVariants_, seconds);
}

}  // namespace
}  // namespace cmskit
