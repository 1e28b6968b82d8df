#include <gtest/gtest.h>
#include <pty.h>
#include <termios.h>

#include <mutex>
#include <semaphore>
#include <string>

#include "apps/asn1/nms_codes.h"
#include "apps/handlers/request_watch.h"
#include "apps/velactl/mission_watch.h"
#include "apps/velactl/ne_mission_options.h"
#include "apps/velactl/ne_mission_report.h"
#include "apps/velactl/sessions_command.h"
#include "apps/velactl/top_report.h"
#include "apps/velactl/topology_report.h"
#include "asn1/error.h"
#include "asn1/nms.h"
#include "platform/bus/bus.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "platform/task/vela_task_mgr.h"
#include "platform/testkit/testkit.h"
#include "tests/apps/child.h"
#include "util/basicutil/msg_if.h"
#include "util/basicutil/progress_api.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/taskcontext.h"

namespace apps_test {
namespace {

constexpr std::uint32_t kNE = 0x90000;  // 9-0

void AddResult(AsnNEMissionRsp& response, std::uint32_t ne, std::uint32_t code) {
  AsnNEResult& result = *response.results.append();
  result.ne = static_cast<AsnIntType>(ne);
  result.errorCode = static_cast<AsnIntType>(code);
  result.version = "5.51";
  result.boards = 6;
  result.ports = 24;
  result.alarms = 1;
  result.millis = 1250;
}

void AddError(AsnErrReport& report, std::uint32_t ne, const std::string& position, const std::string& text) {
  if (report.errors == nullptr) report.errors = new AsnErrInfoList;
  AsnErrInfo& error = *report.errors->append();
  error.errorCode = 0x42010224;
  if (!text.empty()) error.errorText = new AsnOcts(text.data(), text.size());
  error.position = new AsnOcts(position.data(), position.size());
  if (ne == 0) return;
  error.objects = new AsnErrObjectList;
  error.objects->append()->first = static_cast<AsnIntType>(ne);
}

// Two NEs, of which 9-5 has two errors; an error of an NE without a result and one of none; a part that
// failed.
void FillIncomplete(AsnNEMissionRsp& response) {
  response.errorCode = NE_MISSION_ERR_PARTS;
  response.reason = "parts are missing";
  AddResult(response, kNE + 1, 0);
  AddResult(response, kNE + 5, 0x42010207);
  AsnErrReport report;
  AddError(report, kNE + 5, "9-5, slot 3", "first");
  AddError(report, kNE + 5, "9-5", "second\x1B");
  AddError(report, kNE + 7, "9-7", "unknown");
  AddError(report, 0, "", "whole");
  const std::string bytes = testkit::Encoded(report);
  response.report.Set(bytes.data(), bytes.size());
  for (const auto& [handle, code] : {std::pair{1, 0U}, std::pair{2, NE_PART_ERR_ENDED}}) {
    AsnMissionPartEnd& part = *response.parts.append();
    part.process = 120;
    part.handle = handle;
    part.nes = 2;
    part.done = code == 0 ? 2 : 0;
    part.errorCode = static_cast<AsnIntType>(code);
    part.reason = "it ended";
  }
}

const char* const kIncomplete =
    "NE   RESULT  VERSION  BOARDS  PORTS  ALARMS  TIME    ERRORS\n"
    "9-1  done    5.51     6       24     1       1.25 s  \n"
    "9-5  failed  5.51     6       24     1       1.25 s  9-5, slot 3: first\n"
    "                                                     second\\x1B\n"
    "\n"
    "unknown\n"
    "whole\n"
    "process 120/2 did 0 of its 2 NEs: it ended\n"
    "2 of 5 NEs worked on, 1 failed, 4 errors\n";

TEST(NmsClientTest, CommandLines) {
  const std::string file = '@' + files::Write("nes", " 9-1, 9-3..9-4\t# 9-9\n\n#\n9-1\r\n9-7");
  const std::string bad = '@' + files::Write("bad", "9-1\n9_2\n");
  const std::string none = '@' + files::Write("none", "# 9-1\n");
  const struct {
    std::vector<std::string> arguments;
    const char* error;  // part of it; empty: none
    std::vector<std::uint32_t> nes = {};
  } cases[] = {
      {{"9-1,9-3..9-4,9-1"}, "", {kNE + 1, kNE + 3, kNE + 4}},
      {{file}, "", {kNE + 1, kNE + 3, kNE + 4, kNE + 7}},
      {{"--all", "--json"}, ""},
      {{}, "--all takes all"},
      {{"--all", "9-1"}, "beside --all"},
      {{bad}, "bad: '9_2' is neither"},
      {{none}, "none: no NEs"},
      {{"@" + files::Root()}, "Invalid argument"},
      {{"1-1..2-65535"}, "more than 10000"},
  };
  for (const auto& c : cases) {
    velactl::NESelection options;
    std::string error;
    EXPECT_EQ(velactl::ParseNEMissionOptions("upload", c.arguments, options, error), *c.error == '\0')
        << error;
    EXPECT_NE(error.find(c.error), std::string::npos) << error;
    EXPECT_TRUE(*c.error != '\0' || options.nes == c.nes);
  }
}

TEST(NmsClientTest, ReportsSayAllThatWentWrong) {
  AsnNEMissionRsp response;
  FillIncomplete(response);
  EXPECT_EQ(velactl::NEMissionTable(response, 5), kIncomplete);
  const std::string json = velactl::NEMissionJson(response, "upload", 0);
  for (const char* part :
       {R"({"operation": "upload", "nes": 4, "errorCode": 1107369991, "reason": "parts are missing")",
        R"({"ne": "9-5", "errorCode": 1107362311, "version": "5.51", "file": "", "boards": 6,)",
        R"({"process": "120/2", "nes": 2, "done": 0, "errorCode": 1107370018, "reason": "it ended"})",
        R"({"ne": null, "code": 1107362340, "position": "", "text": "whole"})"})
    EXPECT_NE(json.find(part), std::string::npos) << part << "\nin\n" << json;
  response.report = "no report";
  EXPECT_NE(velactl::NEMissionTable(response, 5).find("the errors of the NEs cannot be read"),
            std::string::npos);
}

TEST(NmsClientTest, TimesAndScreens) {
  using std::chrono::seconds;
  const struct {
    int percent;
    int spent;
    const char* left;
  } cases[] = {
      {2, 100, ""}, {50, 0, ""}, {50, 12, "about 12 s"}, {10, 60, "about 9 min"}, {100, 7, "about 0 s"}};
  for (const auto& c : cases) EXPECT_EQ(velactl::TimeLeft(c.percent, seconds(c.spent)), c.left);
  EXPECT_EQ(velactl::FitScreen("abcd\n\n深圳\nend\n", 3, 3), "abc\n\n深");
}

TEST(NmsClientTest, ListsOfServices) {
  const testkit::Zone zone("Asia/Shanghai");
  AsnTopoNERsp topology;
  for (const int time : {0, 1700000000}) {
    AsnTopoNE& ne = *topology.nes.append();
    ne.ne = static_cast<AsnIntType>(kNE + 1);
    ne.name = "a";
    ne.type = "OTN-9600";
    ne.manager = 120;
    ne.alarms = time == 0 ? -1 : 3;
    ne.lastCode = static_cast<AsnIntType>(NE_ERR_UNKNOWN);
    ne.lastTime = time;
  }
  const std::string nes = velactl::NEsTable(topology);
  EXPECT_NE(nes.find("9-1  a     OTN-9600  120      -        -       -                    -\n"),
            std::string::npos)
      << nes;
  EXPECT_NE(nes.find("9-1  a     OTN-9600  120      -        3       2023-11-15 06:13:20  "),
            std::string::npos)
      << nes;

  AsnSessionListRsp sessions;
  for (const bool ended : {false, true}) {
    AsnSessionOper& operation = *sessions.operations.append();
    operation.client = 3003;
    operation.handle = 7;
    operation.operation = ended ? NE_RESET_COMMAND : NE_UPLOAD_COMMAND;
    operation.nes = 200;
    operation.ended = ended ? 1 : 0;
    operation.errorCode = ended ? NE_MISSION_ERR_CANCELED : 0;
    operation.time = 1700000000;
  }
  const std::vector<std::string> lines = files::Lines(velactl::SessionTable(sessions));
  EXPECT_EQ(lines.at(1), "3003/7  0     upload     200  2023-11-15 06:13:20  under way");
  EXPECT_EQ(lines.at(2), "3003/7  0     reset      200  2023-11-15 06:13:20  ended with code 0x42012001");
}

// This process as the element-management server: its handler tells of a part and, once the client shows it,
// does what the test says.
using Script = std::function<void(NSTE_util::TETaskContext& context, AsnNEMissionRsp& response)>;
std::mutex g_lock;
Script g_script;  // guarded by g_lock
std::binary_semaphore g_shown{0};

unsigned long HandleUpload(VelaGnlTask* task, const AsnType* msg) {
  const auto& request = static_cast<const AsnNEMissionReq&>(*msg);
  const auto mission = static_cast<int>(request.missionID);
  NSTE_util::TETaskContext context(task);
  context.SetMissionID(mission, false);
  NSTE_util::ProgressMgr::Instance()->SendParalProgress(
      task, NSTE_util::MakeMissionKey(task->GetCurReqMsg(), mission), {30, "120/2", "45%"});
  AsnNEMissionRsp response;
  g_shown.acquire();
  const Script script = [] {
    const std::lock_guard lock(g_lock);
    return g_script;
  }();
  script(context, response);
  return NSTE_util::CfgSendRsp(task, response);
}

const TETaskHandlerStru kUpload = {
    NE_UPLOAD_COMMAND, 1, "upload", []() -> AsnType* { return new AsnNEMissionReq; }, nullptr, HandleUpload};

struct ElementManager {
  ElementManager() {
    TETaskCreator::Instance()->RegisterTask(&kUpload);
    app->CreateTaskMgr({.id = 1});
    app->CreateTaskMgr({.id = 2, .name = "service", .workers = 1});
    EXPECT_EQ(app->Start(vela::MakeLocalBus({}), CProcID(110, 1), 0), 0);
    EXPECT_EQ(NSTE_util::InitProgressTask(2), 0);
  }
  ~ElementManager() { VelaAppMgr::Destroy(); }

  VelaAppMgr* const app = VelaAppMgr::Instance();
};

void AwaitCancel(NSTE_util::TETaskContext& context, AsnNEMissionRsp& response) {
  velad::RequestWatch(context).PauseUntil(std::chrono::steady_clock::now() + std::chrono::seconds(60));
  FillIncomplete(response);
  response.errorCode = static_cast<AsnIntType>(context.IsCanceled() ? NE_MISSION_ERR_CANCELED : 0);
}

TEST(NmsClientThreaded, AMissionAndItsEnds) {
  const auto refuse = [](std::uint32_t code) {
    return [code](NSTE_util::TETaskContext&, AsnNEMissionRsp& response) {
      response.errorCode = static_cast<AsnIntType>(code);
      response.reason = "a reset is at work";
    };
  };
  const auto nothing = [](Child&) {};
  const struct {
    const char* what;
    Script script;
    std::function<void(Child&)> action;
    int code;
    const char* out;
    const char* err;
  } cases[] = {
      {"all is well", [](auto&, AsnNEMissionRsp& response) { AddResult(response, kNE + 1, 0); }, nothing, 0,
       "\n1 of 5 NEs worked on, 0 failed, 0 errors\n", "30%  120/2 45%\n100%  120/2 45%\n"},
      {"with errors", [](auto&, AsnNEMissionRsp& response) { FillIncomplete(response); }, nothing, 1,
       kIncomplete, "velactl: parts are missing\n"},
      {"refused", refuse(NE_MISSION_ERR_RESETTING), nothing, 2, "",
       "velactl: refused with code 0x42012012: a reset is at work; nothing was done"},
      {"no topology", refuse(NE_MISSION_ERR_NO_TOPOLOGY), nothing, 1, "0 of 5 NEs",
       "velactl: a reset is at work"},
      {"cancelled", AwaitCancel, [](Child& child) { child.Signal(SIGINT); }, 1, kIncomplete,
       "velactl: cancelling; Ctrl-C again leaves at once\nvelactl: parts are missing\n"},
  };
  const ElementManager server;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    {
      const std::lock_guard lock(g_lock);
      g_script = c.script;
    }
    Child upload({VELA_BIN_DIR "/velactl", "upload", "9-1..9-5"});
    EXPECT_TRUE(upload.Says(Child::err, "30%  120/2 45%\n")) << upload.Text(Child::err);
    g_shown.release();
    c.action(upload);
    EXPECT_EQ(upload.End(), c.code);
    EXPECT_NE(upload.Text(Child::out).find(c.out), std::string::npos) << upload.Text(Child::out);
    EXPECT_NE(upload.Text(Child::err).find(c.err), std::string::npos) << upload.Text(Child::err);
  }
}

TEST(NmsClientTest, TopShowsWhoDoesNotAnswer) {
  Child first({VELA_BIN_DIR "/velad", "-f",
               WriteConfig("one.cfg", "ProcNumber = 100\nHandlerSets = admin\nLogDirectory = var/logs/1\n")});
  Child stopped(
      {VELA_BIN_DIR "/velad", "-f",
       WriteConfig("two.cfg", "ProcNumber = 101\nHandlerSets = admin\nLogDirectory = var/logs/2\n")});
  Child without({VELA_BIN_DIR "/velad", "-f",
                 WriteConfig("three.cfg", "ProcNumber = 102\nLogDirectory = var/logs/3\n")});
  for (Child* server : {&first, &stopped, &without}) ASSERT_TRUE(server->Says(Child::out, "ready\n"));
  stopped.Stop();
  Child top({VELA_BIN_DIR "/velactl", "top", "--once"});
  EXPECT_EQ(top.End(), 0) << top.Text(Child::err);
  for (const char* row :
       {": 3 server processes, 1 clients;", "\n100/1    serves         ", "\n101/1    no answer  ",
        "\n102/1    without admin  ", "\nno missions are under way\n"})
    EXPECT_NE(top.Text(Child::out).find(row), std::string::npos) << row << "\nin\n" << top.Text(Child::out);
}

// A terminal with velactl top in it.
class TopOnTerminal {
 public:
  TopOnTerminal() {
    int slave = -1;
    winsize size{};
    size.ws_row = 10;
    size.ws_col = 60;
    if (openpty(&m_master, &slave, nullptr, nullptr, &size) != 0) return;
    fcntl(m_master, F_SETFD, FD_CLOEXEC);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int i = 0; i < 2; ++i) posix_spawn_file_actions_adddup2(&actions, slave, i);
    posix_spawn_file_actions_addclose(&actions, slave);
    std::string program = VELA_BIN_DIR "/velactl";
    std::string top = "top";
    char* arguments[] = {program.data(), top.data(), nullptr};
    setenv("TERM", "xterm", 1);
    posix_spawn(&m_pid, program.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    m_slave = slave;
  }
  ~TopOnTerminal() {
    if (m_pid > 0) kill(m_pid, SIGKILL);
    if (m_pid > 0) waitpid(m_pid, nullptr, 0);
    close(m_master);
    close(m_slave);
  }

  bool Shows(const std::string& text) {
    char block[4096];
    pollfd source{m_master, POLLIN, 0};
    while (m_text.find(text) == std::string::npos && poll(&source, 1, 60000) > 0)
      if (const ssize_t got = read(m_master, block, sizeof block); got > 0)
        m_text.append(block, static_cast<std::size_t>(got));
      else
        break;
    return m_text.find(text) != std::string::npos;
  }
  void Press(char key) const { EXPECT_EQ(write(m_master, &key, 1), 1); }
  void Signal(int signal) const { kill(m_pid, signal); }
  bool IsRaw() const {
    termios settings{};
    tcgetattr(m_slave, &settings);
    return (settings.c_lflag & (ICANON | ECHO)) == 0;
  }
  int End() {
    int status = 0;
    waitpid(std::exchange(m_pid, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  int m_master = -1;
  int m_slave = -1;
  pid_t m_pid = -1;
  std::string m_text;
};

TEST(NmsClientTest, TopGivesTheTerminalBack) {
  Child server(
      {VELA_BIN_DIR "/velad", "-f", WriteConfig("one.cfg", "ProcNumber = 100\nHandlerSets = admin\n")});
  ASSERT_TRUE(server.Says(Child::out, "ready\n"));
  const std::pair<const char*, std::pair<void (*)(TopOnTerminal&), int>> ends[] = {
      {"q", {[](TopOnTerminal& top) { top.Press('q'); }, 0}},
      {"SIGTERM", {[](TopOnTerminal& top) { top.Signal(SIGTERM); }, 0}},
      {"a crash", {[](TopOnTerminal& top) { top.Signal(SIGSEGV); }, -SIGSEGV}}};
  for (const auto& [what, end] : ends) {
    SCOPED_TRACE(what);
    TopOnTerminal top;
    ASSERT_TRUE(top.Shows("\033[?1049h") && top.Shows("100/1    serves"));
    EXPECT_TRUE(top.IsRaw());
    end.first(top);
    EXPECT_TRUE(top.Shows("\033[?1049l"));
    EXPECT_EQ(top.End(), end.second);
    EXPECT_FALSE(top.IsRaw());
  }
}

}  // namespace
}  // namespace apps_test
