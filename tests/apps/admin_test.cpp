#include <gtest/gtest.h>

#include <string>

#include "apps/asn1/nms_codes.h"
#include "apps/common/texts.h"
#include "apps/handlers/admin/process_reload.h"
#include "apps/handlers/admin/process_status.h"
#include "asn1/nms.h"
#include "platform/testkit/testkit.h"
#include "tests/apps/child.h"
#include "util/basicutil/mutex.h"
#include "util/basicutil/mutex_ne.h"
#include "util/basicutil/taskcontext.h"
#include "util/basicutil/tecommonerror.h"

// What every server process tells its operators, and does for them while it serves.
namespace apps_test {
namespace {

using NSTE_util::TEMutexOperGuard;
using NSTE_util::TEOperObject;

const std::string kRules = "[MUTEX_TABLE]\n5:6:0\n";
const std::string kOtherRules = "[MUTEX_TABLE]\n5:7:0\n[MUTEX_ERRORCODE]\n5:77\n";

// Who may start while operation 5 runs, and what the others are told.
std::pair<unsigned long, unsigned long> Beside(const TEMutexOperGuard&) {
  const TEOperObject object(1, 0, 0);
  return {TEMutexOperGuard(6, object).GetResult(), TEMutexOperGuard(7, object).GetResult()};
}

TEST(AdminTest, AReloadTakesAllOrNothing) {
  const testkit::Language english("en_US");
  velad::ReloadFiles files{files::Write("debug.cfg", "default = 1,1,0,0\n"),
                           files::Write("rules.cfg", kRules)};
  std::string reason;
  ASSERT_EQ(velad::Reload(files, "", reason), 0U) << reason;
  const TEMutexOperGuard running(5, TEOperObject(1, 0, 0));
  const std::pair<unsigned long, unsigned long> before = {NSTE_util::OPER_REFUSED, 0};
  ASSERT_EQ(Beside(running), before);

  const struct {
    const char* file;  // that is wrong
    std::string content;
    const char* language;
    std::uint32_t code;
    const char* reason;
  } cases[] = {
      {"res/yy/resource.txt", "", "no_NO", RELOAD_ERR_LANGUAGE, "there is no language 'no_NO'"},
      {"res/yy/resource.txt", "", "../res/yy", RELOAD_ERR_LANGUAGE, "there is no language '../res/yy'"},
      {"debug.cfg", "good = 1,1,0,0\nshort = 1,1,0\n", "zh_CN", RELOAD_ERR_SWITCHES, "module short"},
      {"rules.cfg", kOtherRules + "5:8:0\n5:9\nx\n", "zh_CN", RELOAD_ERR_MUTEX, "rules.cfg: line 5 is wrong"},
  };
  for (const auto& c : cases) {
    files::Write("debug.cfg", "");
    files::Write("rules.cfg", kOtherRules);
    files::Write(c.file, c.content);
    EXPECT_EQ(velad::Reload(files, c.language, reason), c.code);
    EXPECT_NE(reason.find(c.reason), std::string::npos) << reason;
    EXPECT_EQ(Beside(running), before) << c.reason;
    EXPECT_EQ(apps::Text("NES_DONE"), "done") << c.reason;
  }
  files.mutex += ".not";
  EXPECT_EQ(velad::Reload(files, "zh_CN", reason), RELOAD_ERR_MUTEX);

  files::Write("rules.cfg", kOtherRules);
  files.mutex = files::Root() + "rules.cfg";
  files.switches += ".not";
  EXPECT_EQ(velad::Reload(files, "zh_CN", reason), 0U) << "without a file the switches stay";
  EXPECT_EQ(Beside(running), (std::pair<unsigned long, unsigned long>{0, 77})) << "the new rules alone";
  EXPECT_EQ(apps::Text("NES_DONE"), "完成");
  EXPECT_EQ(apps::TypeName("OTN-9600"), "光传送设备 OTN-9600") << "device packages too";
  files::Write("res/zh_CN/resource.txt", "NES_DONE = 好\n");
  EXPECT_EQ(velad::Reload(files, "", reason), 0U);
  EXPECT_EQ(apps::Text("NES_DONE"), "好");
  EXPECT_EQ(apps::Text("NES_FAILED"), "failed") << "what the file does not hold any more";
}

TEST(AdminTest, StatusCountsWhatIsOpen) {
  AsnStatusRsp idle;
  velad::FillStatus(idle);
  EXPECT_GT(static_cast<AsnIntType>(idle.memory), 1000);
  EXPECT_EQ(static_cast<AsnIntType>(idle.running), 0);

  const testkit::CurrentTask task({.srcProcId = 3003, .srcHandle = 7, .payload = {}});
  NSTE_util::TETaskContext context(task.get());
  context.SetMissionID(12, false);
  const testkit::FrameCapture frames;
  context.SendProgress(40);
  const NSTE_util::TEOperErrorLogGuard frame;
  const TEMutexOperGuard first(5, TEOperObject(1, 0, 0));
  const TEMutexOperGuard second(5, TEOperObject(2, 0, 0));
  AsnStatusRsp busy;
  velad::FillStatus(busy);
  EXPECT_EQ(static_cast<AsnIntType>(busy.locks), 2);
  EXPECT_EQ(static_cast<AsnIntType>(busy.frames), 1);
  ASSERT_EQ(busy.missions.size(), 1U) << "one mission, whatever it holds";
  const AsnStatusMission& mission = busy.missions.front();
  EXPECT_EQ(static_cast<AsnIntType>(mission.mission), 12);
  EXPECT_EQ(static_cast<AsnIntType>(mission.client), 3003);
  EXPECT_EQ(static_cast<AsnIntType>(mission.percent), 40);
}

TEST(AdminTest, AServerSpeaksAnotherLanguageFromNowOn) {
  Child server(
      {VELA_BIN_DIR "/velad", "-f", WriteConfig("one.cfg", "ProcNumber = 100\nHandlerSets = admin\n")});
  ASSERT_TRUE(server.Says(Child::out, "ready\n"));
  const struct {
    std::vector<std::string> arguments;
    int code;
    const char* said;
  } steps[] = {
      {{"100", "--language", "xx"}, 1, "100/1    en_US     there is no language 'xx'"},
      {{"all", "--language", "zh_CN"}, 0, "100/1    zh_CN     done\n"},
      {{"100/1", "--language", "xx"}, 1, "100/1    zh_CN     没有语言 'xx'"},
      {{"100/1", "--json"}, 0, R"({"process": "100/1", "errorCode": 0, "reason": "", "language": "zh_CN"})"},
      {{"100/2"}, 1, "no server process 100/2 is running"},
      {{"100", "101"}, 1, "one process is to be named"},
  };
  for (const auto& step : steps) {
    std::vector<std::string> arguments = {VELA_BIN_DIR "/velactl", "reload"};
    arguments.insert(arguments.end(), step.arguments.begin(), step.arguments.end());
    Child reload(arguments);
    EXPECT_EQ(reload.End(), step.code);
    const std::string said = reload.Text(Child::out) + reload.Text(Child::err);
    EXPECT_NE(said.find(step.said), std::string::npos) << said;
  }
}

}  // namespace
}  // namespace apps_test
