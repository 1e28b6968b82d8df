#include "apps/common/texts.h"

#include <gtest/gtest.h>

#include <set>

#include "platform/testkit/testkit.h"
#include "tests/apps/child.h"
#include "util/basicutil/lang_res_base.h"

namespace apps_test {
namespace {

std::multiset<char> Places(const std::string& text) {
  std::multiset<char> places;
  for (std::size_t at = 0; (at = text.find('{', at)) != std::string::npos; ++at) places.insert(text[at + 1]);
  return places;
}

// Help stands in numbered lines, which a language may have as many of as it needs.
TEST(TextsTest, ShippedFilesHoldEveryTextOnce) {
  for (const char* language : {"en_US", "zh_CN"}) {
    SCOPED_TRACE(language);
    const testkit::Language current(language);
    apps::LoadTexts();
    int found = 0;
    for (const apps::BuiltInText& text : apps::kTexts) {
      const bool help = text.english.ends_with('\n');
      std::string said;
      for (int i = help ? 0 : -1; NSTE_util::AppendResAndTrimAChar(text.key.data(), i, said); ++i) {
        ++found;
        if (!help) break;
        said += '\n';
      }
      EXPECT_EQ(Places(said), Places(std::string(text.english))) << text.key;
      EXPECT_EQ(said == text.english, std::string(language) == "en_US") << text.key;
    }
    int entries = 0;
    for (const std::string& line :
         files::Lines(files::Read("res/" + std::string(language) + "/resource.txt")))
      entries += !line.empty() && line[0] != '#';
    EXPECT_EQ(found, entries) << "a key twice, or one that nobody asks for";
    NSTE_util::TELangResMgr::Destroy();
  }
}

TEST(TextsTest, FallBackAndHostileResources) {
  EXPECT_EQ(apps::Text("CONFIG_NO_PROCESS"), "the key ProcNumber is missing") << "nothing is loaded";
  EXPECT_EQ(apps::ErrorText(0x42010102), "the name is empty");
  EXPECT_EQ(apps::ErrorText(0xFFFFFFFF), "");
  EXPECT_EQ(apps::TypeName("X"), "X");
  files::Write("res/xx/resource.txt",
               "INVENTORY_LINE = {2}{1}{3}{}{0}{%n%s\x1B[2J\n"
               "ERR42010103 = \"\\n{1}{1}\"\n"
               "ERR = all ones\n"
               "INVENTORY_EMPTY =\n"
               "NETYPE_X = type {1}\n");
  const testkit::Language current("xx");
  apps::LoadTexts();
  EXPECT_EQ(apps::Text("INVENTORY_LINE", {"{2}", "b"}), "b{2}{3}{}{0}{%n%s\\x1B[2J")
      << "values are not looked into";
  EXPECT_EQ(apps::ErrorText(0x42010103, {"a"}), "\\x0Aaa");
  EXPECT_EQ(apps::ErrorText(0xFFFFFFFF), "") << "no code is the key without one";
  EXPECT_EQ(apps::Text("INVENTORY_EMPTY"), "no NE follows the head") << "an empty text is none";
  EXPECT_EQ(apps::TypeName("X"), "type {1}");
  NSTE_util::TELangResMgr::Destroy();
}

TEST(ProgramsTest, SpeakTheLanguageOfTheRoot) {
  files::Write("etc/conf/vela.cfg", "Language = zh_CN\n");
  std::string texts = files::Read("res/zh_CN/resource.txt");
  texts.replace(texts.find("AUDIT_READING ="), 13, "REMOVED");
  files::Write("res/zh_CN/resource.txt", texts);
  const std::string inventory =
      files::Write("two.csv",
                   "identifier,name,type,address,version,position\n"
                   "9-1,深圳福田,OTN-9600,10.0.0.1,6.1,\n9-1,a,OTN-9600,10.0.0,6.1,\n");
  {
    Server stuck("AuditRecordMicroseconds = 10000000\n");
    ASSERT_TRUE(stuck.Ready());
    Child second({VELA_BIN_DIR "/velad", "-f", "test.cfg"});
    EXPECT_EQ(second.End(), 1);
    EXPECT_EQ(second.Text(Child::err), "velad: 地址 100/1 已被另一进程占用；请给本进程另设 ProcHandle\n");
    Audit audit(inventory);
    ASSERT_TRUE(audit.Says(Child::err, "% 检查 光传送设备 OTN-9600：2 个网元\n"));
    EXPECT_NE(audit.Text(Child::err).find("% Reading 2 records\n"), std::string::npos)
        << "missing: in English";
    audit.Signal(SIGINT);
    EXPECT_EQ(audit.End(), 1);
    EXPECT_NE(audit.Text(Child::err).find("velactl: 核查在检查 "), std::string::npos);
  }
  Server server("");
  ASSERT_TRUE(server.Ready());
  Audit audit(inventory);
  EXPECT_EQ(audit.End(), 0);
  EXPECT_EQ(audit.Text(Child::out),
            "行  故障              网元  名称  说明\n"
            "3   address-form      9-1   a     地址 \"10.0.0\" 不是 IPv4 地址\n"
            "3   identifier-twice  9-1   a     标识 9-1 与 \"深圳福田\" 相同，第 2 行\n"
            "\n"
            "共 2 个网元，已检查 2 个，发现 2 处故障\n");
}

}  // namespace
}  // namespace apps_test
