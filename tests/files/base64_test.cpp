#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "cmskit/file.h"
#include "cmskit/message_files.h"
#include "files/base64.h"
#include "files/base64_chars.h"
#include "temp_files.h"

namespace cmskit {
namespace {

// The conversion as plainly stated: one quantum read, decoded and kept at a time.
bool ReferenceDecode(const std::string& path, std::string& out) {
  CTOOFile file(path.c_str(), "rb");
  for (;;) {
    std::vector<char> quantum;
    const size_t count = ReadBase64Chars(file, quantum, 4);
    if (count == 0) return true;
    if (count != 4) return false;
    BYTE bytes[3];
    const size_t decoded = TryBase64Decode(quantum.data(), count, bytes, sizeof bytes, 0);
    if (decoded == 0) return false;
    out.append(bytes, bytes + decoded);
  }
}

TEST(Base64FileEncode, WritesOneUnbrokenPaddedLine) {
  TempFiles files;
  const char* cases[][2] = {{"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}};
  for (const auto& c : cases) {
    const std::string out = files.Path("out");
    ASSERT_TRUE(Base64FileEncode(files.Write("in", c[0]).c_str(), out.c_str())) << c[0];
    EXPECT_EQ(TempFiles::Read(out), c[1]);
  }
}

TEST(Base64FileEncode, JudgesTheDestinationOnlyByItsFirstWrite) {
  TempFiles files;
  const std::string nowhere = files.Path("missing/folder/out");
  EXPECT_TRUE(Base64FileEncode(files.Write("empty", "").c_str(), nowhere.c_str()));
  EXPECT_FALSE(Base64FileEncode(files.Write("in", "foo").c_str(), nowhere.c_str()));
  EXPECT_FALSE(Base64FileDecode(files.Write("text", "Zm9v").c_str(), nowhere.c_str()));
  EXPECT_TRUE(Base64FileDecode(files.Write("blank", "\r\n").c_str(), nowhere.c_str()));
}

TEST(Base64FileConvert, MissingSourceFails) {
  TempFiles files;
  const std::string out = files.Path("out");
  EXPECT_FALSE(Base64FileEncode(files.Path("absent").c_str(), out.c_str()));
  EXPECT_FALSE(Base64FileDecode(files.Path("absent").c_str(), out.c_str()));
  EXPECT_FALSE(Base64FileEncode(nullptr, out.c_str()));
  EXPECT_FALSE(Base64FileDecode(nullptr, out.c_str()));
}

struct DecodeCase {
  const char* text;
  bool result;
  const char* bytes;  // what the destination holds afterwards
};

const DecodeCase kDecodeCases[] = {
    {"Zm9vYmFy", true, "foobar"},
    {"Zm9v\r\nYmFy\r\n", true, "foobar"},
    {"Zm\n9v", true, "foo"},
    {"-----BEGIN CMS-----\nZm9v\nYmFy\n-----END CMS-----\n", true, "foobar"},
    {"Zm9v-----BEGIN A-LONG LABEL-----YmFy", true, "foobar"},
    {"Zg==Zg==", true, "ff"},    // padded quanta in the middle
    {"Zm9v-YmFy", true, "foo"},  // a lone dash ends the input
    {"Zm9v*YmFy", true, "foo"},  // so does a forbidden character
    {"Zm9vYm\x80y", true, "foo"},
    {"Zm9v-", true, "foo"},  // and a cut marker
    {"", true, ""},
    {"-----X-----", true, ""},
    {"Zm9vYmF", false, "foo"},  // a last quantum of 1 to 3 characters
    {"Zm9vY", false, "foo"},
    {"Zm9v====", false, "foo"},  // quanta that do not decode
    {"Zm9vZ===", false, "foo"},
    {"Zm9vYm=y", false, "foo"},
};

TEST(Base64FileDecode, FollowsTheQuantumRules) {
  TempFiles files;
  for (const DecodeCase& c : kDecodeCases) {
    const std::string out = files.Path("out");
    EXPECT_EQ(Base64FileDecode(files.Write("in", c.text).c_str(), out.c_str()), c.result) << c.text;
    EXPECT_EQ(TempFiles::Read(out), c.bytes) << c.text;
  }
}

std::string RandomBytes(std::mt19937& random, size_t length) {
  std::string bytes(length, '\0');
  for (char& b : bytes) b = static_cast<char>(random());
  return bytes;
}

std::string Wrapped(const std::string& bytes, DWORD lineLength, const char* separator) {
  std::string text(
      Base64Encode(bytes.data(), bytes.size(), nullptr, 0, kBase64WrapLines, lineLength, separator), '\0');
  text.resize(Base64Encode(bytes.data(), bytes.size(), &text[0], text.size(), kBase64WrapLines, lineLength,
                           separator));
  return text;
}

TEST(Base64FileConvert, LargeFilesRoundTrip) {
  TempFiles files;
  std::mt19937 random(11);
  for (size_t length : {size_t{3}, size_t{(1 << 17) - 1}, size_t{1 << 20}, size_t{(1 << 20) + 2}}) {
    const std::string bytes = RandomBytes(random, length);
    const std::string in = files.Write("in", bytes), text = files.Path("text"), back = files.Path("back");
    ASSERT_TRUE(Base64FileEncode(in.c_str(), text.c_str()));
    ASSERT_TRUE(Base64FileDecode(text.c_str(), back.c_str()));
    EXPECT_EQ(TempFiles::Read(back), bytes);
    const std::string pem = "-----BEGIN CMS-----\r\n" + Wrapped(bytes, 64, "\r\n") + "-----END CMS-----\r\n";
    ASSERT_TRUE(Base64FileDecode(files.Write("pem", pem).c_str(), back.c_str()));
    EXPECT_EQ(TempFiles::Read(back), bytes);
  }
}

TEST(Base64FileDecode, ArmourAcrossReadBlocksIsSeenThrough) {
  TempFiles files;
  for (size_t lead = 0; lead < 8; ++lead) {
    for (size_t quanta : {size_t{32766}, size_t{32767}, size_t{32768}}) {
      std::string text(lead, ' ');
      for (size_t i = 0; i < quanta; ++i) text += "QUFB";
      text += "-----A LABEL-----QUFB";
      const std::string out = files.Path("out");
      ASSERT_TRUE(Base64FileDecode(files.Write("in", text).c_str(), out.c_str()));
      EXPECT_EQ(TempFiles::Read(out), std::string(3 * (quanta + 1), 'A')) << lead << " " << quanta;
    }
  }
}

// Text made mostly of quanta, with every character that steers the reader;
// without `enders`, none of those that end the input early.
std::string NoisyText(std::mt19937& random, size_t length, bool enders) {
  static const char kPieces[][8] = {"QUFB", "QUFB", "\r\n", " ", "Zg==", "-----",
                                    "QUFB", "=",    "-",    "*", "Q",    "\x80"};
  const size_t choices = enders ? sizeof kPieces / sizeof kPieces[0] : 7;
  std::string text;
  while (text.size() < length) text += kPieces[random() % choices];
  return text;
}

TEST(Base64FileDecode, AgreesWithQuantumByQuantumDecoding) {
  TempFiles files;
  std::mt19937 random(5);
  for (int round = 0; round < 1000; ++round) {
    const bool large = round % 250 == 0;
    // Fresh names: rewriting a file in place can cost a disk flush each time.
    const std::string name = std::to_string(round);
    const std::string in =
        files.Write("in" + name, NoisyText(random, large ? 400000 : random() % 200, !large));
    const std::string out = files.Path("out" + name);
    std::string expected;
    const bool expectedResult = ReferenceDecode(in, expected);
    ASSERT_EQ(Base64FileDecode(in.c_str(), out.c_str()), expectedResult) << round;
    ASSERT_EQ(TempFiles::Read(out), expected) << round;
  }
}

}  // namespace
}  // namespace cmskit
