// Every parsing entry point fed damaged copies of real messages must come back
// with a consistent result; the sanitizer build checks reads and leaks. File
// entry points see a strided subset, since file I/O is slow under Wine. The
// messages are listed in sweep/samples.txt.
#include <gtest/gtest.h>

#include "cmskit/cmskit.h"
#include "common/table.h"
#include "common/test_util.h"
#include "files/base64.h"

namespace cmskit_testing {
namespace {

using namespace cmskit;

// Truncations per message (in memory: all of them here), flips, rewritten
// headers, and file variants per message and form.
constexpr size_t kMaxTruncations = 8192, kFlips = 300, kMaxHeaders = 200, kMaxFileVariants = 60;

// Where the length octets of every element sit (offset and size), walking
// definite and indefinite forms alike, as far as the encoding holds together.
using LengthField = std::pair<size_t, size_t>;
size_t CollectLengths(const Bytes& b, size_t pos, size_t end, int depth, std::vector<LengthField>& out) {
  while (pos < end && out.size() < kMaxHeaders) {
    if (b[pos] == 0 && pos + 1 < end && b[pos + 1] == 0) return pos;
    const bool constructed = (b[pos] & 0x20) != 0;
    if ((b[pos++] & 0x1F) == 0x1F) {
      while (pos < end && (b[pos++] & 0x80)) {
      }
    }
    if (pos >= end) return end;
    const size_t at = pos, count = b[pos] & 0x7F;
    const bool indefinite = b[pos++] == 0x80;
    uint64_t length = b[at];
    if (b[at] > 0x80) {
      if (count > 8 || count > end - pos) return end;
      for (length = 0; pos < at + 1 + count; ++pos) length = (length << 8) | b[pos];
    }
    out.push_back({at, pos - at});
    const bool descend = constructed && depth < 32;
    if (indefinite) {
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

// Every truncation, fixed-seed flips (the same on every platform: raw engine
// output, no distributions) and, for DER, each element's length made
// indefinite, zero, near and past 2^32, at the end and past it. The rules of
// the length octets themselves are the element reader's, tested in the asn
// suite.
std::vector<Bytes> Variants(const Bytes& input, bool withLengths) {
  std::vector<Bytes> out;
  for (size_t length = 0; length < input.size(); length += input.size() / kMaxTruncations + 1)
    out.emplace_back(input.begin(), input.begin() + static_cast<long>(length));
  std::mt19937 random(20261122);
  for (size_t i = 0; i < kFlips && !input.empty(); ++i) {
    out.push_back(input);
    const uint32_t at = random() % input.size(), pick = random();
    out.back()[at] ^= static_cast<BYTE>((pick & 3) == 0 ? 1u << ((pick >> 2) & 7) : (pick >> 8) | 1);
  }
  std::vector<LengthField> fields;
  if (withLengths) CollectLengths(input, 0, input.size(), 0, fields);
  for (const LengthField& field : fields) {
    const uint64_t rest = input.size() - field.first - field.second;
    std::vector<Bytes> lengths = {{0x80}, {0x00}};
    for (uint64_t value :
         {uint64_t{0xFFFFFFFE}, uint64_t{0xFFFFFFFF}, uint64_t{1} << 32, rest, rest + 1, rest + 0x100})
      lengths.push_back(DerLength(value));
    for (const Bytes& length : lengths) {
      const auto at = input.begin() + static_cast<long>(field.first);
      out.push_back(
          Cat({Bytes(input.begin(), at), length, Bytes(at + static_cast<long>(field.second), input.end())}));
    }
  }
  return out;
}

std::vector<Bytes> Sampled(const std::vector<Bytes>& all) {  // every k-th, at most kMaxFileVariants
  std::vector<Bytes> out;
  for (size_t i = 0; i < all.size(); i += all.size() / kMaxFileVariants + 1) out.push_back(all[i]);
  return out;
}

Bytes Base64(const Bytes& bytes, bool pem) {
  const DWORD flags = pem ? kBase64WrapLines : 0;
  std::string text(Base64Encode(bytes.data(), bytes.size(), nullptr, 0, flags, 64, "\r\n"), '\0');
  text.resize(Base64Encode(bytes.data(), bytes.size(), &text[0], text.size(), flags, 64, "\r\n"));
  return Text(pem ? "-----BEGIN CMS-----\r\n" + text + "-----END CMS-----\r\n" : text);
}

class MutationSweep : public ::testing::Test {
 protected:
  static void ReadInMemory(const Bytes& input, bool isSigned) {
    int error = 0;
    SetLastError(0);
    const DWORD size = static_cast<DWORD>(input.size());
    if (isSigned) {
      SignData message;
      const bool read = message.ReadObject(input.data(), size, &error);
      // Its own structural checks fail with the last error alone, *pError 0.
      EXPECT_TRUE(read ? error == 0 : GetLastError() != 0) << "error " << error << ", " << size << " bytes";
    } else {
      EnvelopedData message;
      EXPECT_LE(message.ReadObject(input.data(), size, &error), size);
    }
  }

  // One file write, then every file-based entry point on it (the message
  // readers only for binary forms).
  void ReadFiles(const Bytes& input, bool isSigned, bool binary) {
    const std::string in = temp_.Path("in.bin"), out = temp_.Path("out.bin");
    WriteBytes(in, input);
    if (binary) {
      CTOOFile file(in.c_str(), "rb");
      ASSERT_TRUE(file.IsOpen());
      int error = 0;
      SignData signedMessage;
      EnvelopedData envelopedMessage;
      const DWORD consumed =
          isSigned ? signedMessage.ReadObject(file, 0, &error) : envelopedMessage.ReadObject(file, &error);
      EXPECT_TRUE(!isSigned || (consumed != 0) == (error == 0)) << "error " << error;
      EXPECT_LE(consumed, input.size());
    }
    const CmsFileType type = GetFileTypeByContent(in.c_str());
    EXPECT_GE(type, CmsFileUnknown);
    EXPECT_LE(type, CmsFileSignedDetached);
    Base64FileDecode(in.c_str(), out.c_str());
  }

  static void SweepSignerInfos(const Bytes& message) {
    SignData parsed;
    int error = 0;
    ASSERT_TRUE(parsed.ReadObject(message.data(), static_cast<DWORD>(message.size()), &error)) << error;
    ASSERT_FALSE(parsed.signerInfos.empty());
    for (const IdentObj& signer : parsed.signerInfos) {
      std::vector<Bytes> all = Variants(Of(signer), true);
      all.push_back(Of(signer));
      for (const Bytes& input : all) {
        MessageSignerInfo info;
        error = 0;
        const DWORD read = info.ReadData(input.data(), static_cast<DWORD>(input.size()), &error);
        EXPECT_EQ(read != 0, error == 0) << "error " << error;
        EXPECT_LE(read, input.size());
        if (read != 0) info.GetSigningData(&error);
      }
    }
  }

  TempDir temp_;
};

TEST_F(MutationSweep, EveryEntryPointSurvivesDamagedMessages) {
  const Table samples("sweep/samples.txt");
  for (const Row& row : samples.Rows()) {
    const std::string& path = row[0];
    SCOPED_TRACE(path);
    const bool isSigned = path.find("sign") != std::string::npos;
    const Bytes message = ReadBytes(TestData(path));
    ASSERT_FALSE(message.empty());
    std::vector<Bytes> all = Variants(message, true);
    all.push_back(message);
    for (const Bytes& variant : all) ReadInMemory(variant, isSigned);
    for (const Bytes& variant : Sampled(all)) ReadFiles(variant, isSigned, true);
    if (isSigned) SweepSignerInfos(message);
    for (bool pem : {false, true}) {
      for (const Bytes& variant : Sampled(Variants(Base64(message, pem), false)))
        ReadFiles(variant, isSigned, false);
    }
  }
}

}  // namespace
}  // namespace cmskit_testing
