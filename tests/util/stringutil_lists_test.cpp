#include <gtest/gtest.h>

#include <climits>

#include "tests/util/rows.h"
#include "util/basicutil/stringutil.h"

namespace {

using namespace NSTE_util;
using Numbers = std::vector<int>;

std::string Joined(const Numbers& numbers) {
  RWCString text;
  EXPECT_TRUE(NumListToStr(numbers, text));
  return text.str();
}

TEST(StringUtilLists, AreWrittenInBothForms) {
  struct Row {
    Numbers numbers;
    std::string spans;
    std::string ampersands;
  };
  const std::vector<Row> rows = {{{}, "", ""},
                                 {{7}, "7", "7"},
                                 {{4, 5}, "4-5", "4&5"},
                                 {{1, 2, 3, 5, 6, 9}, "1-3,5-6,9", "1&&3&5&6&9"},
                                 {{5, 1, 2}, "5,1-2", "5&1&2"},
                                 {{1, 1, 0}, "1,1,0", "1&1&0"},
                                 {{-1, 0, 1}, "-1-1", "-1&&1"},
                                 {{INT_MAX, INT_MIN}, "2147483647,-2147483648", "2147483647&-2147483648"}};
  for (const Row& row : rows) {
    RWCString text = "old";
    std::string standard = "old";
    EXPECT_TRUE(NumListToStr2(row.numbers, text));
    EXPECT_EQ(text, row.spans);
    EXPECT_TRUE(NumListToStr2(std::list<int>(row.numbers.begin(), row.numbers.end()), text));
    EXPECT_EQ(text, row.spans);
    TEVec2Str(row.numbers, text);
    EXPECT_EQ(text, row.ampersands);
    TEVec2Str(row.numbers, standard);
    EXPECT_EQ(standard, row.ampersands);
  }
  EXPECT_EQ(Joined({}) + Joined({7}) + ";" + Joined({1, -2, INT_MIN}), "7;1,-2,-2147483648");
}

TEST(StringUtilLists, CommasAreRead) {
  for (const auto& [text, expected] :
       Rows({"1-3, 5 -> 1,2,3,5", "1 - 2 -> 1,2", " -> ", ", 0,, 0 , -> 0,0", "8,3-1 -> bad 8",
             "8,a -> bad 8", "8,-1 -> bad 8", "8,-0 -> bad 8", "8,1- -> bad 8", "8,1-2-3 -> bad 8",
             "8,1 2 -> bad 8", "0123456789 -> 123456789", "2147483647,+1 -> 2147483647,1",
             "8,2147483648 -> bad 8", "8,0-2147483647 -> bad 8", "8,2147483647-0 -> bad 8",
             "2147483646-2147483647 -> 2147483646,2147483647", "8,\t9 -> 8,9", "8,9\t -> bad 8"})) {
    Numbers numbers = {99};
    std::list<int> list = {99};
    const bool result = StrToNumList(text, numbers);
    EXPECT_EQ((result ? "" : "bad ") + Joined(numbers), expected) << text;
    EXPECT_EQ(StrToNumList(text, list), result);
    EXPECT_EQ(Numbers(list.begin(), list.end()), numbers);
  }
}

TEST(StringUtilLists, AmpersandsAreRead) {
  for (const auto& [text, expected] :
       Rows({"1&3&&6 -> 1,3,4,5,6", "6&&3 -> 6,5,4,3", "1&&1 -> 1,1", "1&&&3 -> 1,2,3", " 1 & 2 -> 1,2",
             "1&&3&&2 -> 1,2,3,2", "1&&2&5 -> 1,2,5", " -> bad ", "&1 -> bad ", "1& -> bad ", "& -> bad ",
             "1&a&2 -> bad 1", "1& &2 -> bad 1", "1&-2 -> bad 1", "1&2147483648 -> bad 1",
             "0&&2147483647 -> bad 0", "2147483647&&0 -> bad 2147483647"})) {
    Numbers numbers = {99};
    const bool result = TEStr2Vec(text.c_str(), numbers);
    EXPECT_EQ((result ? "" : "bad ") + Joined(numbers), expected) << text;
    EXPECT_EQ(TEStr2Vec(RWCString(text), numbers), result);
  }
}

TEST(StringUtilLists, AreNoLongerThanTheLimit) {
  Numbers numbers;
  EXPECT_TRUE(TEStr2Vec("1&&1000000", numbers));
  EXPECT_EQ(numbers.size(), kLongestNumList);
  EXPECT_FALSE(TEStr2Vec("1&&1000001", numbers));
  EXPECT_FALSE(TEStr2Vec("1&&1000000&5", numbers));
  EXPECT_TRUE(StrToNumList("1-1000000", numbers));
  EXPECT_FALSE(StrToNumList("1-1000000,5", numbers));
  EXPECT_EQ(numbers.size(), kLongestNumList);
}

TEST(StringUtilLists, Spans) {
  for (const auto& [text, expected] :
       Rows({"7 -> 7,7", " 1 - 3  -> 1,3", "3-1 -> bad 3,1", "-5 -> bad 99,5", "5- -> bad 5,99",
             "1-2-3 -> bad 1,2", " -> bad 99,99", "a -> bad 0,0", "1--2 -> bad 1,-2"})) {
    int from = 99;
    int to = 99;
    const bool result = GetSpan(RWCString(text), from, to);
    EXPECT_EQ((result ? "" : "bad ") + Joined({from, to}), expected) << text;
  }
  int a = 0;
  int b = 0;
  int c = 0;
  EXPECT_TRUE(GetSpan(std::string("1- 22 --3"), a, b, c));
  EXPECT_EQ((Numbers{a, b, c}), (Numbers{1, 22, -3}));
  for (const std::string text : {"", "1-2", "1-2-", "-1-2-3", "1-2-3-4"})
    EXPECT_FALSE(GetSpan(text, a, b, c)) << text;
}

TEST(StringUtilLists, RowsAreSortedByOneColumn) {
  using Table = std::vector<Numbers>;
  const Table table = {{3, 1, 3, INT_MIN, 1}, {1, 2, 3, 4, 2}, {5, 1, 4, 2, 0}};
  const std::vector<std::pair<int, Table>> rows = {
      {1, {{INT_MIN, 1, 1, 3, 3}, {4, 2, 2, 1, 3}, {2, 1, 0, 5, 4}}},
      {2, {{3, 1, 1, 3, INT_MIN}, {1, 2, 2, 3, 4}, {5, 1, 0, 4, 2}}},
      {3, {{1, 1, INT_MIN, 3, 3}, {2, 2, 4, 3, 1}, {0, 1, 2, 4, 5}}}};
  for (const auto& [key, sorted] : rows) {
    Table three = table;
    TERela3WaySort(three[0], three[1], three[2], key);
    EXPECT_EQ(three, sorted) << key;
    Table two = table;
    TERela2WaySort(two[0], two[1], key);
    const Table& expected = key == 3 ? rows[0].second : sorted;
    EXPECT_EQ(two[0], expected[0]);
    EXPECT_EQ(two[1], expected[1]);
  }
  Numbers longer = {2, 1};
  Numbers shorter = {0};
  TERela2WaySort(longer, shorter, 1);
  EXPECT_EQ(longer, (Numbers{2, 1}));
}

}  // namespace
