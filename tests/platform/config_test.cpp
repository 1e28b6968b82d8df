#include <gtest/gtest.h>

#include "platform/config/frame_util.h"
#include "platform/config/vela_config.h"
#include "platform/os/vela_os.h"
#include "platform/text/vela_msg.h"
#include "tests/files.h"

namespace {

std::string File(const std::string& content) {
  return files::Write("test.cfg", content);
}

TEST(Config, OneLine) {
  const std::string longest(VELA_LINE_TEXT - 1, 'v');
  const std::string quotes(VELA_LINE_TEXT - 1, '"');
  std::string escaped;
  for (const char quote : quotes) escaped += std::string("\\") + quote;
  const std::string skipped = "(skipped)";
  const std::tuple<std::string, std::string, const char*> rows[] = {
      // line, key "|" value, why
      {"key=value", "key|value", "the plain form"},
      {" \tkey \t=  a b \t", "key|a b", "blanks around both are dropped, those inside are kept"},
      {"key=a=b", "key|a=b", "the first = separates"},
      {"key=", "key|", "an empty value is a value"},
      {"key = value\r", "key|value", "CRLF"},
      {"\xEF\xBB\xBFkey=1", "key|1", "byte-order mark"},
      {"key = value # rest", "key|value", "comment behind a blank"},
      {"key = a#b", "key|a#b", "no blank, no comment"},
      {"key =#b", "key|#b", "no blank, no comment"},
      {"key = #b", "key|", "only a comment"},
      {"key = \" a # \\\"b\\\" \\\\ \\n\\t\\q \" # rest", "key| a # \"b\" \\ \n\t\\q ", "with escapes"},
      {"key = \"\"", "key|", "quoted and empty"},
      {"key = \"open # rest", "key|\"open", "not closed: as it stands"},
      {"key = \"a\" b", "key|\"a\" b", "goes on behind the quote: as it stands"},
      {"key = \"a\\", "key|\"a\\", "ends within an escape"},
      {"k=" + longest, "k|" + longest, "as long as may be"},
      {longest + "=1", longest + "|1", "as long as may be"},
      {"k=\"" + escaped + "\"", "k|" + quotes, "as long as may be, every byte escaped"},
      {"# key = value", skipped, "comment line"},
      {"a # key = value", skipped, "the = is in the comment"},
      {"", skipped, "empty line"},
      {"= value", skipped, "no key"},
      {"key value", skipped, "no ="},
      {"k=v" + longest, skipped, "value too long"},
      {"k" + longest + "=1", skipped, "key too long"},
      {"k=1" + std::string(100'000, ' '), skipped, "line too long"},
      {std::string("k=a\0b", 5), skipped, "zero byte"},
      {"k=\xC3(", skipped, "value not in UTF-8"},
      {"\xED\xA0\x80=1", skipped, "key not in UTF-8"},
      {"k=1 # \xFF", "k|1", "the comment does not matter"},
  };
  for (const auto& [line, expected, why] : rows) {
    std::FILE* file = VELA_OS::fopen(File(line + "\nnext = line").c_str(), "r");
    char key[VELA_LINE_TEXT];
    char value[VELA_LINE_TEXT];
    const int kind = VelaGetLine(file, key, value);
    const std::string read = std::string(key) + "|" + value;
    EXPECT_EQ(kind == VELA_LINE_SKIP && read == "|" ? skipped : read, expected) << why;
    EXPECT_EQ(VelaGetLine(file, key, value), VELA_LINE_ENTRY) << "the line behind: " << why;
    EXPECT_STREQ(value, "line") << why;
    EXPECT_EQ(VelaGetLine(file, key, value), VELA_LINE_END);
    VELA_OS::fclose(file);
  }
}

TEST(Config, Integers) {
  const std::map<std::string, int> good = {
      {"0", 0},    {"-2147483648", INT32_MIN}, {"2147483647", INT32_MAX}, {"+5", 5},
      {"010", 10}, {"0x4101F012", 0x4101F012}, {"0XFFFFFFFF", -1}};
  for (const auto& [text, expected] : good) {
    int value = 77;
    EXPECT_EQ(VelaGetRegInt(File("k = " + text).c_str(), "k", value), 1) << text;
    EXPECT_EQ(value, expected) << text;
  }
  for (const char* bad : {"2147483648", "0x100000000", "0x", "-0x1", "+-5", "5 apples", "", "1.5"}) {
    int value = 77;
    EXPECT_EQ(VelaGetRegInt(File(std::string("k = ") + bad).c_str(), "k", value), 0) << bad;
    EXPECT_EQ(value, 77) << bad;
  }
}

TEST(Config, LookUp) {
  const std::string file = File("a=1\nb=first\nb=second\nK=upper\nlast=no line end");
  const std::tuple<std::string, const char*, int, const char*> rows[] = {
      {file, "b", 1, "first"},
      {file, "k", 0, "old"},
      {file, "last", 1, "no line end"},
      {file, "missing", 0, "old"},
      {file, "", 0, "old"},
      {file + ".none", "a", -1, "old"},
      {vela::InstallRoot(), "a", -1, "old"}};
  for (const auto& [name, key, result, expected] : rows) {
    std::string value = "old";
    EXPECT_EQ(VelaGetRegString(name.c_str(), key, value), result) << name << " " << key;
    EXPECT_EQ(value, expected) << key;
  }
}

TEST(UserConfig, KeepsTextsOfAnyKind) {
  std::string value = "old";
  EXPECT_NE(FrameUtil::GetUserCfgInfo("TRANS", "slotModeflg", value), 0) << "no database";
  EXPECT_EQ(value, "");
  const std::string odd = "x' or '1'='1";
  ASSERT_EQ(FrameUtil::SetUserCfgInfo("TRANS", "slotModeflg", "1"), 0);
  ASSERT_EQ(FrameUtil::SetUserCfgInfo("TRANS", "slotModeflg", "2"), 0);
  ASSERT_EQ(FrameUtil::SetUserCfgInfo("TRANS", odd, std::string("a\0b", 3)), 0);
  EXPECT_EQ(FrameUtil::GetUserCfgInfo("TRANS", "slotModeflg", value), 0);
  EXPECT_EQ(value, "2");
  EXPECT_EQ(FrameUtil::GetUserCfgInfo("TRANS", odd, value), 0);
  EXPECT_EQ(value, std::string("a\0b", 3));
  EXPECT_NE(FrameUtil::GetUserCfgInfo("OTHER", "slotModeflg", value), 0);
  EXPECT_EQ(value, "");
  files::Write("var/db/usercfg.db", std::string(5000, 'x'));
  EXPECT_NE(FrameUtil::GetUserCfgInfo("TRANS", "slotModeflg", value), 0) << "damaged";
  EXPECT_NE(FrameUtil::SetUserCfgInfo("TRANS", "slotModeflg", "1"), 0);
}

TEST(Language, ComesFromTheConfigurationOnce) {
  using VELAcommon::VELAMsg;
  files::Write("etc/conf/vela.cfg", "Language = zh_CN\n");
  EXPECT_EQ(VELAMsg::getLanguage(), "zh_CN");
  files::Write("etc/conf/vela.cfg", "Language = de_DE\n");
  EXPECT_EQ(VELAMsg::getLanguage(), "zh_CN");
  for (const char* bad : {"../../etc", "a/b", "a\\b", ".hidden"}) VELAMsg::setLanguage(bad);
  EXPECT_EQ(VELAMsg::getLanguage(), "zh_CN") << "a language never leads out of the resource folder";
  VELAMsg::setLanguage("");
  EXPECT_EQ(VELAMsg::getLanguage(), "") << "an unset language is not read in again";
}

}  // namespace
