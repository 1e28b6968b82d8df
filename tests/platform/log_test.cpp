#include "platform/log/log_process.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <future>
#include <latch>
#include <thread>

#include "platform/debug/vela_debug_mgr.h"
#include "platform/log/crash_handler_mgr.h"
#include "platform/log/log_capture.h"
#include "platform/log/time_formatter.h"
#include "platform/os/clock.h"
#include "platform/os/os_faults.h"
#include "tests/files.h"

namespace {

constexpr int kLong = 20'000;  // milliseconds: ends a hanging test, not a slow one

std::string Logs() {
  return vela::InstallRoot() + "var/logs/";
}

void Configure(const std::string& lines) {
  files::Write("etc/conf/log.cfg", lines);
}

// What stands behind "[time],Level,[Hthread] ".
std::string TextOf(const std::string& line) {
  const std::size_t at = line.find("] ", line.find("[H"));
  return !line.starts_with("[") || at == std::string::npos ? line : line.substr(at + 2);
}

// Of a file in the folder of the logs.
std::vector<std::string> Texts(const std::string& file) {
  std::vector<std::string> texts = files::Lines(files::Read("var/logs/" + file));
  for (std::string& line : texts) line = TextOf(line);
  return texts;
}

}  // namespace

TEST(Log, OneRecordIsOneLineAndNoTextForgesAnother) {
  const struct {
    const char* what;
    std::string text;
    std::vector<std::string> lines;
  } rows[] = {
      {"plain", "all well", {"all well"}},
      {"one final line end is dropped", "done\n", {"done"}},
      {"further lines are indented",
       "begin\n[2026-01-01 00:00:00.000000],Error,[H1] forged\nend",
       {"begin", "    [2026-01-01 00:00:00.000000],Error,[H1] forged", "    end"}},
      {"control bytes", std::string("a\rb\x1b[2Jc\0d\te", 12), {"a\\x0Db\\x1B[2Jc\\x00d\\x09e"}},
      {"empty", "", {""}},
  };
  LogProcess::InitEnv("/opt/bin/prog", 0);
  for (const auto& row : rows) LogProcess::Info(row.text);
  ASSERT_TRUE(LogProcess::Flush(kLong));
  std::vector<std::string> expected;
  for (const auto& row : rows) expected.insert(expected.end(), row.lines.begin(), row.lines.end());
  EXPECT_EQ(Texts("prog.log"), expected);
}

TEST(Log, ALineTellsTimeLevelAndThread) {
  vela::SetWallClock([] { return vela::WallTime(std::chrono::microseconds(1'700'000'000'000'042)); });
  LogProcess::InitEnv("prog", 7);
  LogProcess::Fixme("a");
  LogProcess::Error("b");
  LogProcess::Info("c");
  LogProcess::Debug("d");
  LogProcess::ForceLog("alarm", 5, "e");
  ASSERT_TRUE(LogProcess::Flush(kLong));
  vela::SetWallClock({});
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
  Configure("Level = 2\n");
  LogProcess::InitEnv("prog", 0);
  EXPECT_EQ(enabled(), "110");
  VelaDebugMgr::Instance()->SetAllModuleInfo(0b1001, 0, false);
  EXPECT_EQ(enabled(), "000");
  LogProcess::Error("not written");
  LogProcess::Fixme("always written");
  ASSERT_TRUE(LogProcess::Flush(kLong));
  EXPECT_EQ(Texts("prog.log"), std::vector<std::string>{"always written"});
}

TEST(Log, DebugManagerNamesTheFiles) {
  const struct {
    const char* logName;
    const char* module;
    const char* alarm;
  } rows[] = {
      {"server_3_", "server_3.log", "alm_server_3.log"},
      {"a/../b_", "a_.._b.log", "a_.._b.log"},
  };
  for (const auto& row : rows) {
    const std::string directory = "Develop/" + std::to_string(&row - rows) + "/";
    const std::string file = Logs() + directory + "../tmpfile";
    ASSERT_EQ(VelaDebugMgr::Instance()->Init(row.logName, "", file, "", false, true), 0);
    LogProcess::InitEnv("prog", 3);
    LogProcess::ForceLog("alarm", 5, "smoke");
    LogProcess::Error("trace");
    ASSERT_TRUE(LogProcess::Flush(kLong));
    EXPECT_EQ(Texts(directory + row.module).back(), "trace") << row.logName;
    EXPECT_EQ(Texts(directory + row.alarm).front(), "smoke") << row.logName;
  }
  files::Write("var/logs/file", "in the way");
  EXPECT_EQ(VelaDebugMgr::Instance()->Init("x_", "", Logs() + "file/../tmpfile", "", false, true), -1);
}

TEST(Log, RotatesBySizeAndKeepsTheNewest) {
  Configure("FileKB = 4\nOldFiles = 2\n");
  LogProcess::InitEnv("prog", 0);
  const std::string filler(300, 'x');
  for (int i = 0; i < 100; ++i) LogProcess::Info(filler + std::to_string(i));
  ASSERT_TRUE(LogProcess::Flush(kLong));
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
  LogProcess::InitEnv("prog", 0);
  LogProcess::Info("before");
  ASSERT_TRUE(LogProcess::Flush(kLong));
  std::atomic<long> room = 30;
  vela::SetOsFaultHook([&room](vela::OsCall call, const char*) {
    if (call != vela::OsCall::write) return vela::OsFault{};
    const long limit = room.exchange(0);
    return limit > 0 ? vela::OsFault{0, limit} : vela::OsFault{ENOSPC, -1};
  });
  for (int i = 0; i < 3; ++i) {
    LogProcess::Info("lost");
    ASSERT_TRUE(LogProcess::Flush(kLong));
  }
  vela::SetOsFaultHook({});
  LogProcess::Info("after");
  ASSERT_TRUE(LogProcess::Flush(kLong));
  EXPECT_EQ(LogProcess::FailedWrites(), 3U);
  const std::vector<std::string> texts = Texts("prog.log");
  ASSERT_EQ(texts.size(), 3U);
  EXPECT_EQ(texts[0], "before");
  EXPECT_EQ(texts[1].find("log: 3 records lost, the file could not be written: "), 0U) << texts[1];
  EXPECT_EQ(texts[2], "after");

  files::Write("var/logs/file", "in the way");
  LogProcess::OverrideDirectory(Logs() + "file/deeper");
  LogProcess::InitEnv("prog", 0);
  LogProcess::Info("nowhere to go");
  ASSERT_TRUE(LogProcess::Flush(kLong));
  EXPECT_EQ(LogProcess::FailedWrites(), 1U) << "counted anew";
}

TEST(LogThreaded, AFullQueueLosesTheOldestAndTellsHowMany) {
  Configure("QueueLength = 16\n");
  LogProcess::InitEnv("prog", 0);
  std::atomic<bool> stuck = false;
  std::latch release(1);
  vela::SetOsFaultHook([&](vela::OsCall call, const char*) {
    if (call == vela::OsCall::write) {
      stuck = true;
      stuck.notify_one();
      release.wait();
    }
    return vela::OsFault{};
  });
  LogProcess::Info("0");
  stuck.wait(false);
  for (int i = 1; i <= 100; ++i) LogProcess::Info(std::to_string(i));
  EXPECT_EQ(LogProcess::DroppedRecords(), 84U);
  EXPECT_FALSE(LogProcess::Flush(1)) << "the disk hangs";
  release.count_down();
  ASSERT_TRUE(LogProcess::Flush(kLong));
  vela::SetOsFaultHook({});
  const std::vector<std::string> texts = Texts("prog.log");
  EXPECT_EQ(texts.front(), "0");
  EXPECT_NE(std::find(texts.begin(), texts.end(), "100"), texts.end());
  const std::string report =
      "log: " + std::to_string(LogProcess::DroppedRecords()) + " records lost, the queue was full";
  EXPECT_EQ(std::count(texts.begin(), texts.end(), report), 1);
}

TEST(LogThreaded, RecordsOfManyThreadsAreWholeAndInOrder) {
  constexpr int kThreads = 4;
  constexpr int kEach = 500;
  Configure("QueueLength = 10000\n");
  LogProcess::InitEnv("prog", 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kEach; ++i) LogProcess::Info(std::to_string(t) + " " + std::to_string(i));
      EXPECT_TRUE(LogProcess::Flush(kLong));
    });
  }
  for (std::thread& thread : threads) thread.join();
  int next[kThreads] = {};
  for (const std::string& text : Texts("prog.log")) {
    const int t = text.at(0) - '0';
    ASSERT_EQ(text, std::to_string(t) + " " + std::to_string(next[t]++));
  }
  for (const int count : next) EXPECT_EQ(count, kEach);
}

TEST(LogThreaded, TheLogMayBeShutAndOpenedWhileOthersWrite) {
  std::atomic<bool> stop = false;
  std::thread writer([&stop] {
    while (!stop) LogProcess::ForceLog("alarm", 5, "busy");
  });
  testing::internal::CaptureStderr();
  for (int i = 0; i < 5; ++i) {
    LogProcess::InitEnv("prog", 0);
    LogProcess::Shutdown();
  }
  stop = true;
  writer.join();
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
  const auto late = [](int) { LogProcess::Fixme("late"); };
  const auto hang = [](int) { std::promise<void>().get_future().wait(); };
  const auto crash = [](int) { ReadNowhere(); };
  using Log = std::vector<std::string>;
  const struct {
    const char* what;
    std::function<void()> how;
    std::function<void(int)> handler;
    int signalNumber;
    Log log;
  } rows[] = {
      {"a real fault", ReadNowhere, late, SIGSEGV, {"last words", "late", "early 11"}},
      {"abort", std::abort, late, SIGABRT, {"last words", "late", "early 6"}},
      {"another thread",
       [] { std::thread(ReadNowhere).join(); },
       late,
       SIGSEGV,
       {"last words", "late", "early 11"}},
      {"arithmetic", [] { raise(SIGFPE); }, late, SIGFPE, {"last words", "late", "early 8"}},
      {"a handler that hangs", std::abort, hang, SIGABRT, {"last words"}},
      {"a handler that crashes", std::abort, crash, SIGSEGV, {}},
  };
  for (const auto& row : rows) {
    std::filesystem::remove(Logs() + "crashing.log");
    EXPECT_EXIT(Crash(row.how, row.handler), testing::KilledBySignal(row.signalNumber), "") << row.what;
    if (!row.log.empty()) {
      EXPECT_EQ(Texts("crashing.log"), row.log) << row.what;
    }
  }
}
