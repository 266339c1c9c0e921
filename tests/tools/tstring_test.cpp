// Shared immutable strings: sharing, formatting, trimming, the string table.
#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include <tuple>

#include "cmskit/tstring.h"
#include "common/table.h"

namespace cmskit {
namespace {

std::string Fmt(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  CTOOString s;
  s.FormatV(fmt, args);
  va_end(args);
  return std::string(s.c_str(), s.GetLength());
}

TEST(CTOOString, FormatIsSizedToFit) {
  EXPECT_EQ(Fmt("%s", static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(Fmt("%5d|%-5s|%*d|%.*s", 42, "ab", 4, 7, 2, "abcdef"), "   42|ab   |   7|ab");
  EXPECT_EQ(Fmt("100%% %c %#x %hu %lld", 'o', 255, 65537, -9223372036854775807LL - 1),
            "100% o 0xff 1 -9223372036854775808");
  EXPECT_EQ(Fmt("%f", 1e300).size(), 308u);  // fixed point measured exactly
  EXPECT_EQ(Fmt("%+.32d", 1), "%+.32d");     // beyond the estimate: the format text stays
}

TEST(CTOOString, TrimAppliesEveryFlagInItsOrder) {
  // The text between the quotes, with \r and \n for the controls.
  const auto text = [](std::string field) {
    field = field.substr(1, field.size() - 2);
    for (const auto& [escape, control] : {std::make_pair("\\r", "\r"), std::make_pair("\\n", "\n")})
      for (size_t at = field.find(escape); at != std::string::npos; at = field.find(escape, at))
        field.replace(at, 2, control);
    return field;
  };
  const cmskit_testing::Table table("tools/cases.txt");
  for (const cmskit_testing::Row& row : table.Rows("trim")) {
    CTOOString s(text(row[0]).c_str());
    s.Trim(static_cast<uint32_t>(std::stoul(row[1], nullptr, 0)));
    EXPECT_EQ(std::string(s.c_str()), text(row[2])) << row.where;
  }
  const CTOOString original("no spaces");
  CTOOString copy(original);
  copy.Trim(0x03);
  EXPECT_EQ(copy.c_str(), original.c_str());  // unchanged text keeps the shared body
}

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

TEST(CTOOString, CopiesAndAppendsShareTheBodyAndChangesDoNot) {
  CTOOString a("text"), b(a), c, empty;
  c = a;
  EXPECT_EQ(b.c_str(), a.c_str());
  EXPECT_EQ(c.c_str(), a.c_str());
  CTOOString& alias = c;
  c = alias;
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
  empty += a;  // one side empty: shared
  EXPECT_EQ(empty.c_str(), a.c_str());
  empty += CTOOString();
  empty += "";
  EXPECT_EQ(empty.c_str(), a.c_str());
  empty += "cd";
  EXPECT_EQ(std::string(empty.c_str(), empty.GetLength()), "textcd");
  const CTOOString fromDefault, fromEmpty(""), fromNull(static_cast<const char*>(nullptr));
  for (const CTOOString* s : {&fromDefault, &fromEmpty, &fromNull}) {
    EXPECT_STREQ(s->c_str(), "");
    EXPECT_TRUE(*s == fromDefault);
    EXPECT_FALSE(*s == CTOOString("a") || CTOOString("a") == *s);
  }
  EXPECT_EQ(std::string(CTOOString('x').c_str(), CTOOString('x').GetLength()), "x");
  EXPECT_TRUE(CTOOString("abc") != CTOOString("abd"));
}

}  // namespace
}  // namespace cmskit
