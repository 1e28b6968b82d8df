#include "platform/log/log_process.h"

#include <csignal>
#include <future>

#include "platform/debug/vela_debug_mgr.h"
#include "platform/log/crash_handler_mgr.h"
#include "platform/log/time_formatter.h"
#include "tests/test_base.h"

namespace {

constexpr int kLong = 20'000;  // milliseconds: ends a hanging test, not a slow one

std::string Logs() {
  return vela::InstallRoot() + "var/logs/";
}

// Begins the log, configured so.
void Begin(const std::string& settings = "", int handle = 0) {
  files::Write("etc/conf/log.cfg", settings);
  LogProcess::InitEnv("prog", handle);
}

// Of a file in the folder of the logs, once all is written: what stands behind "[time],Level,[Hthread] ".
std::vector<std::string> Texts(const std::string& file) {
  EXPECT_TRUE(LogProcess::Flush(kLong));
  std::vector<std::string> texts = files::Lines(files::Read("var/logs/" + file));
  for (std::string& line : texts) {
    const std::size_t at = line.find("] ", line.find("[H"));
    if (line.starts_with("[") && at != std::string::npos) line.erase(0, at + 2);
  }
  return texts;
}

}  // namespace

TEST(Log, OneRecordIsOneLineAndNoTextForgesAnother) {
  const std::tuple<const char*, std::string, std::vector<std::string>> rows[] = {
      {"plain", "all well", {"all well"}},
      {"one final line end is dropped", "done\n", {"done"}},
      {"further lines are indented",
       "begin\n[2026-01-01 00:00:00.000000],Error,[H1] forged\nend",
       {"begin", "    [2026-01-01 00:00:00.000000],Error,[H1] forged", "    end"}},
      {"control bytes", std::string("a\rb\x1b[2Jc\0d\te", 12), {"a\\x0Db\\x1B[2Jc\\x00d\\x09e"}},
      {"empty", "", {""}},
  };
  LogProcess::InitEnv("/opt/bin/prog", 0);
  std::vector<std::string> expected;
  for (const auto& [what, text, lines] : rows) {
    LogProcess::Info(text);
    expected.insert(expected.end(), lines.begin(), lines.end());
  }
  EXPECT_EQ(Texts("prog.log"), expected);
}

TEST(Log, ALineTellsTimeLevelAndThread) {
  const testkit::Clock clock(1'700'000'000, 42);
  Begin("", 7);
  LogProcess::Fixme("a");
  LogProcess::Error("b");
  LogProcess::Info("c");
  LogProcess::Debug("d");
  LogProcess::ForceLog("alarm", 5, "e");
  ASSERT_TRUE(LogProcess::Flush(kLong));
  const std::string time = TimeFormatter::getFormatTime(1'700'000'000, 42);
  EXPECT_EQ(time.substr(time.size() - 7), ".000042");
  const std::string thread = std::to_string(static_cast<std::uint32_t>(pthread_self()));
  std::vector<std::string> expected;
  for (const char* mark : {"],Fixme,[H", "],Error,[H", "],Info, [H", "],Debug,[H", "],Force,[H"}) {
    expected.push_back("[" + time + mark + thread + "] " + static_cast<char>('a' + expected.size()));
  }
  EXPECT_EQ(files::Lines(files::Read("var/logs/prog_7.log")), expected);
}

TEST(Log, ConfigurationAndDebugManagerNarrowTheLevels) {
  const auto enabled = [] {
    return std::string(LogProcess::isErrorEnabled() ? "1" : "0") + (LogProcess::isInfoEnabled() ? "1" : "0") +
           (LogProcess::isDebugEnabled() ? "1" : "0");
  };
  EXPECT_EQ(enabled(), "111") << "before InitEnv";
  Begin("Level = 2\n");
  EXPECT_EQ(enabled(), "110");
  VelaDebugMgr::Instance()->SetAllModuleInfo(0b1001, 0, false);
  EXPECT_EQ(enabled(), "000");
  LogProcess::Error("not written");
  LogProcess::Fixme("always written");
  EXPECT_EQ(Texts("prog.log"), std::vector<std::string>{"always written"});
}

TEST(Log, DebugManagerNamesTheFiles) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"server_3_", "server_3.log", "alm_server_3.log"}, {"a/../b_", "a_.._b.log", "a_.._b.log"}};
  for (const auto& [logName, module, alarm] : rows) {
    const std::string directory = std::string("Develop/") + module + "/";
    const std::string file = Logs() + directory + "../tmpfile";
    ASSERT_EQ(VelaDebugMgr::Instance()->Init(logName, "", file, "", false, true), 0);
    LogProcess::InitEnv("prog", 3);
    LogProcess::ForceLog("alarm", 5, "smoke");
    LogProcess::Error("trace");
    EXPECT_EQ(Texts(directory + module).back(), "trace") << logName;
    EXPECT_EQ(Texts(directory + alarm).front(), "smoke") << logName;
  }
  files::Write("var/logs/file", "in the way");
  EXPECT_EQ(VelaDebugMgr::Instance()->Init("x_", "", Logs() + "file/../tmpfile", "", false, true), -1);
}

TEST(Log, RotatesBySizeAndKeepsTheNewest) {
  Begin("FileKB = 4\nOldFiles = 2\n");
  const std::string filler(300, 'x');
  for (int i = 0; i < 100; ++i) LogProcess::Info(filler + std::to_string(i));
  int next = 99;
  for (const char* name : {"prog.log", "prog.1.log", "prog.2.log"}) {
    const std::vector<std::string> texts = Texts(name);
    EXPECT_LE(std::filesystem::file_size(Logs() + name), 4096U) << name;
    EXPECT_FALSE(texts.empty()) << name;
    for (auto text = texts.rbegin(); text != texts.rend(); ++text)
      EXPECT_EQ(*text, filler + std::to_string(next--));
  }
  EXPECT_FALSE(std::filesystem::exists(Logs() + "prog.3.log"));
}

TEST(Log, AFullDiskLosesWholeRecordsCountsThemAndReportsOnce) {
  Begin();
  LogProcess::Info("before");
  ASSERT_TRUE(LogProcess::Flush(kLong));
  {
    std::atomic<long> room = 30;
    const testkit::OsFaults faults([&room](OsCall call, const char*) {
      if (call != OsCall::write) return OsFault{};
      const long limit = room.exchange(0);
      return limit > 0 ? OsFault{0, limit} : OsFault{ENOSPC, -1};
    });
    for (int i = 0; i < 3; ++i) {
      LogProcess::Info("lost");
      ASSERT_TRUE(LogProcess::Flush(kLong));
    }
  }
  LogProcess::Info("after");
  const std::vector<std::string> texts = Texts("prog.log");
  EXPECT_EQ(LogProcess::FailedWrites(), 3U);
  ASSERT_EQ(texts.size(), 3U);
  EXPECT_EQ(texts[0] + texts[2], "beforeafter");
  EXPECT_EQ(texts[1].find("log: 3 records lost, the file could not be written: "), 0U) << texts[1];

  files::Write("var/logs/file", "in the way");
  LogProcess::OverrideDirectory(Logs() + "file/deeper");
  Begin();
  LogProcess::Info("nowhere to go");
  ASSERT_TRUE(LogProcess::Flush(kLong));
  EXPECT_EQ(LogProcess::FailedWrites(), 1U) << "counted anew";
}

TEST(LogThreaded, AFullQueueLosesTheOldestAndTellsHowMany) {
  Begin("QueueLength = 16\n");
  std::latch stuck(1), release(1);
  {
    const testkit::OsFaults faults([&](OsCall call, const char*) {
      if (call == OsCall::write && !stuck.try_wait()) stuck.count_down();
      if (call == OsCall::write) release.wait();
      return OsFault{};
    });
    LogProcess::Info("0");
    stuck.wait();
    for (int i = 1; i <= 100; ++i) LogProcess::Info(std::to_string(i));
    EXPECT_EQ(LogProcess::DroppedRecords(), 84U);
    EXPECT_FALSE(LogProcess::Flush(1)) << "the disk hangs";
    release.count_down();
    ASSERT_TRUE(LogProcess::Flush(kLong));
  }
  const std::vector<std::string> texts = Texts("prog.log");
  EXPECT_EQ(texts.front(), "0");
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "100"), 1);
  const std::string report =
      "log: " + std::to_string(LogProcess::DroppedRecords()) + " records lost, the queue was full";
  EXPECT_EQ(std::count(texts.begin(), texts.end(), report), 1);
}

TEST(LogThreaded, RecordsOfManyThreadsAreWholeAndInOrder) {
  constexpr int kThreads = 4;
  constexpr int kEach = 500;
  Begin("QueueLength = 10000\n");
  InThreads(kThreads, [](int t) {
    for (int i = 0; i < kEach; ++i) LogProcess::Info(std::to_string(t) + " " + std::to_string(i));
    EXPECT_TRUE(LogProcess::Flush(kLong));
  });
  int next[kThreads] = {};
  for (const std::string& text : Texts("prog.log")) {
    const int t = text.at(0) - '0';
    ASSERT_EQ(text, std::to_string(t) + " " + std::to_string(next[t]++));
  }
  for (const int count : next) EXPECT_EQ(count, kEach);
}

TEST(LogThreaded, TheLogMayBeShutAndOpenedWhileOthersWrite) {
  std::atomic<bool> stop = false;
  testing::internal::CaptureStderr();
  InThreads(2, [&stop](int thread) {
    for (int i = 0; thread == 0 && i < 5; ++i) {
      LogProcess::InitEnv("prog", 0);
      LogProcess::Shutdown();
    }
    if (thread == 0) stop = true;
    while (!stop) LogProcess::ForceLog("alarm", 5, "busy");
  });
  LogProcess::Info("after the end");
  EXPECT_NE(testing::internal::GetCapturedStderr().find("] after the end\n"), std::string::npos);
}

namespace {

struct Tell : CrashHandler {
  explicit Tell(std::function<void(int)> what) : onSignal(std::move(what)) {}
  void OnCrash(int signalNumber) override { onSignal(signalNumber); }
  std::function<void(int)> onSignal;
};

void ReadNowhere() {
  volatile int* volatile nowhere = nullptr;
  *nowhere = 1;
}

// In a child process: logs, crashes, and never returns.
[[noreturn]] void Crash(const std::function<void()>& how, const std::function<void(int)>& first) {
  LogProcess::InitEnv("crashing", 0);
  Tell early([](int signalNumber) { LogProcess::Fixme("early " + std::to_string(signalNumber)); });
  Tell late(first);
  CrashHandlerMgr* const manager = CrashHandlerMgr::Instance();
  for (CrashHandler* handler : {static_cast<CrashHandler*>(&early), static_cast<CrashHandler*>(&late)}) {
    manager->Register(handler);
    manager->Register(handler);
  }
  Tell gone([](int) { LogProcess::Fixme("unregistered"); });
  manager->Register(&gone);
  manager->Unregister(&gone);
  manager->Arm();
  LogProcess::Info("last words");
  how();
  std::_Exit(0);
}

}  // namespace

TEST(CrashHandlersDeathTest, RunInReverseOrderThenTheLogIsCompleteAndTheSignalIsTheSame) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  using Handler = std::function<void(int)>;
  using Log = std::vector<std::string>;
  const Handler late = [](int) { LogProcess::Fixme("late"); };
  const Handler hang = [](int) { std::promise<void>().get_future().wait(); };
  const Handler crash = [](int) { ReadNowhere(); };
  const auto thread = [] { std::thread(ReadNowhere).join(); };
  const auto arithmetic = [] { raise(SIGFPE); };
  const std::tuple<const char*, std::function<void()>, Handler, int, Log> rows[] = {
      {"a real fault", ReadNowhere, late, SIGSEGV, {"last words", "late", "early 11"}},
      {"abort", std::abort, late, SIGABRT, {"last words", "late", "early 6"}},
      {"another thread", thread, late, SIGSEGV, {"last words", "late", "early 11"}},
      {"arithmetic", arithmetic, late, SIGFPE, {"last words", "late", "early 8"}},
      {"a handler that hangs", std::abort, hang, SIGABRT, {"last words"}},
      {"a handler that crashes", std::abort, crash, SIGSEGV, {}},
  };
  for (const auto& [what, how, handler, signalNumber, log] : rows) {
    std::filesystem::remove(Logs() + "crashing.log");
    EXPECT_EXIT(Crash(how, handler), testing::KilledBySignal(signalNumber), "") << what;
    EXPECT_TRUE(log.empty() || Texts("crashing.log") == log) << what;
  }
}
