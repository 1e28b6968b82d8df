#include <gtest/gtest.h>

#include <filesystem>

#include "platform/asncmd/asn_runtime.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task_mgr.h"
#include "platform/testkit/testkit.h"
#include "tests/files.h"
#include "util/basicutil/common_commands.h"
#include "util/basicutil/common_manager.h"
#include "util/basicutil/common_manager_if.h"
#include "util/basicutil/env_settings.h"
#include "util/basicutil/filepath.h"

using namespace NSTE_util;

namespace {

// What the reply says and what scripts are told must agree.
std::string Excute(const std::string& line) {
  const VelaDebugReply reply = TEDebugMgrImpl::Instance()->Run(line);
  bool fails = reply.text.starts_with("Syntex") && !line.starts_with("help");
  for (const char* failure :
       {"Can't", "Module not", "Reload ", "Input ", "You must", "Send failed", "new M", "New V", "Task is",
        "Don't", "Param", "Encode", "Request message", "open file", "Invalid", "Excute Error"})
    fails = fails || reply.text.starts_with(failure);
  EXPECT_EQ(reply.failed, fails) << line;
  return reply.text;
}

AsnType* NewInteger() {
  return new SNACC::AsnInt(5);
}

AsnType* NewNothing() {
  return nullptr;
}

AsnType* NewNull() {
  return new SNACC::AsnNull;
}

// Cannot be encoded.
class Refusing : public SNACC::AsnInt {
 public:
  SNACC::AsnLen BEnc(SNACC::AsnBuf&) const override { throw std::runtime_error("refused"); }
};

AsnType* NewRefusing() {
  return new Refusing;
}

unsigned long Handle(VelaGnlTask*, const AsnType*) {
  return 0;
}

const TETaskHandlerStru kRecords[] = {{0x70, 2, "Integer", NewInteger, NewNull, Handle},
                                      {0x71, 2, "Bare", nullptr, nullptr, Handle},
                                      {0x72, 2, "Broken", NewNothing, nullptr, Handle},
                                      {0x73, 2, "Refusing", NewRefusing, NewNothing, Handle},
                                      {0xF0000070, 7, "Large", nullptr, nullptr, Handle}};

// A process with those commands and two task managers, which send nothing.
class TaskCommands : public testing::Test {
 protected:
  TaskCommands() {
    for (const TETaskHandlerStru& record : kRecords) TETaskCreator::Instance()->RegisterTask(&record);
    for (const std::uint8_t id : {2, 3})
      VelaAppMgr::Instance()->CreateTaskMgr({.id = id, .name = "main", .workers = 1});
  }
  ~TaskCommands() override { VelaAppMgr::Destroy(); }

  testkit::LogCapture m_log;
  testkit::ProcessAddress m_self{51, 3, 8};
};

}  // namespace

TEST(DebugCommands, HelpListsThemInOrderOfRegistration) {
  AddDebugCommand(&ListCmdCommand());
  EXPECT_EQ(Excute("help"),
            "Command list:\nhelp\nlistswitch\nsetswitch\nloadswitch\nflush\nflushall\nshutdown\ntestmsg\n"
            "GetRegCmd\ngetasnprintsize\nsetasnprintsize\nsysmonitor\nlistcmd\n");
  EXPECT_EQ(Excute("help listcmd"),
            "Syntex: listcmd\nThis command list all registered commands int VelaTaskCreator.\n");
}

TEST(DebugCommands, TheAsnPrintSizeStaysWithinItsLimits) {
  const struct {
    const char* words;
    const char* reply;
    const char* size;
  } rows[] = {
      {"", "You must give size param.\n", "10240"},
      {" 2000 3000", "You must give size param.\n", "10240"},
      {" 2000", "OK", "2000"},
      {" 1024", "OK", "1024"},
      {" 5", "OK", "1024"},
      {" size", "OK", "1024"},
      {" 10000001", "OK", "10000000"},
      {" 1025", "OK", "1025"},
      {" -1", "OK", "10000000"},
      {" 1026", "OK", "1026"},
      {" 4294968296", "OK", "10000000"},
      {" -18446744073709549616", "OK", "10000000"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Excute(std::string("setasnprintsize") + row.words), row.reply) << row.words;
    EXPECT_EQ(Excute("getasnprintsize"),
              std::string("Get the size of asn struct print limit is ") + row.size + ".\n")
        << row.words;
  }
}

TEST(DebugCommands, LoadSwitchReadsTheFilesThatItNames) {
  const std::string switches = "conf/switches.cfg";
  const struct {
    const char* line;
    const char* file;  // null: none
    const char* reply;
    bool asn, modules;  // what was read again
  } rows[] = {
      {"loadswitch", "m = 1,1,1,1\n", "OK\n", true, true},
      {"loadswitch", nullptr, "Reload all config files failed!\n", true, false},
      {"loadswitch 1", nullptr, "OK\n", true, false},
      {"loadswitch 2", "m = 1,1,1,1\n", "OK\n", false, true},
      {"loadswitch 2", "m = 1\n", "Reload config file of ems_debug.cfg failed!\n", false, false},
      {"loadswitch 3", nullptr, "OK\n", false, false},
      {"loadswitch 4", nullptr, "Input parameter error, please input again\n", false, false},
      {"loadswitch 1x", nullptr, "Input parameter error, please input again\n", false, false},
      {"loadswitch 1 2", nullptr, "Syntex: loadswitch parameter", false, false},
  };
  files::Write("var/trans/core/conf/trans_ems.cfg", "bEnableAsnLog = 0\nbEnableAsnTrace = 0\n");
  TEDebugMgrImpl& manager = *TEDebugMgrImpl::Instance();
  TEDebugInterface& module = *manager.GetDebugInterface("m");
  testkit::LogCapture log;
  manager.Init("", "", "", files::Root() + switches);
  for (const auto& row : rows) {
    std::filesystem::remove(files::Root() + switches);
    if (row.file != nullptr) files::Write(switches, row.file);
    manager.SetSwitches("m", 0b0011);
    g_bEnableAsnLog = g_bEnableAsnTrace = true;
    EXPECT_TRUE(Excute(row.line).starts_with(row.reply)) << row.line;
    EXPECT_EQ(module.IsEnabled(3), row.modules) << row.line;
    EXPECT_EQ(!g_bEnableAsnLog, row.asn) << row.line;
    EXPECT_EQ(!g_bEnableAsnTrace, row.asn) << row.line;
  }
}

TEST_F(TaskCommands, SendEmptyRequests) {
  const struct {
    const char* line;
    const char* reply;
    std::vector<int> sentTo;
  } rows[] = {
      {"testmsg 2 0x70", "Send OK", {2}},
      {"testmsg 3 113", "Send OK", {3}},
      {"testmsg 4 0x70", "Task is NULL!", {}},
      {"testmsg 258 0x70", "Task is NULL!", {}},
      {"testmsg 2 0x7F", "Don't support this command!", {}},
      {"testmsg 2 0x72", "Request message is NULL!", {}},
      {"testmsg 2 0x73", "Encode error!", {}},
      {"sysmonitor 0x70", "Send OK", {2, 3}},
      {"sysmonitor 0x73", "Encode error!", {}},
      {"sysmonitor 0x7F", "Param error!", {}},
      {"sysmonitor 0x70 2", "Param error!", {}},
      {"sysmonitor x", "Param error!", {}},
  };
  for (const auto& row : rows) {
    const testkit::FrameCapture frames;
    EXPECT_EQ(Excute(row.line), row.reply) << row.line;
    std::vector<int> sentTo;
    for (const testkit::Frame& frame : frames.Frames()) {
      sentTo.push_back(frame.module);
      EXPECT_EQ(frame.payload, frame.header.cmdCode == 0x70 ? "\x02\x01\x05" : "") << row.line;
      EXPECT_EQ(frame.header.dstProcId, 51);
      EXPECT_EQ(frame.header.dstHandle, 3);
      EXPECT_EQ(frame.header.kind, VELA_KIND_COMMAND);
    }
    EXPECT_EQ(sentTo, row.sentTo) << row.line;
  }
  for (const char* line : {"testmsg", "testmsg 2", "testmsg 2 0x70 x", "testmsg x 0x70", "testmsg 2 1x"})
    EXPECT_TRUE(Excute(line).starts_with("Syntex: testmsg")) << line;
  const testkit::FrameCapture refused([](const VelaCmdMSG&) { return true; });
  EXPECT_EQ(Excute("testmsg 2 0x70"), "Send failed: 0x4101f008");
  const testkit::OsFaults noMemory([](vela::OsCall call, const char*) {
    return vela::OsFault{call == vela::OsCall::allocate ? ENOMEM : 0};
  });
  EXPECT_EQ(Excute("testmsg 2 0x71"), "new Message error!");
  EXPECT_EQ(Excute("sysmonitor 0x71"), "New VelaCmdMSG Error!");
}

TEST_F(TaskCommands, ListWhatIsRegistered) {
  EXPECT_NE(ListCmdCommand().Execute({}).find("Query Support Command:\n0x70\tInteger\n0x71\tBare\n"),
            std::string::npos);
  const std::string table =
      "taskMgrID\tcmdCode(dec)\tcmdCode(hex)\tReqAsn\tRspAsn\tResult\n"
      "2\t112\t0x70\tAsnInt\tAsnNull\tGood\n2\t113\t0x71\tNULL\tNULL\tGood\n2\t114\t0x72\tNULL\tNULL\tErr\n"
      "2\t115\t0x73\tAsnInt\tNULL\tErr\n";
  std::string process;
  ASSERT_EQ(GetProcessName(process), 0);
  const std::string folder = files::Root() + "var/logs/";
  EXPECT_EQ(Excute("getregcmd"), "dump ok: " + folder + process + ".txt");
  EXPECT_EQ(Excute("GetRegCmd cmd.txt"), "dump ok: " + folder + "cmd.txt");
  for (const std::string& name : {process + ".txt", std::string("cmd.txt")}) {
    const std::string written = files::Read("var/logs/" + name);
    EXPECT_TRUE(written.starts_with(table)) << written;
    EXPECT_TRUE(written.ends_with("\n7\t-268435344\t0xf0000070\tNULL\tNULL\tGood\n")) << written;
  }
  for (const std::string name : {"../cmd.txt", "..", "/tmp/cmd.txt", "none/cmd.txt"})
    EXPECT_EQ(Excute("GetRegCmd " + name), "open file fail:" + folder + name);
  const testkit::OsFaults diskFull(
      [](vela::OsCall call, const char*) { return vela::OsFault{call == vela::OsCall::write ? ENOSPC : 0}; });
  EXPECT_EQ(Excute("GetRegCmd full.txt"), "open file fail:" + folder + "full.txt");
}

TEST(DebugCommands, ShutdownSetsTheExitFlag) {
  EXPECT_FALSE(VelaIsExit());
  EXPECT_EQ(Excute("ShutDown"), "OK");
  EXPECT_TRUE(VelaIsExit());
}

TEST(DebugMgrIf, OffersTheManagerByNameAndVersion) {
  const TEDebugMgrIFImpl offered;
  EXPECT_EQ(offered.GetName(), "TEDebugMgrIf");
  EXPECT_EQ(offered.GetVersion(), 0x2010100U);
  const std::pair<unsigned long, bool> versions[] = {
      {0x2010100, true}, {0x2000000, true}, {0x2010101, false}, {0x3000000, false}, {0x1FFFFFF, false}};
  for (const auto& [version, fits] : versions)
    EXPECT_EQ(offered.IsCompitable("TEDebugMgrIf", version), fits) << version;
  EXPECT_FALSE(offered.IsCompitable("TEDebugMgr", 0x2010100));

  TEDebugMgrIFImpl manager;
  EXPECT_EQ(manager.GetDebugInterface("zone"), GetDebugInterface("zone"));
  EXPECT_EQ(manager.AddDebugCommand(&ListCmdCommand()), 0);
  EXPECT_EQ(manager.AddDebugCommand(&ListCmdCommand()), -1);
  manager.RemoveDebugCommand("listcmd");
  EXPECT_EQ(AddDebugCommand(&ListCmdCommand()), 0);
  manager.RemoveDebugCommand(&ListCmdCommand());
  EXPECT_EQ(Excute("listcmd"), "Invalid Command: listcmd");
}
