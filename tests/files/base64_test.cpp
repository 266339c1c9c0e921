// Base64: the codec (RFC 4648 vectors, capacities, wrapping, flags) and the
// file converters. File decoding against a quantum-by-quantum reading is the
// base64_file fuzz target's check, replayed on its corpus.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "cmskit/file.h"
#include "cmskit/message_files.h"
#include "cmskit/status.h"
#include "common/test_util.h"
#include "files/base64.h"

namespace cmskit {
namespace {

struct TempFiles : cmskit_testing::TempDir {
  std::string Write(const std::string& name, const std::string& bytes) const {
    cmskit_testing::WriteBytes(Path(name), cmskit_testing::Text(bytes));
    return Path(name);
  }
  static std::string Read(const std::string& path) {
    const cmskit_testing::Bytes bytes = cmskit_testing::ReadBytes(path);
    return std::string(bytes.begin(), bytes.end());
  }
};

std::string Encode(const std::string& bytes, DWORD flags = 0, DWORD line = 0,
                   const char* separator = nullptr) {
  const size_t needed = Base64Encode(bytes.data(), bytes.size(), nullptr, 0, flags, line, separator);
  std::string text(needed, '?');
  const size_t written = Base64Encode(bytes.data(), bytes.size(), &text[0], needed, flags, line, separator);
  EXPECT_EQ(written + 1, needed);
  text.resize(written);
  return text;
}

// The decoded bytes, or "#<status>" when the decoder throws.
std::string Decode(const std::string& text, DWORD flags = 0) {
  try {
    std::vector<BYTE> bytes(Base64Decode(text.data(), text.size(), nullptr, 0, flags));
    const size_t written = Base64Decode(text.data(), text.size(), bytes.data(), bytes.size(), flags);
    return std::string(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(written));
  } catch (const XTOOStatus& e) {
    return "#" + std::to_string(e.GetStatus());
  }
}

std::string RandomBytes(std::mt19937& random, size_t length) {
  std::string bytes(length, '\0');
  for (char& b : bytes) b = static_cast<char>(random());
  return bytes;
}

TEST(Base64Codec, VectorsCapacitiesAndWrapping) {
  const char* kEncoded[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
  for (size_t n = 0; n < 7; ++n) {
    EXPECT_EQ(Encode(std::string("foobar", n)), kEncoded[n]);
    EXPECT_EQ(Decode(kEncoded[n]), std::string("foobar", n));
  }
  char text[13];
  EXPECT_EQ(Base64Encode("foobar!", 7, text, 12, 0), 0u);  // no room for the terminator
  EXPECT_EQ(TryBase64Encode(nullptr, 3, text, sizeof text, 0), 0u);
  BYTE out[3];
  EXPECT_EQ(Base64Decode("Zg==", 4, out, 2, 0), 0u);  // the unpadded figure must fit
  EXPECT_EQ(Base64Decode("Zm9v", 0, out, 3, 0), 3u);  // length 0: zero-terminated
  const std::string bytes(13, 'A');
  EXPECT_EQ(Encode(bytes, kBase64WrapLines, 5, "\r\n"), "QUFBQUFB\r\nQUFBQUFB\r\nQQ==\r\n");  // 5 -> 8
  EXPECT_EQ(Encode(bytes, 0, 4), "QUFBQUFBQUFBQUFBQQ==");
  std::mt19937 random(7);
  for (size_t length = 0; length < 300; ++length) {
    const std::string bytes = RandomBytes(random, length);
    EXPECT_EQ(Decode(Encode(bytes, kBase64WrapLines, 76, "\r\n"), kBase64AllowWhiteSpace), bytes);
  }
}

TEST(Base64Codec, DecodeFlagsGovernWhatIsSkipped) {
  const std::tuple<const char*, DWORD, const char*> cases[] = {
      {"Zg", 0, "f"},
      {"Zm9vY", 0, "#131"},
      {"Zm9v\r\nYm\tFy ", kBase64AllowWhiteSpace, "foobar"},
      {"Zm9v*Ym.Fy", kBase64SkipInvalid, "foobar"},
      {"Zg=junk", kBase64StopAtPad, "f"},
      {"Zg=*=", kBase64SkipInvalid, "f"},
      {"Zm8==", 0, "#131"},
      {"Zg=A", 0, "#131"},
      {"Zm9\xff", 0, "fo@"},  // bytes above ASCII count as zero data
  };
  for (const auto& [text, flags, result] : cases) EXPECT_EQ(Decode(text, flags), result) << text;
  BYTE out[12];
  EXPECT_EQ(TryBase64Decode("Z===", 4, out, sizeof out, 0), 0u);
  EXPECT_EQ(Base64DecodeQuanta("Zm9vYmFyZg==", 12, out), 8u);  // stops at the first unusual quantum
  EXPECT_EQ(Base64DecodeQuanta("Zm9v\nYmFy", 9, out), 4u);
}

TEST(Base64FileConvert, RoundTripsAndFailures) {
  TempFiles files;
  std::mt19937 random(11);
  for (size_t length : {size_t{0}, size_t{1}, size_t{(1 << 17) - 1}, size_t{(1 << 20) + 2}}) {
    const std::string bytes = RandomBytes(random, length);
    const std::string text = files.Path("text"), back = files.Path("back");
    ASSERT_TRUE(Base64FileEncode(files.Write("in", bytes).c_str(), text.c_str()));
    EXPECT_EQ(TempFiles::Read(text).size(), (length + 2) / 3 * 4);  // one unbroken padded line
    ASSERT_TRUE(Base64FileDecode(text.c_str(), back.c_str()));
    EXPECT_EQ(TempFiles::Read(back), bytes);
  }
  // The destination is judged only by its first write.
  const std::string nowhere = files.Path("missing/folder/out");
  EXPECT_TRUE(Base64FileEncode(files.Write("empty", "").c_str(), nowhere.c_str()));
  EXPECT_FALSE(Base64FileEncode(files.Write("in", "foo").c_str(), nowhere.c_str()));
  EXPECT_FALSE(Base64FileDecode(files.Path("absent").c_str(), files.Path("out").c_str()));
  EXPECT_FALSE(Base64FileEncode(nullptr, files.Path("out").c_str()));
}

}  // namespace
}  // namespace cmskit
