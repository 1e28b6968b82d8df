#include <ace/Thread.h>

#include <climits>
#include <csignal>
#include <fstream>
#include <future>

#include "platform/debug/vela_debug_mgr.h"
#include "platform/log/log_capture.h"
#include "platform/log/log_process.h"
#include "platform/log/time_formatter.h"
#include "platform/task/vela_app_mgr.h"
#include "tests/util/util_test.h"
#include "util/basicutil/common_manager.h"
#include "util/basicutil/env_settings.h"
#include "util/basicutil/filepath.h"
#include "util/basicutil/stringutil.h"

namespace {

const std::string kDumpBegin = "***********Dump filtered debug information begin **********";
const std::string kDumpEnd =
    "\n***************************************************************Dump filtered debug information end "
    "**********";
const std::string kFlushedAll = "debug The folwing message was dump by debug command flushall.";

std::vector<std::string> Texts(const testkit::LogCapture& log) {
  std::vector<std::string> texts;
  for (const testkit::LogRecord& record : log.Records()) texts.push_back(record.text);
  return texts;
}

std::string Excute(const std::string& line) {
  return TEDebugMgrImpl::Instance()->Excute(line);
}

// A message whose printed form is `size` characters of "x".
class Printed : public SNACC::AsnInt {
 public:
  explicit Printed(std::size_t size) : m_text(size, 'x') {}
  const char* typeName() const override { return "PrintedType"; }
  void Print(std::ostream& os, unsigned short) const override { os << m_text; }

 private:
  std::string m_text;
};

TEST(DebugLog, AFreshLoggerWritesErrorsAndHoldsBackTheRest) {
  testkit::LogCapture log;
  TEDebugInterface& out = *GetDebugInterface("fresh");
  EXPECT_EQ(out.GetName(), "fresh");
  EXPECT_EQ(&out, GetDebugInterface("fresh"));
  for (const unsigned level : {0U, 1U, 2U, 3U, 7U, UINT_MAX}) {
    EXPECT_EQ(out.IsEnabled(level), level <= 1) << level;
    if (level > 0) out.PrintF(level, "level %u", level);
  }
  ASSERT_EQ(Texts(log), std::vector<std::string>{"fresh level 1"});
  EXPECT_EQ(log.Records()[0].level, 1);
}

TEST(DebugLog, AnAssertionDumpsWhatWasHeldBack) {
  const testkit::Clock clock(1'700'000'000, 42);
  testkit::LogCapture log;
  TEDebugMgrImpl::Instance()->FlushAll();  // what the process' start held back
  ASSERT_EQ(Excute("setswitch default 1000"), "OK\n");
  GetDefaultDebugInterface().Print(1, "one");
  GetDefaultDebugInterface().Print(2, "two\n[not a record\n***nor the end\nplain");
  GetDebugInterface("other")->Print(9, "three");
  log.Clear();
  WriteException("failed");
  const std::string time = "\n[" + TimeFormatter::getFormatTime(1'700'000'000, 42);
  const std::string thread = std::to_string(static_cast<std::uint32_t>(ACE_Thread::self())) + "] ";
  EXPECT_EQ(Texts(log),
            (std::vector<std::string>{
                "default failed", kDumpBegin + time + "],Info, [H" + thread +
                                      "debug Excute debug command: setswitch default 1000" + time +
                                      "],Error,[H" + thread + "default one" + time + "],Info, [H" + thread +
                                      "default two\n [not a record\n ***nor the end\nplain" + time +
                                      "],Debug,[H" + thread + "other three" + kDumpEnd}));
  for (const testkit::LogRecord& record : log.Records()) EXPECT_EQ(record.level, 0);
  log.Clear();
  WriteException("again");
  EXPECT_EQ(Texts(log), (std::vector<std::string>{"default again", kDumpBegin + kDumpEnd}));
  log.Clear();
  TEDebugMgrImpl::Instance()->FlushAll();
  EXPECT_EQ(Texts(log), (std::vector<std::string>{kFlushedAll, kDumpBegin + kDumpEnd}));
  EXPECT_EQ(log.Records()[0].level, 3);

  TEDebugInterface& kept = *GetDebugInterface("kept");
  Excute("setswitch kept 1111");
  FiniDebugLog();
  log.Clear();
  kept.Print(3, "held back again");
  kept.Print(1, "still here");
  EXPECT_EQ(Texts(log), std::vector<std::string>{"kept still here"}) << "the logger outlives the manager";
}

TEST(DebugLog, TheNewest128HeldBackRecordsAreKept) {
  testkit::LogCapture log;
  for (int i = 1; i <= 130; ++i) TETrace("record %d%s", i, i % 50 == 0 ? std::string(9000, '!').c_str() : "");
  WriteException("failed");
  ASSERT_EQ(log.Records().size(), 2U);
  const std::string dump = log.Records()[1].text;
  std::size_t at = 0;
  int count = 0;
  for (int i = 3; i <= 130; ++i, ++count) {
    at = dump.find("default record " + std::to_string(i), at);
    ASSERT_NE(at, std::string::npos) << i;
  }
  EXPECT_EQ(std::count(dump.begin(), dump.end(), '\n'), count + 1);
}

TEST(DebugLog, FormattedTextsAreCut) {
  const std::pair<std::size_t, std::size_t> rows[] = {{0, 0},       {4093, 4093}, {4094, 4094},
                                                      {4095, 4094}, {4096, 4094}, {5000, 4094}};
  testkit::LogCapture log;
  for (const auto& [length, written] : rows) {
    log.Clear();
    const std::string text(length, 'x');
    TEAlmTrace("%s", text.c_str());
    GetDefaultDebugInterface().PrintF(1, "%s", text.c_str());
    ASSERT_EQ(log.Records().size(), 2U);
    EXPECT_EQ(log.Records()[0].text, std::string(written, 'x'));
    EXPECT_EQ(log.Records()[1].text, "default " + std::string(written, 'x'));
  }
  log.Clear();
  GetDefaultDebugInterface().Print(1, std::string(5000, 'x').c_str());
  EXPECT_EQ(log.Records()[0].text.size(), 5008U) << "a text that is not formatted stays whole";
}

// The common conversions are formatted here, the others by the C library: both must read the same.
TEST(DebugLog, ConversionsReadAsInPrintf) {
  testkit::LogCapture log;
  const auto check = [&log](const char* format, auto... args) {
    char expected[256];
    std::snprintf(expected, sizeof(expected), format, args...);
    log.Clear();
    TEAlmTrace(format, args...);
    EXPECT_EQ(log.Records().at(0).text, expected) << format;
  };
  check("%d %i %u|%x", INT_MIN, INT_MAX, UINT_MAX, 0xDEADBEEFU);
  check("%ld %li %lu|%lx", LONG_MIN, LONG_MAX, ULONG_MAX, ULONG_MAX);
  check("100%% of %s, %s", "x", "");
  check("%s%c%5d|%-5d|%05.1f|%lld|%p", "mixed", 'c', 42, 42, 2.5, LLONG_MIN, static_cast<void*>(&log));
  check("%.2s|%hd|%X|%s", "long", 70000, 0xABCU, "after what only the library knows");
  const char* volatile none = nullptr;  // what the compiler knows, it warns of
  check("%s", static_cast<const char*>(none));
  check("%d%ld%d%ld%d%ld%d%ld", 1, 2L, 3, 4L, 5, 6L, 7, 8L);
}

TEST(DebugLog, AlarmsIgnoreLevelAndSwitches) {
  testkit::LogCapture log;
  ASSERT_EQ(Excute("setswitch alarm 1000"), "OK\n");
  for (const unsigned level : {0U, 3U}) GetAlmDebugInterface().Print(level, "smoke");
  GetAlmDebugInterface().PrintException(nullptr);
  const std::vector<testkit::LogRecord> records = log.Records();
  ASSERT_EQ(records.size(), 3U) << "and nothing is dumped";
  for (const testkit::LogRecord& record : records)
    EXPECT_EQ(record.log + std::to_string(record.level), "alarm5");
  EXPECT_EQ(records[1].text, "smoke");
}

TEST(DebugMgr, ReloadReadsTheSwitchFile) {
  // What, the file, the result, and the four switches then; the logger "m" starts with 1,1,0,0.
  const std::tuple<const char*, const char*, int, const char*> rows[] = {
      {"plain", "m = 1,0,1,1\n", 0, "1011"},
      {"a span", "m = 0-3\n", 0, "0111"},
      {"any number but 0 is on", "m = 7, 0, 0, 9\n", 0, "1001"},
      {"does not parse: skipped", "m = 1,x,1,1\nm = 1,1,1,0\n", 0, "1110"},
      {"no entry: skipped", "# m\n[section]\nm=0,0,0,0", 0, "0000"},
      {"three: stops", "m = 1,1,1,0\nm = 1,1,1\nm = 0,0,0,0\n", -1, "1110"},
      {"five: stops", "m = 1,1,1,1,1\n", -1, "1100"},
  };
  testkit::LogCapture log;
  for (const auto& [what, content, result, expected] : rows) {
    TEDebugMgrImpl::Destroy();
    log.Clear();
    TEDebugMgrImpl& manager = *TEDebugMgrImpl::Instance();
    manager.Init("", "", "", files::Write("conf/switches.cfg", content));
    EXPECT_EQ(manager.Reload(), result) << what;
    TEDebugInterface& module = *manager.GetDebugInterface("m");
    std::string switches;
    for (unsigned level = 0; level < 4; ++level) switches += module.IsEnabled(level) ? '1' : '0';
    EXPECT_EQ(switches, expected) << what;
    EXPECT_EQ(log.Count("debug Debug switch for m must has 4 elements!"), result == 0 ? 0 : 2) << what;
  }
  TEDebugMgrImpl& manager = *TEDebugMgrImpl::Instance();
  EXPECT_EQ(manager.Init("", "", "", "/nowhere/debug.cfg"), 0) << "a missing file does not stop the start";
  log.Clear();
  EXPECT_EQ(manager.Reload(), -1);
  EXPECT_EQ(log.Records().at(0).text, "debug Open debug configuration file error!");
  manager.Init("", "", "", "");
  EXPECT_EQ(manager.Reload(), 0);
}

class Echo : public TEDebugCommand {
 public:
  std::string GetName() override { return "Echo"; }
  std::string GetHelp() override { return "repeats\n"; }
  std::string Execute(const std::vector<std::string>& args) override {
    if (args.size() > 2) throw std::runtime_error("too many words");
    if (args.size() > 1) RemoveDebugCommand(this);
    return args[0] + std::to_string(args.size());
  }
};

TEST(DebugMgr, RunsCommands) {
  Echo echo;
  EXPECT_EQ(AddDebugCommand(&echo), 0);
  EXPECT_EQ(AddDebugCommand(&echo), -1) << "the name is taken";
  EXPECT_EQ(AddDebugCommand(nullptr), -1);
  GetDebugInterface("zone");
  const std::pair<const char*, std::string> rows[] = {
      {"", "Excute Error!\n"},
      {" \t\r\n", "Excute Error!\n"},
      {"nonsense now", "Invalid Command: nonsense"},
      {"\techo ", "echo1"},
      {"help ECHO", "repeats\n"},
      {"help nothing", "Invalid command: nothing"},
      {"SETSWITCH zone 1111", "OK\n"},
      {"setswitch All 0111", "Can't turn off assert level debug info!\n"},
      {"setswitch nobody 1000", "Module not found! nobody"},
      {"flush", "OK\n"},
      {"flushall", "OK\n"},
      {"echo echo echo", "Excute Error!\n"},
      {"ECHO away", "ECHO2"},
      {"echo", "Invalid Command: echo"}};
  for (const auto& [line, reply] : rows) EXPECT_EQ(Excute(line), reply) << line;
  EXPECT_NE(Excute("listswitch").find("\nzone" + std::string(60, ' ') + "1111\n"), std::string::npos);
  for (const char* line :
       {"setswitch", "setswitch zone 111", "setswitch zone 11112", "setswitch zone 1112"}) {
    EXPECT_EQ(Excute(line).find("Syntex: setswitch"), 0U) << line;
  }
}

TEST(AsnTrace, SwitchesAndConfigurationDecide) {
  const std::tuple<const char*, bool, bool, std::vector<std::string>, const char*> rows[] = {
      // what, trace and log switched on, configuration, what is written
      {"both on", true, true, {"x=y"}, "m xxx"},
      {"log only", false, true, {"x=y"}, "m xxx"},
      {"trace only: rendered, not written", true, false, {"x=y"}, nullptr},
      {"both off", false, false, {"x=y"}, nullptr},
      {"not to be printed: its name", true, false, {"NotPrint = A, PrintedType"}, "m PrintedType"},
      {"named twice: its name", true, true, {"Print=PrintedType", "NotPrint=PrintedType"}, "m PrintedType"},
      {"both off, not to be printed", false, false, {"NotPrint=PrintedType"}, nullptr},
  };
  for (const auto& [what, trace, asnLog, config, written] : rows) {
    GetDebugInterface("m");
    Excute("setswitch m 1111");
    testkit::LogCapture log;
    g_bEnableAsnTrace = trace;
    g_bEnableAsnLog = asnLog;
    TEDebugMgrImpl::Instance()->ReadAsnConfig(config);
    AsnTrace(Printed(3), *GetDebugInterface("m"));
    EXPECT_EQ(Texts(log), std::vector<std::string>(written ? 1 : 0, written ? written : "")) << what;
  }
}

TEST(AsnTrace, LongTextsAreCutAndMarked) {
  constexpr std::size_t size = 10240;  // nMaxSizeOfAsnTrace without a configuration
  const std::string mark = "\n...More ASN not print.\n";
  Excute("setswitch default 1111");
  testkit::LogCapture log;
  for (const std::size_t length : {size - 2, size - 1, size, size + 1, 10 * size}) {
    log.Clear();
    AsnTrace(Printed(length), GetDefaultDebugInterface());
    const bool cut = length >= size - 1;  // the final zero needs room too
    const std::string written = cut ? std::string(size - mark.size(), 'x') + mark : std::string(length, 'x');
    EXPECT_EQ(log.Records().at(0).text, "default " + written) << length;
    EXPECT_EQ(toString(Printed(length)), std::string(std::min(length, size), 'x')) << length;
  }
}

// Runs InitDebugLog with a process path of this test's own.
int Init(std::vector<std::string> args) {
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  return InitDebugLog(static_cast<int>(argv.size()), argv.data());
}

TEST(DebugLog, InitNamesTheLogs) {
  std::string name;
  std::string conf;
  ASSERT_EQ(GetProcessName(name), 0);
  ASSERT_EQ(GetProcessPath(conf), 0);
  conf += "../conf/";
  std::filesystem::create_directories(conf);
  const std::string file = "handle." + std::to_string(getpid());
  const std::string empty = "empty." + std::to_string(getpid());
  std::ofstream(conf + file) << "ProcHandle = 3\n";
  std::ofstream(conf + empty) << "Other = 3\n";
  const std::string plain = "/" + name + ".log";
  const std::string third = "_3/" + name + "_3.log";
  const std::string alarm = "_3/alm_" + name + "_3.log";
  const std::tuple<const char*, std::vector<std::string>, std::string, std::string> rows[] = {
      // what, arguments, log, log of alarms
      {"no option", {"prog"}, plain, plain},
      {"the handle of the file", {"prog", "-f", file}, third, alarm},
      {"the first -f counts", {"prog", "x", "-f", file, "-f", empty}, third, alarm},
      {"no key in the file", {"prog", "-f", empty}, "_0" + plain, "_0" + plain},
      {"-f is the last argument", {"prog", "x", "-f"}, plain, plain},
  };
  for (const auto& [what, args, module, alarms] : rows) {
    SCOPED_TRACE(what);
    std::filesystem::remove_all(vela::InstallRoot() + "var/logs/Develop");
    ASSERT_EQ(Init(args), 0);
    GetDefaultDebugInterface().Print(1, "here");
    TEAlmTrace("smoke");
    ASSERT_TRUE(LogProcess::Flush(20'000));
    const std::string base = "var/logs/Develop/" + name;
    EXPECT_NE(files::Read(base + module).find("] default here\n"), std::string::npos);
    EXPECT_NE(files::Read(base + alarms).find("] smoke\n"), std::string::npos);
    EXPECT_EQ(VelaDebugMgr::Instance()->Execute("flush"), "OK\n");
    FiniDebugLog();
    EXPECT_EQ(VelaDebugMgr::Instance()->Execute("flush"), "No debug engine.\n");
  }
  std::filesystem::remove(conf + file);
  std::filesystem::remove(conf + empty);
}

TEST(DebugLogDeathTest, ACrashBringsTheHeldBackRecordsIntoTheLog) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto crash = [] {
    Init({"prog"});
    TETrace("the last thing that was tried");
    std::abort();
  };
  EXPECT_EXIT(crash(), testing::KilledBySignal(SIGABRT), "");
  std::string name;
  ASSERT_EQ(GetProcessName(name), 0);
  const std::string content = files::Read("var/logs/Develop/" + name + "/" + name + ".log");
  EXPECT_NE(content.find("] default the last thing that was tried\n"), std::string::npos) << content;
}

TEST(DebugLogThreaded, TheFlushTaskTracesOnEveryInterval) {
  ::setenv("VELA_TIME_SCALE", "5", 1);  // read with the first interval
  VelaAppMgr& app = *VelaAppMgr::Instance();
  ASSERT_NE(app.CreateTaskMgr({}), nullptr);
  Excute("setswitch debug 1111");
  std::promise<void> twice;
  std::atomic<int> count = 0;
  vela::SetLogCapture([&](std::string_view, int level, std::string_view text) {
    if (level == 3 && text == "debug Flush" && ++count == 2) twice.set_value();
  });
  EXPECT_EQ(InitDebugTask(0), -1) << "no task manager";
  EXPECT_EQ(InitDebugTask(1), 0);
  EXPECT_EQ(twice.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
  app.Stop(10);
  vela::SetLogCapture({});
}

TEST(DebugLog, SlotModeIsAskedForUntilItIsFound) {
  testkit::LogCapture log;
  Excute("setswitch default 1111");
  EXPECT_EQ(GetSlotMode() + GetSlotMode(), 0);
  EXPECT_EQ(
      log.Count("default Get cfg from MCDB..tbl_usercfg_param failed, use default value. g_SlotMode= 0"), 2);
}

}  // namespace
