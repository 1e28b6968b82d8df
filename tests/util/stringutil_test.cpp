#include "util/basicutil/stringutil.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "platform/testkit/testkit.h"
#include "tests/files.h"
#include "tests/util/rows.h"
#include "util/basicutil/common.h"

namespace {

using namespace NSTE_util;
using namespace std::string_literals;

TEST(StringUtil, Trims) {
  EXPECT_EQ(LTrim(" \t\n\ra b \r\n"), "a b \r\n");
  EXPECT_EQ(RTrim(" \t\n\ra b \r\n"), " \t\n\ra b");
  EXPECT_EQ(Trim("\t\r\n "), "");
  EXPECT_EQ(Trim("\va\v"), "\va\v");
  for (const auto& [text, expected] :
       Rows({"   -> 00", " 12  -> 1112", "1 2 -> 101 2", " a  -> 10a", "\t1 -> 10\t1"})) {
    std::string any = text;
    std::string digits = text;
    const bool anyLeft = TEStrTrim(any, false);
    const bool digitsLeft = TEStrTrim(digits, true);
    EXPECT_EQ(std::to_string(anyLeft) + std::to_string(digitsLeft) + digits, expected) << text;
    EXPECT_EQ(any, digits);
  }
}

TEST(StringUtil, CutsIntoWordsAndPieces) {
  const RWCString line = "a, b;c";
  RWCString word;
  EXPECT_EQ(GetWordFromLine(line, 0, ";,", word), 2);
  EXPECT_EQ(word, "a");
  EXPECT_EQ(GetWordFromLine(line, 2, ";,", word), 5);
  EXPECT_EQ(word, " b");
  for (const int start : {6, 7, -1}) {
    EXPECT_EQ(GetWordFromLine(line, start, ";,", word), -1);
    EXPECT_EQ(word, "");
  }

  using Texts = std::vector<std::string>;
  const std::vector<std::pair<std::string, Texts>> rows = {
      {"", {""}}, {"a,,b", {"a", "", "b"}}, {",", {"", ""}}, {"a\0,b"s, {"a\0"s, "b"}}};
  for (const auto& [text, pieces] : rows) {
    const Token token(text, ',');
    EXPECT_EQ(Texts(token.begin(), token.end()), pieces) << text;
  }
  Texts out = {"kept"};
  TEStr2StrVec("1,,", out);
  EXPECT_EQ(out, (Texts{"kept", "1", "", ""}));
}

TEST(StringUtil, FindsTheTextBetween) {
  std::string out = "old";
  EXPECT_TRUE(GetSubStr("x<a><b>", "<", ">", out));
  EXPECT_EQ(out, "a");
  EXPECT_TRUE(GetSubStr("'a'", "'", "'", out));
  EXPECT_EQ(out, "a");
  EXPECT_FALSE(GetSubStr("<a", "<", ">", out));
  EXPECT_FALSE(GetSubStr("><", "<", ">", out)) << "a close before the open does not count";
  EXPECT_EQ(out, "a");
}

TEST(StringUtil, MatchesNames) {
  const auto matches = [](const char* row) {
    const Token token(row, '|');
    return IsNameMeetingRequire(token[0], token[1]);
  };
  for (const char* row :
       {"abc|", "|", "|*", "abc|a?c", "abc|a*", "abc|*c", "abab|*ab", "aab|*ab", "abcd|a**?d", "abc|abc**",
        "a*c|a*c", "abcbd|a*b?", "abc|*b*?", "xay|?a?*", "abxcdxef|*b*d*f", "aab|*?b", "aaab|a*?ab"})
    EXPECT_TRUE(matches(row)) << row;
  for (const char* row : {"|?", "|a", "abc|b*", "abc|ab", "ab|abc", "abc|*b", "abc|A*", "abcbde|a*b?",
                          "ab|*b*?", "abxcdxe|*b*d*f", "abc|*?d", "ab|a*?b"})
    EXPECT_FALSE(matches(row)) << row;
  EXPECT_FALSE(IsNameMeetingRequire("ab\0"s, "ab")) << "the end of the pattern is no character";

  std::string stars;
  for (int i = 0; i < 240; ++i) stars += "a*";
  EXPECT_FALSE(IsNameMeetingRequire(std::string(20'000, 'a'), stars + "?b")) << "and this takes milliseconds";
}

TEST(StringUtil, Replaces) {
  struct Row {
    std::string text, from, to;
    unsigned start, maxCount;
    std::string expected;
    unsigned position;
  };
  const std::vector<Row> rows = {
      {"aaa", "a", "aa", 0, 0, "aaaaaa", 0},
      {"aaa", "a", "aa", 0, 2, "aaaaa", 0},
      {"aaa", "a", "b", 1, 1, "aba", 1},
      {"aaaa", "aa", "a", 0, 0, "aa", 0},  // what was put in is not searched again
      {"abc", "x", "y", 0, 0, "abc", NO_REPLACEMENT},
      {"abc", "c", "", 2, 0, "ab", 2},
      {"abc", "a", "b", 4, 0, "abc", NO_REPLACEMENT},
      {"abc", "", "x", 1, 2, "axxbc", 1},
      {"abc", "", "x", 0, 0, "abc", NO_REPLACEMENT},  // would never end
  };
  for (const Row& row : rows) {
    const std::pair<std::string, std::string> pair(row.from, row.to);
    const auto check = [&row](auto&&... fromTo) {
      std::string text = row.text;
      EXPECT_EQ(ReplaceString(text, fromTo..., row.start, row.maxCount), row.position) << row.text;
      EXPECT_EQ(text, row.expected);
    };
    check(row.from.c_str(), row.to.c_str());
    check(row.from, row.to);
    check(pair);
    check(std::vector{pair});
    check(std::list{pair});
    if (row.from.size() == 1 && row.to.size() == 1) check(row.from[0], row.to[0]);
  }
  std::string self = "abab";
  EXPECT_EQ(ReplaceString(self, self, self + "!", 0, 0), 0U);
  EXPECT_EQ(self, "abab!");
}

TEST(StringUtil, ReplacesSeveralTextsInOnePass) {
  using Pairs = std::vector<std::pair<std::string, std::string>>;
  struct Row {
    Pairs pairs;
    unsigned start, maxCount;
    std::string expected;
    unsigned position;
  };
  const std::vector<Row> rows = {
      // in "ab abc b"
      {{{"a", "b"}, {"b", "a"}}, 0, 0, "ba bac a", 0},
      {{{"b", "1"}, {"ab", "2"}, {"abc", "3"}}, 0, 0, "2 2c 1", 0},  // the first start, then the first pair
      {{{"abc", "3"}, {"ab", "2"}}, 0, 0, "2 3 b", 0},
      {{{"abc", "3"}, {"b", "1"}}, 1, 2, "a1 3 b", 1},
      {{{"x", "3"}}, 0, 0, "ab abc b", NO_REPLACEMENT},
      {{}, 0, 0, "ab abc b", NO_REPLACEMENT}};
  for (const Row& row : rows) {
    std::string text = "ab abc b";
    EXPECT_EQ(ReplaceString(text, row.pairs, row.start, row.maxCount), row.position) << row.expected;
    EXPECT_EQ(text, row.expected);
  }
  std::string text = "ab";
  EXPECT_EQ(ReplaceString(text, std::list<std::pair<std::string, std::string>>(), 0, 0), 0U);
}

TEST(StringUtil, EscapesAndChangesCase) {
  std::string text = "''a'b";
  InsertTransferChar(text, '\'', '\'');
  EXPECT_EQ(text, "''''a''b");
  EXPECT_EQ(StrToUpper("aZ1\xC3\xA4"), "AZ1\xC3\xA4");
  EXPECT_EQ(StrToLower("aZ1"), "az1");
  RWCString out = "old";
  Str16ToStrChar("41 42", out);
  EXPECT_TRUE(out.isNull());
}

TEST(StringUtil, TracesWhyAFileCannotBeOpened) {
  const testkit::LogCapture log;
  const std::string name = files::Write("var/here.txt", "");
  EXPECT_TRUE(IsFileExist(name));
  EXPECT_FALSE(IsFileExist(name + ".not"));
  GetDefaultDebugInterface().Print(0, "end");
  EXPECT_EQ(log.Count("Fail to open the file: " + name + ".not ,reason code is " + std::to_string(ENOENT)),
            1);
  EXPECT_EQ(log.Count("Fail to open"), 1);
}

}  // namespace
