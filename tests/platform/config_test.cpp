#include "platform/config/frame_util.h"
#include "platform/config/vela_config.h"
#include "platform/text/vela_msg.h"
#include "tests/test_base.h"

namespace {

std::string File(const std::string& content) {
  return files::Write("test.cfg", content);
}

TEST(Config, OneLine) {
  const std::string longest(VELA_LINE_TEXT - 1, 'v');
  const std::string quotes(VELA_LINE_TEXT - 1, '"');
  std::string escaped;
  for (const char quote : quotes) escaped += std::string("\\") + quote;
  // line -> key|value; "-": skipped
  std::vector<std::pair<std::string, std::string>> rows = Rows(
      "key=value -> key|value;  \tkey \t=  a b \t -> key|a b; key=a=b -> key|a=b; key= -> key|; "
      "key = value\r -> key|value; \xEF\xBB\xBFkey=1 -> key|1; key = value # rest -> key|value; "
      "key = a#b -> key|a#b; key =#b -> key|#b; key = #b -> key|; key = \"\" -> key|; "
      "key = \" a # \\\"b\\\" \\\\ \\n\\t\\q \" # rest -> key| a # \"b\" \\ \n\t\\q ; "
      // not closed, or going on behind the quote: as it stands
      "key = \"open # rest -> key|\"open; key = \"a\" b -> key|\"a\" b; key = \"a\\ -> key|\"a\\; "
      "# key = value -> -; a # key = value -> -;  -> -; = value -> -; key value -> -; "
      // not in UTF-8, which does not matter in a comment
      "k=\xC3( -> -; \xED\xA0\x80=1 -> -; k=1 # \xFF -> k|1");
  const std::pair<std::string, std::string> longRows[] = {{"k=" + longest, "k|" + longest},
                                                          {longest + "=1", longest + "|1"},
                                                          {"k=\"" + escaped + "\"", "k|" + quotes},
                                                          {"k=v" + longest, "-"},
                                                          {"k" + longest + "=1", "-"},
                                                          {"k=1" + std::string(100'000, ' '), "-"},
                                                          {std::string("k=a\0b", 5), "-"}};
  rows.insert(rows.end(), std::begin(longRows), std::end(longRows));
  for (const auto& [line, expected] : rows) {
    std::FILE* file = VELA_OS::fopen(File(line + "\nnext = line").c_str(), "r");
    char key[VELA_LINE_TEXT];
    char value[VELA_LINE_TEXT];
    const int kind = VelaGetLine(file, key, value);
    const std::string read = std::string(key) + "|" + value;
    EXPECT_EQ(kind == VELA_LINE_SKIP && read == "|" ? "-" : read, expected) << line;
    EXPECT_EQ(VelaGetLine(file, key, value), VELA_LINE_ENTRY) << "behind " << line;
    EXPECT_STREQ(value, "line") << line;
    EXPECT_EQ(VelaGetLine(file, key, value), VELA_LINE_END);
    VELA_OS::fclose(file);
  }
}

TEST(Config, Integers) {
  for (const auto& [text, expected] :
       Rows("0 -> 1 0; -2147483648 -> 1 -2147483648; 2147483647 -> 1 2147483647; +5 -> 1 5; 010 -> 1 10; "
            "0x4101F012 -> 1 1090646034; 0XFFFFFFFF -> 1 -1; 2147483648 -> 0 77; 0x100000000 -> 0 77; "
            "0x -> 0 77; -0x1 -> 0 77; +-5 -> 0 77; 5 apples -> 0 77;  -> 0 77; 1.5 -> 0 77")) {
    int value = 77;
    const int result = VelaGetRegInt(File("k = " + text).c_str(), "k", value);
    EXPECT_EQ(std::to_string(result) + " " + std::to_string(value), expected) << text;
  }
}

TEST(Config, LookUp) {
  const std::string file = File("a=1\nb=first\nb=second\nK=upper\nlast=no line end");
  const auto lookUp = [](const std::string& name, const std::string& key) {
    std::string value = "old";
    const int result = VelaGetRegString(name.c_str(), key.c_str(), value);
    return std::to_string(result) + " " + value;
  };
  for (const auto& [key, expected] :
       Rows("b -> 1 first; k -> 0 old; last -> 1 no line end; missing -> 0 old;  -> 0 old"))
    EXPECT_EQ(lookUp(file, key), expected) << key;
  for (const std::string& none : {file + ".none", vela::InstallRoot()})
    EXPECT_EQ(lookUp(none, "a"), "-1 old");
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
