// Shared immutable strings: construction, sharing, formatting, trimming and
// the library's own string table.
#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include <thread>
#include <vector>

#include "cmskit/tstring.h"

namespace cmskit {
namespace {

TEST(CTOOString, EmptyAndSingleCharacterStrings) {
  const CTOOString fromDefault, fromEmpty(""), fromNull(static_cast<const char*>(nullptr));
  for (const CTOOString* s : {&fromDefault, &fromEmpty, &fromNull}) {
    EXPECT_EQ(s->GetLength(), 0u);
    ASSERT_NE(s->c_str(), nullptr);
    EXPECT_STREQ(s->c_str(), "");
    EXPECT_TRUE(*s == fromDefault);
    EXPECT_FALSE(*s == CTOOString("a"));
    EXPECT_FALSE(CTOOString("a") == *s);
  }
  EXPECT_STREQ(CTOOString('x').c_str(), "x");
  EXPECT_EQ(CTOOString('x').GetLength(), 1u);
  EXPECT_TRUE(CTOOString("abc") != CTOOString("abd"));
}

TEST(CTOOString, CopiesShareTheBodyAndChangesDoNot) {
  CTOOString a("text");
  CTOOString b(a), c;
  c = a;
  EXPECT_EQ(b.c_str(), a.c_str());
  EXPECT_EQ(c.c_str(), a.c_str());
  CTOOString& alias = c;
  c = alias;
  EXPECT_STREQ(c.c_str(), "text");
  b = "other";
  b += "!";
  EXPECT_STREQ(b.c_str(), "other!");
  EXPECT_STREQ(a.c_str(), "text");
  c = c.c_str();
  EXPECT_EQ(c.c_str(), a.c_str());  // its own text: nothing happens
  c = c.c_str() + 1;
  EXPECT_STREQ(c.c_str(), "ext");
  c = static_cast<const char*>(nullptr);
  EXPECT_STREQ(c.c_str(), "");
}

TEST(CTOOString, AssignStopsAtAnEmbeddedNul) {
  CTOOString s;
  s.Assign("a\0b", 3);
  EXPECT_STREQ(s.c_str(), "a");
  EXPECT_EQ(s.GetLength(), 1u);
  s.Assign("abc", 2);
  EXPECT_STREQ(s.c_str(), "ab");
  s.Assign("abc", 0);
  EXPECT_EQ(s.GetLength(), 0u);
}

TEST(CTOOString, AppendSharesWhenOneSideIsEmpty) {
  const CTOOString ab("ab");
  CTOOString empty, same(ab);
  empty += ab;
  EXPECT_EQ(empty.c_str(), ab.c_str());
  same += CTOOString();
  same += "";
  EXPECT_EQ(same.c_str(), ab.c_str());
  same += "cd";
  EXPECT_STREQ(same.c_str(), "abcd");
  EXPECT_EQ(same.GetLength(), 4u);
  EXPECT_STREQ(ab.c_str(), "ab");
}

TEST(CTOOString, ReferenceCountSurvivesThreads) {
  const CTOOString shared("shared across threads");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&shared] {
      for (int i = 0; i < 20000; ++i) CTOOString copy(shared), other = copy;
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_STREQ(shared.c_str(), "shared across threads");
}

std::string Fmt(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  CTOOString s;
  s.FormatV(fmt, args);
  va_end(args);
  return std::string(s.c_str(), s.GetLength());
}

TEST(CTOOStringFormat, ConversionsAreSizedToFit) {
  EXPECT_EQ(Fmt("%d", 5), "5");
  EXPECT_EQ(Fmt("%s", static_cast<const char*>(nullptr)), "(null)");  // sized for 6
  EXPECT_EQ(Fmt("%5d|%-5s|%*d|%.*s", 42, "ab", 4, 7, 2, "abcdef"), "   42|ab   |   7|ab");
  EXPECT_EQ(Fmt("%10s|%-3c|%.3s", "", 'x', "abcdef"), "          |x  |abc");
  EXPECT_EQ(Fmt("100%% %c%c %#x %o %X", 'o', 'k', 255, 8, 171), "100% ok 0xff 10 AB");
  EXPECT_EQ(Fmt("%hu %ld %lld", 65537, 123L, -9223372036854775807LL - 1), "1 123 -9223372036854775808");
  EXPECT_EQ(Fmt("%.2f|%10.3f|%g", 3.14159, -2.5, 0.5), "3.14|    -2.500|0.5");
  const std::string longText(1000, 'z');
  EXPECT_EQ(Fmt("<%s>", longText.c_str()), "<" + longText + ">");
  // A fixed-point conversion is measured exactly, however long.
  const std::string huge = Fmt("%f", 1e300);
  EXPECT_EQ(huge.size(), 301u + 7u);
  EXPECT_EQ(huge.substr(0, 3), "100");
  EXPECT_EQ(Fmt("%.0f", -1e300).size(), 302u);
  EXPECT_EQ(Fmt("%400.1f", 1.0).size(), 400u);
}

TEST(CTOOStringFormat, OverflowingTheEstimateKeepsTheFormatText) {
  // "+" adds nothing to the estimate of 32, but the output has 33 characters.
  EXPECT_EQ(Fmt("%+.32d", 1), "%+.32d");
  EXPECT_EQ(Fmt("%.31d", 1).size(), 31u);
  CTOOString s("keep");
  s.Format(nullptr);  // an unreadable format changes nothing
  EXPECT_STREQ(s.c_str(), "keep");
}

struct TrimCase {
  const char* text;
  uint32_t flags;
  const char* expected;
};

// clang-format off
const TrimCase kTrimCases[] = {
    {"  a b  ", 0x01, "a b  "},            {"  a b  ", 0x02, "  a b"},       {"  a b  ", 0x03, "a b"},
    {" \" a \" ", 0x100, "a"},             {"\"x\"y\"", 0x100, "x\"y"},
    {"\"c:\\dir\\\"", 0x110, "c:\\dir"},   // quotes go before the backslash
    {"dir\\\\", 0x10, "dir\\"},            {"dir//", 0x10, "dir/"},
    {"a\\ ", 0x12, "a"},                   {"a \\", 0x12, "a "},             // spaces before the slash
    {"a\n\n", 0x04, "a\n"},                {"a\r\n", 0x04, "a\r"},
    {"a\n/", 0x14, "a"},                   {"a/\n", 0x14, "a/"},             // the slash before the line feed
    {"a\r\n\r\n", 0x40, "a"},              {"a\n\r", 0x40, "a"},
    {"HTTP://abc/", 0x20, "abc"},          {"http://", 0x20, "http://"},     {"abc/", 0x20, "abc/"},
    {"abcdefg/", 0x20, "abcdefg"},         {"http://a//", 0x20, "a/"},
    {"hTtP://host/\r\n", 0x60, "host"},   // line ends go before the prefix
    {" a b c ", 0x80, "abc"},              {"a  b", 0x80, "ab"},             {"   ", 0x80, ""},
    {"   ", 0x03, ""},                     {"abc", 0x1F7, "abc"},            {"", 0x1FF, ""}};
// clang-format on

TEST(CTOOStringTrim, EveryFlagInItsOrder) {
  for (const TrimCase& c : kTrimCases) {
    CTOOString s(c.text);
    s.Trim(c.flags);
    EXPECT_STREQ(s.c_str(), c.expected) << '"' << c.text << "\" flags 0x" << std::hex << c.flags;
    EXPECT_EQ(s.GetLength(), std::string(c.expected).size());
  }
  const CTOOString original("no spaces");
  CTOOString copy(original);
  copy.Trim(0x03);
  EXPECT_EQ(copy.c_str(), original.c_str());  // unchanged text keeps the shared body
  copy.Trim(0x80);
  EXPECT_STREQ(copy.c_str(), "nospaces");
  EXPECT_STREQ(original.c_str(), "no spaces");
}

// Identifiers 1 to 5 of tools/strings.def.
TEST(CTOOStringLoad, OwnStringTable) {
  EXPECT_STREQ(CTOOString::LoadString(1).c_str(), "cmskit64");
  EXPECT_STREQ(CTOOString::LoadString(1, "tools2").c_str(), "cmskit64");  // six letters, any case
  EXPECT_STREQ(CTOOString::LoadString(1, "Tools2.dll").c_str(), "cmskit64");
  EXPECT_STREQ(CTOOString::LoadString(999).c_str(), "");
  EXPECT_STREQ(CTOOString::LoadString(1, "no-such-module-cmskit.dll").c_str(), "");
  CTOOString text;
  text.LoadFormat(2u, 206);
  EXPECT_STREQ(text.c_str(), "Status = 206");
  text.LoadFormat(nullptr, 3u, "x", 5);
  EXPECT_STREQ(text.c_str(), "file - x, line - 5");
  text.LoadFormat("TOOLS2", 4u, "a.bin");
  EXPECT_STREQ(text.c_str(), "The file a.bin could not be opened");
}

}  // namespace
}  // namespace cmskit
