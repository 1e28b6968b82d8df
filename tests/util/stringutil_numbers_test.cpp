#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "platform/testkit/testkit.h"
#include "tests/util/rows.h"
#include "util/basicutil/stringutil.h"

namespace {

using namespace NSTE_util;
using namespace std::string_literals;

TEST(StringUtilNumbers, ToText) {
  EXPECT_EQ(Num2Str(INT_MIN), "-2147483648");
  EXPECT_EQ(IntToStr(-1, false), "-1");
  EXPECT_EQ(IntToStr(0xABCDEF01, true), "0xABCDEF01");
  EXPECT_EQ(TEIP2Str(0x0A0000FF), "10.0.0.255");
  EXPECT_EQ(TEIP2Str(0x1FFFFFFFFUL), "255.255.255.255") << "32 bits wide";
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
  for (const char* more : {"", "y", "yz"}) {
    EXPECT_EQ(TEFormat(text, "%s%s", full.c_str(), more),
              FORMAT_TEXT - 1 + static_cast<int>(std::strlen(more)));
    EXPECT_EQ(text, full);
  }
}

TEST(StringUtilNumbers, Bytes) {
  const unsigned char bytes[] = {0x0A, 0xFF, 0x10};
  const RWDBBlob blob(bytes, sizeof(bytes));
  EXPECT_EQ(Blob2Str(blob, 0, 0), "0X0AFF10");
  EXPECT_EQ(Blob2Str(blob, 0, 2), "0X0AFF");
  EXPECT_EQ(Blob2Str(blob, 1, 9), "0XFF10");
  for (const unsigned offset : {3U, 4U, UINT_MAX}) EXPECT_EQ(Blob2Str(blob, offset, 1), "0X");

  const std::vector<std::pair<std::string, std::string>> pairs = {
      {"414", "A"},   {"4", ""},         {"fFaA", "\xFF\xAA"}, {"g0", "\xF0"},
      {"0g", "\xFF"}, {"41@9", "A\xF9"}, {"Gf:/", "\xFF\xEF"}};
  for (const auto& [hex, expected] : pairs) {
    std::string out = "old";
    HexToBinary(hex, out);
    EXPECT_EQ(out, expected) << hex;
  }
}

TEST(StringUtilNumbers, FromText) {
  const auto read = [](const std::string& text, int base) {
    int n = 99;
    const bool result = StrToInt(text, n, base);
    return (result ? "" : "bad ") + std::to_string(n);
  };
  for (const auto& [text, expected] :
       Rows({" 12  -> 12", " -> bad 99", "   -> bad 99", "12a -> bad 12", "a -> bad 0", "-7 -> -7", "+7 -> 7",
             "1 2 -> bad 1", "\t12 -> 12", "12\t -> bad 12", "2147483647 -> 2147483647",
             "2147483648 -> bad 2147483647", "-99999999999999999999 -> bad -2147483648"}))
    EXPECT_EQ(read(text, 10), expected) << text;
  EXPECT_EQ(read("0x1F", 16) + read("1f", 16) + read("0x10", 0), "313116");
  EXPECT_EQ(read("1", 1), "bad 0") << "no such base";
  EXPECT_EQ(read("1\0"s, 10), "bad 1");
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
       Rows({"10.0.0.1 -> 0A000001", " 10 .0. 0.001 -> 0A000001", "255.255.255.255 -> FFFFFFFF",
             " -> bad 00000000", "1.2.3 -> bad 00010203", "1.2.256.4 -> bad 00000102",
             "1.2.3.4.5 -> bad 01020304", "1.2.3.4. -> bad 01020304", ".1.2.3 -> bad 00000000",
             "1..2.3.4 -> bad 00000001", "1.-2.3.4 -> bad 00000001", "1. .3.4 -> bad 00000001",
             "1.0x2.3.4 -> bad 00000001", "1.4294967297.3.4 -> bad 00000001"})) {
    unsigned ip = 99;
    std::string found;
    const bool result = TEStr2Ip(text.c_str(), ip);
    TEFormat(found, "%s%08X", result ? "" : "bad ", ip);
    EXPECT_EQ(found, expected) << text;
  }
  unsigned ip = 99;
  EXPECT_FALSE(TEStr2Ip(nullptr, ip));
}

TEST(StringUtilNumbers, Identifiers) {
  for (const auto& [text, expected] : Rows({"9-1 -> 0x90001",      "0x90001 -> 0x90001",
                                            "589825 -> 0x90001",   " -> bad",
                                            "9- -> bad",           "-1 -> bad",
                                            "1-65537 -> 0x10001",  "1-131072 -> 0x30000",
                                            "65536-1 -> 0x1",      "9--1 -> 0xFFFFFFFF",
                                            "0X12 -> 0x0",         "0x -> 0x0",
                                            "0xg -> bad",          "9a-1b -> 0x90001",
                                            "a-1 -> bad",          "9-a -> bad",
                                            "12ab -> 0xC",         "4294967295 -> 0xFFFFFFFF",
                                            "4294967296 -> bad",   "0xFFFFFFFF -> 0xFFFFFFFF",
                                            "0x100000000 -> bad",  "9-1-2 -> 0x90001",
                                            "9-99999999999 -> bad"})) {
    unsigned long id = 99;
    EXPECT_EQ(TEStr2NEID(text.c_str(), id) ? IntToStr(static_cast<long>(id), true) : "bad", expected) << text;
    EXPECT_TRUE(expected != "bad" || id == 99) << text;
  }
  std::vector<RWCString> texts = {"9-1", "7"};
  std::vector<unsigned long> ids = {1};
  EXPECT_TRUE(TEVecStr2NEID(texts, ids));
  EXPECT_EQ(ids, (std::vector<unsigned long>{0x90001, 7}));
  texts.insert(texts.begin(), "x");
  EXPECT_FALSE(TEVecStr2NEID(texts, ids));
  EXPECT_TRUE(ids.empty());
}

}  // namespace
