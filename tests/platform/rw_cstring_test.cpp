#include "platform/text/rw_cstring.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace std::string_literals;

TEST(RWCString, ConvertsBothWaysWithoutLoss) {
  const std::string bytes = "a\0b"s;
  const RWCString text = bytes;
  EXPECT_EQ(text.str(), bytes);
  EXPECT_STREQ(text, "a");  // the pointer's reader stops at the NUL
  EXPECT_TRUE(RWCString(static_cast<const char*>(nullptr)).isNull());
  EXPECT_TRUE(text[0] == 'a' && text[3U] == '\0');
}

TEST(RWCString, StripsTheChosenEnds) {
  const RWCString text = "  a b ";
  EXPECT_EQ(text.strip() + text.strip(RWCString::leading) + text.strip(RWCString::trailing), "a ba b   a b");
  for (const auto ends : {RWCString::leading, RWCString::trailing, RWCString::both})
    EXPECT_EQ(RWCString("   ").strip(ends) + RWCString().strip(ends), "");
  EXPECT_EQ(RWCString("--a-").strip(RWCString::both, '-'), "a");
}

TEST(RWCString, FindsAndCuts) {
  const RWCString text = "one, two, three";
  EXPECT_EQ(text.index(RWCString(", "), 4), 8U);
  EXPECT_TRUE(text.index(',', 9) == RW_NPOS && text.index("", 100) == RW_NPOS);
  EXPECT_EQ(text.last(','), 8U);
  EXPECT_EQ(text.subString(5, 3) + text.subString(10) + text.subString(16, 1), "twothree");
}

TEST(RWCString, ComparesAndAppendsWithEveryKindOfText) {
  const RWCString b = "b";
  EXPECT_TRUE(b == "b" && "b" == b && b == "b"s && "b"s == b && b == RWCString("b"));
  EXPECT_TRUE(b != "c" && b < "c" && "a" < b && b < "bb"s && b > RWCString("a"));
  EXPECT_TRUE(b < "\xC3" && b.compareTo("a\xFF") > 0) << "bytes compare as unsigned";
  EXPECT_EQ("a" + b + "c" + "d"s + b, "abcdb");
  RWCString sum = b;
  EXPECT_EQ((sum += '-').append(sum), "b-b-");
}

TEST(RWCString, GoesThroughStreamsWhole) {
  std::stringstream stream;
  stream << RWCString("a\0b"s) << ' ' << RWCString("two words") << "\nrest";
  RWCString word;
  RWCString line;
  stream >> word;
  getline(stream, line);
  EXPECT_EQ(word, "a\0b"s);
  EXPECT_EQ(line, " two words");
}

}  // namespace
