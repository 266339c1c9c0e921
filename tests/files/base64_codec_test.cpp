#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "cmskit/status.h"
#include "files/base64.h"

namespace cmskit {
namespace {

std::string Encode(const std::string& bytes, DWORD flags = 0, DWORD lineLength = 0,
                   const char* separator = nullptr) {
  const size_t needed = Base64Encode(bytes.data(), bytes.size(), nullptr, 0, flags, lineLength, separator);
  std::string text(needed, '?');
  const size_t written =
      Base64Encode(bytes.data(), bytes.size(), &text[0], text.size(), flags, lineLength, separator);
  EXPECT_EQ(written + 1, needed);
  EXPECT_EQ(text[written], '\0');
  text.resize(written);
  return text;
}

std::string Decode(const std::string& text, DWORD flags = 0) {
  std::vector<BYTE> bytes(Base64Decode(text.data(), text.size(), nullptr, 0, flags));
  const size_t written = Base64Decode(text.data(), text.size(), bytes.data(), bytes.size(), flags);
  return std::string(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(written));
}

int DecodeStatus(const std::string& text, DWORD flags = 0) {
  try {
    Decode(text, flags);
    return 0;
  } catch (const XTOOStatus& e) {
    return e.GetStatus();
  }
}

struct Vector {
  const char* bytes;
  const char* text;
};

// RFC 4648, section 10.
const Vector kVectors[] = {{"", ""},
                           {"f", "Zg=="},
                           {"fo", "Zm8="},
                           {"foo", "Zm9v"},
                           {"foob", "Zm9vYg=="},
                           {"fooba", "Zm9vYmE="},
                           {"foobar", "Zm9vYmFy"}};

TEST(Base64Codec, EncodesAndDecodesTheStandardVectors) {
  for (const Vector& v : kVectors) {
    EXPECT_EQ(Encode(v.bytes), v.text) << v.bytes;
    EXPECT_EQ(Decode(v.text), v.bytes) << v.text;
  }
}

TEST(Base64Codec, EncodeReportsCapacityAndRefusesSmallDestinations) {
  const std::string bytes = "foobar!";
  EXPECT_EQ(Base64Encode(bytes.data(), bytes.size(), nullptr, 0, 0), 13u);
  char text[13];
  EXPECT_EQ(Base64Encode(bytes.data(), bytes.size(), text, 12, 0), 0u);
  EXPECT_EQ(Base64Encode(bytes.data(), bytes.size(), text, 13, 0), 12u);
  EXPECT_STREQ(text, "Zm9vYmFyIQ==");
}

TEST(Base64Codec, NullSourceIsAnInvalidArgument) {
  char text[8];
  try {
    Base64Encode(nullptr, 3, text, sizeof text, 0);
    FAIL();
  } catch (const XTOOStatus& e) {
    EXPECT_EQ(e.GetStatus(), 28);
  }
  EXPECT_EQ(TryBase64Encode(nullptr, 3, text, sizeof text, 0), 0u);
  EXPECT_EQ(TryBase64Decode(nullptr, 3, nullptr, 0, 0), 0u);
}

TEST(Base64Codec, WrapsLinesAndEndsEveryLineWithTheSeparator) {
  const std::string bytes(13, 'A');  // 20 characters
  struct Case {
    DWORD lineLength;
    const char* separator;
    const char* expected;
  } cases[] = {
      {0, nullptr, "QUFBQUFBQUFBQUFBQQ==\n"},           // 64 by default: one line
      {8, nullptr, "QUFBQUFB\nQUFBQUFB\nQQ==\n"},       // 8 characters
      {5, "\r\n", "QUFBQUFB\r\nQUFBQUFB\r\nQQ==\r\n"},  // 5 rounded up to 8
      {16, "|", "QUFBQUFBQUFBQUFB|QQ==|"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(Encode(bytes, kBase64WrapLines, c.lineLength, c.separator), c.expected);
  EXPECT_EQ(Encode("", kBase64WrapLines, 4), "");
  EXPECT_EQ(Encode(bytes, 0, 4), "QUFBQUFBQUFBQUFBQQ==");  // no flag, no wrapping
}

TEST(Base64Codec, DecodeCapacityIsTheUnpaddedFigure) {
  EXPECT_EQ(Base64Decode("Zg==", 4, nullptr, 0, 0), 3u);
  EXPECT_EQ(Base64Decode("Zm9vYg", 6, nullptr, 0, 0), 6u);
  BYTE out[3];
  EXPECT_EQ(Base64Decode("Zg==", 4, out, 2, 0), 0u);  // one byte would fit, the figure does not
  EXPECT_EQ(Base64Decode("Zg==", 4, out, 3, 0), 1u);
  EXPECT_EQ(Base64Decode("Zm9v", 0, out, 3, 0), 3u);  // length 0: a zero-terminated string
  EXPECT_EQ(std::string(out, out + 3), "foo");
}

TEST(Base64Codec, DecodeAcceptsUnpaddedEndings) {
  EXPECT_EQ(Decode("Zg"), "f");
  EXPECT_EQ(Decode("Zm8"), "fo");
  EXPECT_EQ(DecodeStatus("Zm9vY"), 131);
}

TEST(Base64Codec, DecodeFlagsGovernWhatIsSkipped) {
  struct Case {
    const char* text;
    DWORD flags;
    int status;
    const char* bytes;
  } cases[] = {
      {"Zm9v\r\nYmFy", 0, 131, nullptr},
      {"Zm9v\r\nYm\tFy ", kBase64AllowWhiteSpace, 0, "foobar"},
      {"Zm9v*YmFy", kBase64AllowWhiteSpace, 131, nullptr},
      {"Zm9v*Ym.Fy", kBase64SkipInvalid, 0, "foobar"},
      {"Zm 9v", kBase64SkipInvalid, 0, "foo"},
      {"Zg== \n", 0, 131, nullptr},
      {"Zg== \n", kBase64AllowWhiteSpace, 0, "f"},
      {"Zg==Zg==", 0, 131, nullptr},
      {"Zg==Zg==", kBase64StopAtPad, 0, "f"},
      {"Zg=junk", kBase64StopAtPad, 0, "f"},
      {"Zg=*=", kBase64SkipInvalid, 0, "f"},
      {"Zg=", 0, 131, nullptr},
      {"Zg===", 0, 131, nullptr},
      {"Zm8==", 0, 131, nullptr},
      {"Zm9v=", 0, 131, nullptr},
      {"====", 0, 131, nullptr},
      {"Z===", 0, 131, nullptr},
      {"Zg=A", 0, 131, nullptr},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(DecodeStatus(c.text, c.flags), c.status) << c.text << " flags " << c.flags;
    if (c.bytes) {
      EXPECT_EQ(Decode(c.text, c.flags), c.bytes) << c.text;
    }
  }
}

TEST(Base64Codec, BytesAboveAsciiCountAsZeroData) {
  EXPECT_EQ(Decode("\x80\x80\x80\x80"), std::string(3, '\0'));
  EXPECT_EQ(Decode("Zm9\xff"), "fo@");
}

TEST(Base64Codec, WrapperTurnsMalformedTextIntoZero) {
  BYTE out[3];
  EXPECT_EQ(TryBase64Decode("Z===", 4, out, sizeof out, 0), 0u);
  EXPECT_EQ(TryBase64Decode("Zm9v", 4, out, sizeof out, 0), 3u);
}

TEST(Base64Codec, RandomBytesRoundTripWithAndWithoutWrapping) {
  std::mt19937 random(7);
  for (size_t length = 0; length < 300; ++length) {
    std::string bytes(length, '\0');
    for (char& b : bytes) b = static_cast<char>(random());
    EXPECT_EQ(Decode(Encode(bytes)), bytes);
    EXPECT_EQ(Decode(Encode(bytes, kBase64WrapLines, 76, "\r\n"), kBase64AllowWhiteSpace), bytes);
  }
}

TEST(Base64Codec, QuantaDecoderStopsAtTheFirstUnusualQuantum) {
  BYTE out[12];
  EXPECT_EQ(Base64DecodeQuanta("Zm9vYmFyZg==", 12, out), 8u);
  EXPECT_EQ(Base64DecodeQuanta("Zm9v\nYmFy", 9, out), 4u);
  EXPECT_EQ(Base64DecodeQuanta("Zm9\x80", 4, out), 0u);
  EXPECT_EQ(Base64DecodeQuanta("Zm9vYm", 6, out), 4u);
}

}  // namespace
}  // namespace cmskit
