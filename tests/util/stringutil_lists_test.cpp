#include <gtest/gtest.h>

#include <climits>

#include "util/basicutil/stringutil.h"

namespace {

using namespace NSTE_util;
using Numbers = std::vector<int>;

TEST(StringUtilLists, AreWrittenInBothForms) {
  struct Row {
    Numbers numbers;
    const char* plain;
    const char* runs;
    const char* ampersands;
  };
  const std::vector<Row> rows = {{{}, "", "", ""},
                                 {{7}, "7", "7", "7"},
                                 {{1, 2, 3, 5}, "1,2,3,5", "1-3,5", "1&&3&5"},
                                 {{4, 5}, "4,5", "4-5", "4&5"},
                                 {{1, 2, 3, 5, 6, 9}, "1,2,3,5,6,9", "1-3,5-6,9", "1&&3&5&6&9"},
                                 {{5, 1, 2}, "5,1,2", "5,1-2", "5&1&2"},
                                 {{1, 1, 0}, "1,1,0", "1,1,0", "1&1&0"},
                                 {{-1, 0, 1}, "-1,0,1", "-1-1", "-1&&1"},
                                 {{INT_MAX - 1, INT_MAX, INT_MIN},
                                  "2147483646,2147483647,-2147483648",
                                  "2147483646-2147483647,-2147483648",
                                  "2147483646&2147483647&-2147483648"}};
  for (const Row& row : rows) {
    RWCString text = "old";
    std::string standard = "old";
    EXPECT_TRUE(NumListToStr(row.numbers, text));
    EXPECT_EQ(text, row.plain);
    EXPECT_TRUE(NumListToStr2(row.numbers, text));
    EXPECT_EQ(text, row.runs);
    EXPECT_TRUE(NumListToStr2(std::list<int>(row.numbers.begin(), row.numbers.end()), text));
    EXPECT_EQ(text, row.runs);
    TEVec2Str(row.numbers, text);
    EXPECT_EQ(text, row.ampersands);
    TEVec2Str(row.numbers, standard);
    EXPECT_EQ(standard, row.ampersands);
  }
}

TEST(StringUtilLists, AmpersandsAreRead) {
  struct Row {
    const char* text;
    bool result;
    Numbers numbers;
  };
  const std::vector<Row> rows = {{"1&3&&6", true, {1, 3, 4, 5, 6}},
                                 {"6&&3", true, {6, 5, 4, 3}},
                                 {"1&&1", true, {1, 1}},
                                 {"1&&&3", true, {1, 2, 3}},
                                 {" 1 & 2", true, {1, 2}},
                                 {"1&&3&&2", true, {1, 2, 3, 2}},
                                 {"", false, {}},
                                 {nullptr, false, {}},
                                 {"&1", false, {}},
                                 {"1&", false, {}},
                                 {"&", false, {}},
                                 {"1&a&2", false, {1}},
                                 {"1& &2", false, {1}},
                                 {"1&-2", false, {1}},
                                 {"1&2147483648", false, {1}},
                                 {"0&&2147483647", false, {0}},
                                 {"2147483647&&0", false, {INT_MAX}}};
  for (const Row& row : rows) {
    Numbers numbers = {99};
    EXPECT_EQ(TEStr2Vec(row.text, numbers), row.result) << (row.text != nullptr ? row.text : "null");
    EXPECT_EQ(numbers, row.numbers);
    EXPECT_EQ(TEStr2Vec(RWCString(row.text), numbers), row.result);
    EXPECT_EQ(numbers, row.numbers);
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
  struct Row {
    const char* text;
    bool result;
    int from, to;
  };
  const std::vector<Row> rows = {{"7", true, 7, 7},    {" 1 - 3 ", true, 1, 3}, {"3-1", false, 3, 1},
                                 {"-5", false, 99, 5}, {"5-", false, 5, 99},    {"1-2-3", false, 1, 2},
                                 {"", false, 99, 99},  {"a", false, 0, 0},      {"1--2", false, 1, -2},
                                 {"0-0", true, 0, 0}};
  for (const Row& row : rows) {
    int from = 99;
    int to = 99;
    EXPECT_EQ(GetSpan(RWCString(row.text), from, to), row.result) << row.text;
    EXPECT_EQ(from, row.from) << row.text;
    EXPECT_EQ(to, row.to) << row.text;
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
  const Numbers a = {3, 1, 3, INT_MIN, 1};
  const Numbers b = {1, 2, 3, 4, 2};
  const Numbers c = {5, 1, 4, 2, 0};
  struct Row {
    int key;
    Numbers order;  // of the rows
  };
  for (const Row& row : std::vector<Row>{
           {1, {3, 1, 4, 0, 2}}, {2, {0, 1, 4, 2, 3}}, {3, {4, 1, 3, 2, 0}}, {0, {3, 1, 4, 0, 2}}}) {
    const auto ordered = [&row](const Numbers& column) {
      Numbers result;
      for (const int i : row.order) result.push_back(column[static_cast<std::size_t>(i)]);
      return result;
    };
    Numbers x = a;
    Numbers y = b;
    Numbers z = c;
    TERela3WaySort(x, y, z, row.key);
    EXPECT_EQ((std::vector{x, y, z}), (std::vector{ordered(a), ordered(b), ordered(c)})) << row.key;
    if (row.key == 3) continue;
    x = a;
    y = b;
    TERela2WaySort(x, y, row.key);
    EXPECT_EQ((std::vector{x, y}), (std::vector{ordered(a), ordered(b)})) << row.key;
  }
  Numbers longer = {2, 1};
  Numbers shorter = {0};
  TERela2WaySort(longer, shorter, 1);
  TERela3WaySort(longer, longer, shorter, 1);
  EXPECT_EQ(longer, (Numbers{2, 1}));
  Numbers none;
  TERela2WaySort(none, shorter = {}, 2);
}

}  // namespace
