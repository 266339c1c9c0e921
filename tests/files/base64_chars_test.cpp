#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cmskit/file.h"
#include "files/base64_chars.h"
#include "temp_files.h"

namespace cmskit {
namespace {

struct Case {
  const char* text;
  size_t limit;
  size_t result;
  const char* chars;
};

const Case kCases[] = {
    {"QUJD", 4, 4, "QUJD"},
    {"  QU\r\n\tJD", 340, 4, "QUJD"},
    {"QUJDQUJD", 4, 4, "QUJD"},
    {"QQ==", 340, 4, "QQ=="},
    {"-----BEGIN CMS-----\nQUJD\n-----END CMS-----\n", 340, 4, "QUJD"},
    {"-----BEGIN A-LONG LABEL-----\nQUJD", 340, 4, "QUJD"},  // a dash inside armour swallows four bytes
    {"QU-----not base64: *!-----JD", 340, 4, "QUJD"},
    {"QU-----never closed *", 340, 2, "QU"},
    {"QU*D", 340, 0, ""},      // forbidden character
    {"QUJD-", 340, 0, ""},     // marker cut short
    {"QU-JD---", 340, 0, ""},  // a lone dash outside armour
    {"QU\x80JD", 340, 0, ""},  // bytes above ASCII are not Base64 text
    {"", 340, 0, ""},
    {"\r\n", 340, 0, ""},
};

TEST(ReadBase64Chars, SkipsArmourAndWhiteSpaceAndRefusesTheRest) {
  TempFiles files;
  for (const Case& c : kCases) {
    CTOOFile file(files.Write("chars", c.text).c_str(), "rb");
    std::vector<char> chars;
    EXPECT_EQ(ReadBase64Chars(file, chars, c.limit), c.result) << c.text;
    if (c.result != 0) {
      EXPECT_EQ(std::string(chars.begin(), chars.end()), c.chars) << c.text;
    }
  }
}

TEST(ReadBase64Chars, ConsumesNoMoreThanItExamined) {
  TempFiles files;
  CTOOFile file(files.Write("chars", "QUJD\nRUZH-----X-----SUpL").c_str(), "rb");
  const char* expected[] = {"QUJD", "RUZH", "SUpL"};
  for (const char* quantum : expected) {
    std::vector<char> chars;
    ASSERT_EQ(ReadBase64Chars(file, chars, 4), 4u);
    EXPECT_EQ(std::string(chars.begin(), chars.end()), quantum);
  }
  std::vector<char> chars;
  EXPECT_EQ(ReadBase64Chars(file, chars, 4), 0u);
}

}  // namespace
}  // namespace cmskit
