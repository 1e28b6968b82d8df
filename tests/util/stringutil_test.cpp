#include "util/basicutil/stringutil.h"

#include <algorithm>
#include <climits>

#include "tests/util/util_test.h"

namespace {

using namespace std::string_literals;

TEST(StringUtil, Trims) {
  const std::string text = " \t\n\ra\v\n \r\t";
  EXPECT_EQ(LTrim(text) + "|" + RTrim(text) + "|" + Trim(text) + Trim("\t\r\n "),
            "a\v\n \r\t| \t\n\ra\v|a\v");
  for (const auto& [spaced, expected] :
       Rows("   -> 00;  12  -> 1112; 1 2 -> 101 2;  a  -> 10a; \t1 -> 10\t1")) {
    std::string left = spaced;
    const bool any = TEStrTrim(left, false);
    left = spaced;
    const bool digits = TEStrTrim(left, true);
    EXPECT_EQ(std::to_string(any) + std::to_string(digits) + left, expected) << spaced;
  }
}

TEST(StringUtil, CutsIntoWordsAndPieces) {
  const RWCString line = "a, b;c";
  const auto wordAt = [&line](int start) {
    RWCString word = "old";
    const int next = GetWordFromLine(line, start, ";,", word);
    return word.str() + std::to_string(next);
  };
  EXPECT_EQ(wordAt(0) + wordAt(2) + wordAt(5), "a2 b5c-1");
  for (const int start : {6, 7, -1}) EXPECT_EQ(wordAt(start), "-1");

  std::vector<std::string> out = {"kept"};
  TEStr2StrVec("1,,", out);
  EXPECT_EQ(out, (std::vector<std::string>{"kept", "1", "", ""}));
  const Token token("a,,b\0c"s, ',');
  EXPECT_EQ(token[token.size() - 1] + std::to_string(token.size()), "b\0c3"s);
}

TEST(StringUtil, MatchesNames) {
  const auto matches = [](const char* row) {
    const Token token(row, '|');
    return IsNameMeetingRequire(token[0], token[1]);
  };
  for (const char* row : {"abc|", "|", "|*", "abc|a?c", "abc|a*", "abc|*c", "abab|*ab", "aab|*ab", "aaab|*ab",
                          "abcd|a**?d", "abc|abc**", "a*c|a*c", "abcbd|a*b?", "abc|*b*?", "xay|?a?*",
                          "abxcdxef|*b*d*f", "aab|*?b", "aaab|a*?ab"})
    EXPECT_TRUE(matches(row)) << row;
  for (const char* row : {"|?", "|a", "abc|b*", "abc|ab", "ab|abc", "abc|*b", "abc|A*", "abcbde|a*b?",
                          "ab|*b*?", "abxcdxe|*b*d*f", "abc|*?d", "ab|a*?b"})
    EXPECT_FALSE(matches(row)) << row;
  EXPECT_FALSE(IsNameMeetingRequire("ab\0"s, "ab")) << "the end of the pattern is no character";
}

TEST(StringUtil, Replaces) {
  // text from to start maxCount -> position result; "." is the empty text, -1 no replacement
  for (const auto& row :
       Rows("aaa a aa 0 0 -> 0 aaaaaa; aaa a aa 0 2 -> 0 aaaaa; aaa a b 1 1 -> 1 aba; "
            "aaaa aa a 0 0 -> 0 aa; abc x y 0 0 -> -1 abc; abc c . 2 0 -> 2 ab; abc a b 4 0 -> -1 abc; "
            "abc . x 1 2 -> 1 axxbc; abc . x 0 0 -> -1 abc")) {
    Token words(row.first, ' ');
    for (std::string& word : words) word = word == "." ? "" : word;
    const auto check = [&](auto&&... fromTo) {
      std::string text = words[0];
      const unsigned at = ReplaceString(text, fromTo..., static_cast<unsigned>(words[3][0] - '0'),
                                        static_cast<unsigned>(words[4][0] - '0'));
      EXPECT_EQ(std::to_string(static_cast<int>(at)) + " " + text, row.second) << row.first;
    };
    const std::pair<std::string, std::string> pair(words[1], words[2]);
    check(words[1].c_str(), words[2].c_str());
    check(words[1], words[2]);
    check(pair);
    check(std::list{pair});
    if (words[1].size() == 1 && words[2].size() == 1) check(words[1][0], words[2][0]);
  }
}

TEST(StringUtil, ReplacesSeveralTextsInOnePass) {
  using Pairs = std::vector<std::pair<std::string, std::string>>;
  const auto replaced = [](const Pairs& pairs, unsigned start, unsigned maxCount) {
    std::string text = "ab abc b";
    const unsigned position = ReplaceString(text, pairs, start, maxCount);
    return std::to_string(static_cast<int>(position)) + " " + text;
  };
  EXPECT_EQ(replaced({{"a", "b"}, {"b", "a"}}, 0, 0), "0 ba bac a");
  EXPECT_EQ(replaced({{"b", "1"}, {"ab", "2"}, {"abc", "3"}}, 0, 0), "0 2 2c 1") << "in order";
  EXPECT_EQ(replaced({{"abc", "3"}, {"ab", "2"}}, 0, 0), "0 2 3 b");
  EXPECT_EQ(replaced({{"abc", "3"}, {"b", "1"}}, 1, 2), "1 a1 3 b");
  EXPECT_EQ(replaced({}, 0, 0), "-1 ab abc b");
  std::string text = "ab";
  EXPECT_EQ(ReplaceString(text, std::list<std::pair<std::string, std::string>>(), 0, 0), 0U);
}

TEST(StringUtil, FindsAndEscapes) {
  std::string out = "old";
  EXPECT_FALSE(GetSubStr("<a", "<", ">", out) || GetSubStr("><", "<", ">", out));
  EXPECT_EQ(out, "old");
  EXPECT_TRUE(GetSubStr("x'a'b'", "'", "'", out));
  EXPECT_EQ(out, "a");
  InsertTransferChar(out = "''a'b", '\'', '\'');
  EXPECT_EQ(out, "''''a''b");
  EXPECT_EQ(StrToUpper("aZ1\xC3|") + StrToLower("aZ1\xC3"), "AZ1\xC3|az1\xC3");
}

TEST(StringUtil, TracesWhyAFileCannotBeOpened) {
  const testkit::LogCapture log;
  const std::string name = files::Write("var/here.txt", "");
  EXPECT_TRUE(IsFileExist(name) && !IsFileExist(name + ".not"));
  GetDefaultDebugInterface().Print(0, "end");
  EXPECT_EQ(log.Count("Fail to open the file: " + name + ".not ,reason code is 2 "), 1);
}

TEST(StringUtilNumbers, ToText) {
  EXPECT_EQ(Num2Str(INT_MIN) + IntToStr(-1, false) + IntToStr(0xABCDEF01, true), "-2147483648-10xABCDEF01");
  EXPECT_EQ(TEIP2Str(0x10A0000FFUL), "10.0.0.255") << "32 bits wide";
  EXPECT_EQ(TENEID2Str(0x90001) + " " + TENEID2Str(0xFFFFFFFF), "9-1 65535-65535");
}

TEST(StringUtilNumbers, ABlankLeadsInEnglishOnly) {
  const auto written = [](const char* language, bool noLead) {
    const testkit::Language current(language);
    return ConvertULONGToStr(0x1FFFFFFFFUL, noLead) + ConvertLONGToStr(-5, noLead) +
           ConvertHEXToStr(0xAB, noLead);
  };
  EXPECT_EQ(written("en_US", false), " 4294967295 -5 ab");
  EXPECT_EQ(written("en_US", true), "4294967295-5ab");
  EXPECT_EQ(written("zh_CN", false), "4294967295-5ab");
}

TEST(StringUtilNumbers, FormatsIntoItsBuffer) {
  std::string text = "7";
  EXPECT_TRUE(TEFormat(text, "%s-%d", text.c_str(), 1) == 3 && text == "7-1") << text;
  for (const int length : {FORMAT_TEXT - 1, FORMAT_TEXT, 100'000}) {
    EXPECT_EQ(TEFormat(text, "%0*d", length, 0), length);
    EXPECT_EQ(text, std::string(FORMAT_TEXT - 1, '0'));
  }
}

TEST(StringUtilNumbers, Bytes) {
  const unsigned char bytes[] = {0x0A, 0xFF, 0x10};
  const RWDBBlob blob(bytes, sizeof(bytes));
  EXPECT_EQ(Blob2Str(blob, 0, 2) + Blob2Str(blob, 1, 0) + Blob2Str(blob, 1, 9), "0X0AFF0XFF100XFF10");
  for (const unsigned offset : {3U, 4U, UINT_MAX}) EXPECT_EQ(Blob2Str(blob, offset, 1), "0X");

  std::string out = "old";
  HexToBinary("4aFf41g00gg:G9/48", out);
  EXPECT_EQ(out, "J\xFF\x41\xF0\xFF\xEF\xF9\xF4");
  HexToBinary("4", out);
  EXPECT_EQ(out, "");
}

TEST(StringUtilNumbers, FromText) {
  const auto read = [](const std::string& text, int base) {
    int n = 99;
    const bool result = StrToInt(text, n, base);
    return (result ? "" : "bad ") + std::to_string(n);
  };
  for (const auto& [text, expected] :
       Rows(" 12  -> 12;  -> bad 99;    -> bad 99; 12a -> bad 12; a -> bad 0; -7 -> -7; +7 -> 7; "
            "1 2 -> bad 1; \t12 -> 12; 12\t -> bad 12; 2147483647 -> 2147483647; "
            "2147483648 -> bad 2147483647; -99999999999999999999 -> bad -2147483648"))
    EXPECT_EQ(read(text, 10), expected) << text;
  EXPECT_EQ(read("0x1F", 16) + read("1f", 16) + read("0x10", 0), "313116");
  EXPECT_EQ(read("1", 1) + read("1\0"s, 10), "bad 0bad 1") << "no such base; a byte behind the number";
}

TEST(StringUtilNumbers, IsInteger) {
  for (const char* text : {"0", "-12", "- 12", "12 ", "-\v1", "12\n\t"}) EXPECT_TRUE(IsInteger(text)) << text;
  // With blanks in front the positions of the trimmed text are looked up in the whole one.
  for (const char* text : {"", " ", "-", "-  ", " -", "1a", "1 2", "--1", "+1", " 12", " -12", "\n1", "1.0"})
    EXPECT_FALSE(IsInteger(text)) << text;
  const testkit::LogCapture log;
  EXPECT_FALSE(IsInteger(nullptr));
  EXPECT_EQ(log.Count("ASSERT: file util/basicutil/stringutil, line "), 1);
}

TEST(StringUtilNumbers, Addresses) {
  for (const auto& [text, expected] :
       Rows("10.0.0.1 -> 0A000001;  10 .0. 0.001 -> 0A000001; 255.255.255.255 -> FFFFFFFF; "
            " -> bad 00000000; 1.2.3 -> bad 00010203; 1.2.256.4 -> bad 00000102; "
            "1.2.3.4.5 -> bad 01020304; 1.2.3.4. -> bad 01020304; .1.2.3 -> bad 00000000; "
            "1..2.3.4 -> bad 00000001; 1.-2.3.4 -> bad 00000001; 1. .3.4 -> bad 00000001; "
            "1.4294967297.3.4 -> bad 00000001")) {
    unsigned ip = 99;
    std::string found;
    const bool result = TEStr2Ip(text.c_str(), ip);
    TEFormat(found, "%s%08X", result ? "" : "bad ", ip);
    EXPECT_EQ(found, expected) << text;
  }
}

TEST(StringUtilNumbers, Identifiers) {
  for (const auto& [text, expected] :
       Rows("9-1 -> 0x90001; 0x90001 -> 0x90001; 589825 -> 0x90001;  -> bad; 9- -> bad; -1 -> bad; "
            "1-65537 -> 0x10001; 1-131072 -> 0x30000; 9--1 -> 0xFFFFFFFF; 0X12 -> 0x0; 0x -> 0x0; "
            "0xg -> bad; 9a-1b -> 0x90001; a-1 -> bad; 9-a -> bad; 12ab -> 0xC; "
            "4294967295 -> 0xFFFFFFFF; 4294967296 -> bad; 0xFFFFFFFF -> 0xFFFFFFFF; "
            "0x100000000 -> bad; 9-99999999999 -> bad")) {
    unsigned long id = 99;
    EXPECT_EQ(TEStr2NEID(text.c_str(), id) ? IntToStr(static_cast<long>(id), true) : "bad", expected) << text;
    EXPECT_TRUE(expected != "bad" || id == 99) << text;
  }
  std::vector<RWCString> texts = {"9-1", "7"};
  std::vector<unsigned long> ids = {1};
  EXPECT_TRUE(TEVecStr2NEID(texts, ids));
  EXPECT_EQ(ids, (std::vector<unsigned long>{0x90001, 7}));
  texts[0] = "x";
  EXPECT_TRUE(!TEVecStr2NEID(texts, ids) && ids.empty());
}

using Numbers = std::vector<int>;

std::string Joined(const Numbers& numbers) {
  RWCString text;
  EXPECT_TRUE(NumListToStr(numbers, text));
  return text.str();
}

TEST(StringUtilLists, AreWrittenInBothForms) {
  const std::vector<std::pair<Numbers, std::string>> rows = {
      {{}, "||"},
      {{7}, "7|7|7"},
      {{1, 2, 3, 5, 6, 9}, "1,2,3,5,6,9|1-3,5-6,9|1&&3&5&6&9"},
      {{5, 1, 2, 2}, "5,1,2,2|5,1-2,2|5&1&2&2"},
      {{-1, 0, 1}, "-1,0,1|-1-1|-1&&1"},
      {{INT_MAX, INT_MIN}, "2147483647,-2147483648|2147483647,-2147483648|2147483647&-2147483648"}};
  for (const auto& [numbers, expected] : rows) {
    RWCString spans = "old", ofList = "old", ampersands = "old";
    EXPECT_TRUE(NumListToStr2(numbers, spans));
    EXPECT_TRUE(NumListToStr2(std::list<int>(numbers.begin(), numbers.end()), ofList));
    EXPECT_EQ(ofList, spans);
    TEVec2Str(numbers, ampersands);
    EXPECT_EQ(Joined(numbers) + "|" + spans + "|" + ampersands, expected);
  }
}

TEST(StringUtilLists, AmpersandsAreRead) {
  for (const auto& [text, expected] :
       Rows("1&3&&6 -> 1,3,4,5,6; 6&&3 -> 6,5,4,3; 1&&1 -> 1,1; 1&&&3 -> 1,2,3;  1 & 2 -> 1,2; "
            "1&&3&&2 -> 1,2,3,2; 1&&2&5 -> 1,2,5;  -> bad ; &1 -> bad ; 1& -> bad ; & -> bad ; "
            "1&a&2 -> bad 1; 1& &2 -> bad 1; 1&-2 -> bad 1; 1&2147483648 -> bad 1; "
            "0&&2147483647 -> bad 0; 2147483647&&0 -> bad 2147483647")) {
    Numbers numbers = {99};
    const bool result = TEStr2Vec(text.c_str(), numbers);
    EXPECT_EQ((result ? "" : "bad ") + Joined(numbers), expected) << text;
    EXPECT_EQ(TEStr2Vec(RWCString(text), numbers), result);
  }
}

TEST(StringUtilLists, AreNoLongerThanTheLimit) {
  Numbers numbers;
  EXPECT_TRUE(TEStr2Vec("1&&1000000", numbers) && numbers.size() == kLongestNumList);
  EXPECT_FALSE(TEStr2Vec("1&&1000001", numbers));
  EXPECT_FALSE(TEStr2Vec("1&&1000000&5", numbers));
  EXPECT_TRUE(StrToNumList("1-1000000", numbers) && numbers.size() == kLongestNumList);
  EXPECT_FALSE(StrToNumList("1-1000000,5", numbers));
}

TEST(StringUtilLists, Spans) {
  for (const auto& [text, expected] :
       Rows("7 -> 7,7;  1 - 3  -> 1,3; 2-1 -> bad 2,1; -5 -> bad 99,5; -0 -> bad 99,0; 5- -> bad 5,99; "
            "1-2-3 -> bad 1,2; a -> bad 0,0; 1 2 -> bad 1,1; 1--2 -> bad 1,-2; "
            "0123456789 -> 123456789,123456789; 2147483646-2147483647 -> 2147483646,2147483647; "
            "2147483648 -> bad 2147483647,2147483647; \t9 -> 9,9; 9\t -> bad 9,9")) {
    int from = 99, to = 99;
    const bool result = GetSpan(RWCString(text), from, to);
    EXPECT_EQ((result ? "" : "bad ") + Joined({from, to}), expected) << text;
    Numbers numbers;
    std::list<int> list{99};
    EXPECT_EQ(StrToNumList("8, ," + text, numbers), result) << text;
    EXPECT_EQ(StrToNumList("8, ," + text, list), result) << text;
    EXPECT_EQ(list, std::list<int>(numbers.begin(), numbers.end())) << text;
    EXPECT_TRUE(numbers.front() == 8 && (!result || numbers.back() == to)) << text;
    EXPECT_EQ(numbers.size(), result ? static_cast<std::size_t>(to - from) + 2 : 1) << text;
  }
  int a = 0, b = 0, c = 0;
  EXPECT_TRUE(GetSpan(std::string("1- 22 --3"), a, b, c));
  EXPECT_EQ((Numbers{a, b, c}), (Numbers{1, 22, -3}));
  for (const std::string text : {"1-2", "1-2-", "1-2-3-4"}) EXPECT_FALSE(GetSpan(text, a, b, c)) << text;
}

TEST(StringUtilLists, RowsAreSortedByOneColumn) {
  const auto sorted = [](int key) {
    Numbers a = {3, 1, 3, -9, 1}, b = {1, 2, 3, 4, 2}, c = {5, 1, 4, 2, 0};
    Numbers twoA = a, twoB = b;
    TERela3WaySort(a, b, c, key);
    TERela2WaySort(twoA, twoB, key);
    EXPECT_EQ(twoA == a && twoB == b, key != 3) << key;
    return Joined(a) + " " + Joined(b) + " " + Joined(c);
  };
  EXPECT_EQ(sorted(1), "-9,1,1,3,3 4,2,2,1,3 2,1,0,5,4");
  EXPECT_EQ(sorted(2), "3,1,1,3,-9 1,2,2,3,4 5,1,0,4,2");
  EXPECT_EQ(sorted(3), "1,1,-9,3,3 2,2,4,3,1 0,1,2,4,5");
  Numbers keys, rows;
  for (int i = 0; i < 100; ++i) keys.push_back(i % 2), rows.push_back(i);
  TERela2WaySort(keys, rows, 1);
  EXPECT_TRUE(std::is_sorted(rows.begin(), rows.begin() + 50) &&
              std::is_sorted(rows.begin() + 50, rows.end()));
  Numbers longer = {2, 1}, shorter = {0};
  TERela2WaySort(longer, shorter, 1);
  EXPECT_EQ(longer, (Numbers{2, 1}));
}

}  // namespace
