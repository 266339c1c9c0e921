// Every parsing entry point fed damaged copies of real messages: each
// truncation, fixed-seed byte flips and rewritten length octets. Every call
// must come back with a consistent result; the sanitizer build adds the checks
// for reads outside the input and for leaks. File-based entry points see a
// strided subset, since file I/O is slow under Wine.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "../files/temp_files.h"
#include "cmskit/cmskit.h"
#include "files/base64.h"

namespace cmskit {
namespace {

using Bytes = std::string;

enum class Family { Signed, Enveloped };

struct Sample {
  const char* path;  // under the test data folder
  Family family;
};

// Attached, detached, two signers, key identifier, streamed BER (two kinds),
// and enveloped DER and BER from several makers.
const Sample kSamples[] = {
    {"/../../fuzz/corpus/sign_data/openssl_attached.der", Family::Signed},
    {"/../../fuzz/corpus/sign_data/openssl_detached.der", Family::Signed},
    {"/../../fuzz/corpus/sign_data/openssl_two_signers.der", Family::Signed},
    {"/../../fuzz/corpus/sign_data/openssl_keyid.der", Family::Signed},
    {"/../../fuzz/corpus/sign_data/openssl_stream.der", Family::Signed},
    {"/signed/rfc4134/4.5.bin", Family::Signed},
    {"/signed/tk26/Signed_256.der", Family::Signed},
    {"/enveloped/EnvelopedKTRI_512.der", Family::Enveloped},
    {"/enveloped/rfc4134_5.1.bin", Family::Enveloped},
    {"/enveloped/rfc4490_9.2_enveloped_keyagree.der", Family::Enveloped},
    {"/decrypt/aes128.der", Family::Enveloped},
    {"/../../fuzz/corpus/enveloped_data/openssl_stream.der", Family::Enveloped},
    {"/../../fuzz/corpus/enveloped_data/crafted_indefinite.der", Family::Enveloped},
};

constexpr size_t kMaxTruncations = 8192;  // per message, in memory: all of them here
constexpr size_t kFlips = 300;
constexpr size_t kMaxHeaders = 200;
constexpr size_t kMaxFileVariants = 60;  // per message and form

Bytes ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Where the length octets of every element sit, walking definite and
// indefinite forms alike, as far as the encoding holds together.
struct LengthField {
  size_t at;
  size_t size;
};

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
    const uint64_t rest = input.size() - field.at - field.size;
    const std::vector<Bytes> replacements = {EncodeLength(0),
                                             EncodeLength(1),
                                             EncodeLength(0x7E),
                                             EncodeLength(0x7F),
                                             EncodeLength(0x80),
                                             EncodeLength(0x81),
                                             EncodeLength(0xFFFFFFFF),
                                             EncodeLength(0xFFFFFFFE),
                                             EncodeLength(rest),
                                             EncodeLength(rest + 1),
                                             EncodeLength(rest + 0x100),
                                             EncodeLength(0x100000000ULL),
                                             Bytes("\x80", 1),
                                             Bytes("\x81\x7F", 2),
                                             Bytes("\x84\xFF\xFF\xFF\xFF", 5),
                                             Bytes("\x89", 1)};
    for (const Bytes& replacement : replacements) {
      Bytes variant = input;
      variant.replace(field.at, field.size, replacement);
      out.push_back(std::move(variant));
    }
  }
}

// Same sequence on every platform: raw engine output, no distributions.
void AddFlips(const Bytes& input, std::vector<Bytes>& out) {
  if (input.empty()) return;
  std::mt19937 random(20261122);
  for (size_t i = 0; i < kFlips; ++i) {
    Bytes variant = input;
    const size_t at = random() % input.size();
    const uint32_t pick = random();
    const uint8_t mask = (pick & 3) == 0 ? static_cast<uint8_t>(1u << ((pick >> 2) & 7))
                                         : static_cast<uint8_t>((pick >> 8) | 1);
    variant[at] = static_cast<char>(static_cast<uint8_t>(variant[at]) ^ mask);
    out.push_back(std::move(variant));
  }
}

void AddTruncations(const Bytes& input, size_t limit, std::vector<Bytes>& out) {
  const size_t stride = input.size() / limit + 1;
  for (size_t length = 0; length < input.size(); length += stride) out.push_back(input.substr(0, length));
}

std::vector<Bytes> Variants(const Bytes& input, bool withLengths) {
  std::vector<Bytes> out;
  AddTruncations(input, kMaxTruncations, out);
  AddFlips(input, out);
  if (withLengths) AddLengthRewrites(input, out);
  return out;
}

// Every k-th variant, at most kMaxFileVariants of them.
std::vector<Bytes> Sampled(const std::vector<Bytes>& all) {
  std::vector<Bytes> out;
  const size_t stride = all.size() / kMaxFileVariants + 1;
  for (size_t i = 0; i < all.size(); i += stride) out.push_back(all[i]);
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
  void ReadSignedInMemory(const Bytes& input) {
    SignData message;
    int error = 0;
    SetLastError(0);
    const bool read = message.ReadObject(Data(input), Size(input), &error);
    // Its own structural checks fail with the last error alone, *pError 0.
    EXPECT_TRUE(read ? error == 0 : GetLastError() != 0)
        << "error " << error << ", " << input.size() << " bytes";
    ++calls_;
  }

  void ReadEnvelopedInMemory(const Bytes& input) {
    EnvelopedData message;
    int error = 0;
    const DWORD consumed = message.ReadObject(Data(input), Size(input), &error);
    EXPECT_LE(consumed, input.size());
    ++calls_;
  }

  void ReadSignerInfo(const Bytes& input) {
    MessageSignerInfo info;
    int error = 0;
    const DWORD read = info.ReadData(input.data(), Size(input), &error);
    EXPECT_EQ(read != 0, error == 0) << "error " << error;
    EXPECT_LE(read, input.size());
    if (read != 0) info.GetSigningData(&error);
    ++calls_;
  }

  // One file write, then every file-based entry point on it.
  void ReadFiles(const Bytes& input, Family family) {
    const std::string in = temp_.Write("in.bin", input);
    const std::string out = temp_.Path("out.bin");
    {
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
    calls_ += 3;
    ++fileVariants_;
  }

  void ReadTextFiles(const Bytes& input) {
    const std::string in = temp_.Write("in.txt", input);
    const std::string out = temp_.Path("out.bin");
    const CmsFileType type = GetFileTypeByContent(in.c_str());
    EXPECT_GE(type, CmsFileUnknown);
    EXPECT_LE(type, CmsFileSignedDetached);
    Base64FileDecode(in.c_str(), out.c_str());
    calls_ += 2;
    ++fileVariants_;
  }

  void SweepSignerInfos(const Bytes& message) {
    SignData parsed;
    int error = 0;
    ASSERT_TRUE(parsed.ReadObject(Data(message), Size(message), &error)) << error;
    ASSERT_FALSE(parsed.signerInfos.empty());
    for (const IdentObj& signer : parsed.signerInfos) {
      const Bytes whole(reinterpret_cast<const char*>(signer.data()), signer.size());
      ReadSignerInfo(whole);
      for (const Bytes& variant : Variants(whole, true)) ReadSignerInfo(variant);
    }
  }

  TempFiles temp_;
  size_t calls_ = 0;
  size_t fileVariants_ = 0;
};

TEST_F(MutationSweep, EveryEntryPointSurvivesDamagedMessages) {
  const auto start = std::chrono::steady_clock::now();
  size_t variants = 0;
  for (const Sample& sample : kSamples) {
    SCOPED_TRACE(sample.path);
    const Bytes message = ReadFile(std::string(CMSKIT_TEST_DATA) + sample.path);
    ASSERT_FALSE(message.empty());
    std::vector<Bytes> all = Variants(message, true);
    all.push_back(message);
    variants += all.size();
    for (const Bytes& variant : all) {
      if (sample.family == Family::Signed)
        ReadSignedInMemory(variant);
      else
        ReadEnvelopedInMemory(variant);
    }
    for (const Bytes& variant : Sampled(all)) ReadFiles(variant, sample.family);
    if (sample.family == Family::Signed) SweepSignerInfos(message);
    for (bool pem : {false, true}) {
      for (const Bytes& variant : Sampled(Variants(Base64(message, pem), false))) ReadTextFiles(variant);
    }
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf("mutation sweep: %zu messages, %zu in-memory variants, %zu file variants, %zu calls, %.1f s\n",
              std::size(kSamples), variants, fileVariants_, calls_, seconds);
}

}  // namespace
}  // namespace cmskit
