#include <gtest/gtest.h>

#include <climits>
#include <numeric>

#include "platform/testkit/testkit.h"
#include "util/basicutil/stringutil.h"

namespace {

using namespace NSTE_util;
using namespace std::string_literals;

TEST(StringUtilNumbers, ToText) {
  EXPECT_EQ(Num2Str(INT_MIN), "-2147483648");
  EXPECT_EQ(IntToStr(-1, false), "-1");
  EXPECT_EQ(IntToStr(0xABCDEF01, true), "0xABCDEF01");
  EXPECT_EQ(IntToStr(-1, true), "0xFFFFFFFF");
  EXPECT_EQ(TEIP2Str(0x0A0000FF), "10.0.0.255");
  EXPECT_EQ(TEIP2Str(0x1FFFFFFFFUL), "255.255.255.255");
  EXPECT_EQ(TENEID2Str(9 * 65536 + 1), "9-1");
  EXPECT_EQ(TENEID2Str(0xFFFFFFFF), "65535-65535");
}

TEST(StringUtilNumbers, ABlankLeadsInEnglishOnly) {
  for (const std::string language : {"en_US", "zh_CN", ""}) {
    const testkit::Language current(language);
    const std::string lead = language == "en_US" ? " " : "";
    EXPECT_EQ(ConvertULONGToStr(0x1FFFFFFFFUL, false), lead + "4294967295");
    EXPECT_EQ(ConvertLONGToStr(-5, false), lead + "-5");
    EXPECT_EQ(ConvertHEXToStr(0xAB, false), lead + "ab");
    EXPECT_EQ(ConvertULONGToStr(5, true) + ConvertLONGToStr(5, true) + ConvertHEXToStr(5, true), "555");
  }
}

TEST(StringUtilNumbers, FormatsIntoItsBuffer) {
  std::string text = "7";
  EXPECT_EQ(TEFormat(text, "%s-%d", text.c_str(), 1), 3);
  EXPECT_EQ(text, "7-1");
  const std::string full(FORMAT_TEXT - 1, 'x');
  EXPECT_EQ(TEFormat(text, "%s", full.c_str()), FORMAT_TEXT - 1);
  EXPECT_EQ(text, full);
  EXPECT_EQ(TEFormat(text, "%syz", full.c_str()), FORMAT_TEXT + 1);
  EXPECT_EQ(text, full);
}

TEST(StringUtilNumbers, Bytes) {
  const unsigned char bytes[] = {0x0A, 0xFF, 0x10};
  const RWDBBlob blob(bytes, sizeof(bytes));
  struct Row {
    unsigned offset, length;
    std::string expected;
  };
  const std::vector<Row> rows = {{0, 0, "0X0AFF10"}, {0, 2, "0X0AFF"}, {1, 9, "0XFF10"},
                                 {3, 1, "0X"},       {4, 0, "0X"},     {UINT_MAX, 1, "0X"}};
  for (const Row& row : rows) EXPECT_EQ(Blob2Str(blob, row.offset, row.length), row.expected) << row.offset;
  EXPECT_EQ(Blob2Str({}, 0, 0), "0X");

  const std::vector<std::pair<std::string, std::string>> pairs = {
      {"414", "A"},   {"4", ""},      {"", ""},        {"fFa0", "\xFF\xA0"},
      {"g0", "\xF0"}, {"0g", "\xFF"}, {"4100", "A\0"s}};
  for (const auto& [hex, expected] : pairs) {
    std::string out = "old";
    HexToBinary(hex, out);
    EXPECT_EQ(out, expected) << hex;
  }
  int values = 0;  // of the 256 characters, 22 are digits: 0 to 15, and a to f once more
  for (int c = 0; c < 256; ++c) {
    const unsigned char value = convertCharToChar(static_cast<unsigned char>(c));
    values += value == 255 ? 0 : 1000 + value;
  }
  EXPECT_EQ(values, 22'000 + 120 + 75);
}

TEST(StringUtilNumbers, FromText) {
  struct Row {
    std::string text;
    int base;
    bool result;
    int n;
  };
  const std::vector<Row> rows = {{" 12 ", 10, true, 12},
                                 {"", 10, false, 99},
                                 {"  ", 10, false, 99},
                                 {"12a", 10, false, 12},
                                 {"a", 10, false, 0},
                                 {"-7", 10, true, -7},
                                 {"+7", 10, true, 7},
                                 {"1 2", 10, false, 1},
                                 {"1\0"s, 10, false, 1},
                                 {"0x1F", 16, true, 31},
                                 {"1f", 16, true, 31},
                                 {"0x10", 0, true, 16},
                                 {"12\t", 10, false, 12},
                                 {"\t12", 10, true, 12},
                                 {"1", 1, false, 0},
                                 {"2147483647", 10, true, INT_MAX},
                                 {"2147483648", 10, false, INT_MAX},
                                 {"-99999999999999999999", 10, false, INT_MIN}};
  for (const Row& row : rows) {
    int n = 99;
    EXPECT_EQ(StrToInt(row.text, n, row.base), row.result) << row.text;
    EXPECT_EQ(n, row.n) << row.text;
  }
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
  struct Row {
    const char* text;
    bool result;
    unsigned ip;
  };
  const std::vector<Row> rows = {{"10.0.0.1", true, 0x0A000001},
                                 {" 10 .0. 0.001", true, 0x0A000001},
                                 {"255.255.255.255", true, 0xFFFFFFFF},
                                 {"", false, 0},
                                 {nullptr, false, 0},
                                 {"1.2.3", false, 0x010203},
                                 {"1.2.256.4", false, 0x0102},
                                 {"1.2.3.4.5", false, 0x01020304},
                                 {"1.2.3.4.", false, 0x01020304},
                                 {".1.2.3", false, 0},
                                 {"1..2.3.4", false, 1},
                                 {"1.-2.3.4", false, 1},
                                 {"1. .3.4", false, 1},
                                 {"1.0x2.3.4", false, 1},
                                 {"1.4294967297.3.4", false, 1}};
  for (const Row& row : rows) {
    unsigned ip = 99;
    EXPECT_EQ(TEStr2Ip(row.text, ip), row.result) << (row.text != nullptr ? row.text : "null");
    EXPECT_EQ(ip, row.ip);
  }
}

TEST(StringUtilNumbers, Identifiers) {
  constexpr unsigned long NONE = 0xFFFFFFFFFFUL;  // no identifier: left alone
  const std::vector<std::pair<const char*, unsigned long>> rows = {{"9-1", 0x90001},
                                                                   {"0x90001", 0x90001},
                                                                   {"589825", 0x90001},
                                                                   {"", NONE},
                                                                   {nullptr, NONE},
                                                                   {"9-", NONE},
                                                                   {"-1", NONE},
                                                                   {"-", NONE},
                                                                   {"1-65537", 0x10001},
                                                                   {"1-131072", 0x30000},
                                                                   {"65536-1", 1},
                                                                   {"9--1", 0xFFFFFFFF},
                                                                   {"0X12", 0},
                                                                   {"0x", 0},
                                                                   {"0xg", NONE},
                                                                   {"0xFFFFFFFF", 0xFFFFFFFF},
                                                                   {"9a-1b", 0x90001},
                                                                   {"a-1", NONE},
                                                                   {"9-a", NONE},
                                                                   {"12ab", 12},
                                                                   {"4294967295", 0xFFFFFFFF},
                                                                   {"4294967296", NONE},
                                                                   {"0x100000000", NONE},
                                                                   {" 5", 5},
                                                                   {"9-1-2", 0x90001},
                                                                   {"9-99999999999", NONE}};
  for (const auto& [text, expected] : rows) {
    unsigned long id = NONE;
    EXPECT_EQ(TEStr2NEID(text, id), expected != NONE) << (text != nullptr ? text : "null");
    EXPECT_EQ(id, expected) << (text != nullptr ? text : "null");
  }

  std::vector<RWCString> texts = {"9-1", "7"};
  std::vector<unsigned long> ids = {1};
  EXPECT_TRUE(TEVecStr2NEID(texts, ids));
  EXPECT_EQ(ids, (std::vector<unsigned long>{0x90001, 7}));
  texts.insert(texts.begin(), "x");
  EXPECT_FALSE(TEVecStr2NEID(texts, ids));
  EXPECT_TRUE(ids.empty());
  texts.clear();
  EXPECT_TRUE(TEVecStr2NEID(texts, ids));
}

}  // namespace
