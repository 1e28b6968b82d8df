#include "util/basicutil/timelog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <sstream>
#include <thread>

#include "platform/os/vela_os.h"
#include "platform/testkit/testkit.h"
#include "util/basicutil/common_manager.h"
#include "util/basicutil/timelog_internal.h"

using namespace NSTE_util;

namespace {

constexpr const char* TIMING = " used time(ms):\t";

std::atomic<std::uint32_t> g_now;

TETimeLog& Log() {
  return *TETimeLog::Instance();
}

// One step of a history: ( opens the thread's log, ) closes it, = prints; ~N lets N ms pass; <CODE and >CODE
// begin and end an NE operation; TYPE:MS adds a time with the text "t".
void Do(const std::string& step) {
  if (step == "(") return Log().BeginThreadLog();
  if (step == ")") return Log().EndThreadLog();
  if (step == "=") return Log().PrintSummary();
  if (step[0] == '~') return void(g_now += std::stoul(step.substr(1)));
  if (step[0] == '<') return Log().BeginNEOper(std::stoul(step.substr(1), nullptr, 0), 1, "op");
  if (step[0] == '>') return Log().EndNEOper(std::stoul(step.substr(1), nullptr, 0));
  Log().AddTime(std::stol(step), std::stoul(step.substr(step.find(':') + 1)), "t");
}

void Play(const std::string& history) {
  std::istringstream steps(history);
  for (std::string step; steps >> step;) Do(step);
}

// Time stands still unless a test moves it, and passes the end of its 32 bits.
class TimeLogTest : public testing::Test {
 protected:
  TimeLogTest() {
    g_now = 0xFFFFFFFC;
    g_timeLogTicks = [] { return g_now.load(); };
    Log();
    TEDebugMgrImpl::Instance()->SetAllSwitches(0b1111);
    m_log.Clear();
  }
  ~TimeLogTest() override {
    TETimeLog::Destroy();
    g_timeLogTicks = &VelaGetTickCount;
  }

  // The records since the last call, each in brackets; "T" stands for the text of a timing.
  std::string Written() {
    std::string written;
    for (const testkit::LogRecord& record : m_log.Records()) {
      std::string text = record.text;
      for (std::size_t at; (at = text.find(TIMING)) != std::string::npos;)
        text.replace(at, std::string(TIMING).size(), "T");
      EXPECT_EQ(text.substr(0, 8), "timelog ");
      EXPECT_EQ(record.level, 3);
      written += '[' + text.substr(8) + ']';
    }
    m_log.Clear();
    return written;
  }

  testkit::LogCapture m_log;
};

TEST_F(TimeLogTest, SumsUpWhatAThreadDid) {
  const char* const rows[][3] = {
      {"( ) 0:5 = ( ~1 ) =", "", "nothing to say, or no log"},
      {"( 0:5 9:8 1:7 0:3 2:1 3:4 -1:6 1:2 )",
       "[tT5\n\ntT3\n\nSUM operation type -1 tT6\n\nSUM NE operationttT9\n\nSUM EMS operationtT1\n\n"
       "SUM NMS operationtT4\n\nSUM operation type 9 tT8\n\n]",
       "steps in order, then sums by type"},
      {"( 1:4294967295 1:3 0:4294967297 2:2147483648 )",
       "[tT1\n\nSUM NE operationttT2\n\nSUM EMS operationtT-2147483648\n\n]", "32 bits"},
      {"( 0:1 ( 0:2 ) = 0:3 )", "[tT1\n\ntT2\n\n][tT1\n\ntT2\n\ntT3\n\n]", "one log, printed on demand too"},
      {"( 0:1 ) ) ( ( 0:2 ) )", "[tT1\n\n][tT2\n\n]", "a close too many costs nothing"},
      {"( <5 ~10 <0x100000005 ~1 >5 ~2 >5 )", "[SUM NE operationopT14\n\n]", "both durations, 13 and 1"},
      {"( <31 <31 ~4 >31 <9 )",
       "[op\tNE operation 0x9 not ended! Lost 1command(s)\nop\tNE operation 0x1f not ended! Lost "
       "1command(s)\n]",
       "by code"},
      {"( <31 ) ( >31 )", "[op\tNE operation 0x1f not ended! Lost 1command(s)\n]", "dropped with its log"},
      {"<5 ( >5 )", "", "begun without a log"},
  };
  for (const auto& [history, expected, why] : rows) {
    Play(history);
    EXPECT_EQ(Written(), expected) << history << ": " << why;
    EXPECT_TRUE(TETimeLog::OpenLogs().empty());
  }
}

TEST_F(TimeLogTest, CountsAnOperationForTheThreadThatBeganIt) {
  Play("( <5 ~3");
  std::thread([] { Play("<5 ~7 ( ) >5"); }).join();
  EXPECT_EQ(Written(), "[]") << "nothing of its own, but something is pending";
  Play(")");
  EXPECT_EQ(Written(), "[SUM NE operationopT10\n\n]");
}

TEST_F(TimeLogTest, ShowsOpenLogs) {
  const testkit::Clock clock(1000);
  const TETimeLogGuard outer("outer");
  Play("~5");
  const TETimeLogGuard inner("inner");
  Play("<9 ~2 <9 <3 ~1");
  std::thread([] { Play("( <9"); }).join();
  const std::vector<TEOpenTimeLog> open = TETimeLog::OpenLogs();
  ASSERT_EQ(open.size(), 2U);
  const TEOpenTimeLog& own = open[open[0].m_nThreadID == GetCurrentThreadId() ? 0 : 1];
  EXPECT_EQ(std::tuple(own.m_strName, own.m_nDepth, own.m_nAge), std::tuple("outer", 2U, 8U));
  EXPECT_EQ(own.m_since, vela::Now());
  ASSERT_EQ(own.m_pending.size(), 2U);
  const TEPendingNEOper& oper = own.m_pending[1];
  EXPECT_EQ(std::tuple(oper.m_nOperCode, oper.m_nType, oper.m_strText, oper.m_nCount, oper.m_nAge),
            std::tuple(9U, 1L, "op", 3U, 3U));
}

TEST_F(TimeLogTest, GuardsReportTheTimeOfTheirLives) {
  { const TETimeGuard none(TIME_STEP, "no log"); }
  {
    const TETimeLogGuard outer("outer");
    Play("~1");
    {
      const TETimeLogGuard inner("inner");
      const TETimeGuard step(TIME_STEP, "step"), sum(TIME_NMS_OPER, "sum");
      Play("~2");
      const TETimeGuard copy = step;
      Play("~4");
    }
    EXPECT_EQ(Written(), "[innerT6\n]");
  }
  EXPECT_EQ(Written(), "[outerT7\n][stepT6\n\nstepT6\n\nT6\n\nSUM NMS operationsumT6\n\n]");
  for (const unsigned long minimum : {0UL, 49UL, 50UL, 51UL, 0x100000001UL}) {
    {
      const TESimpleTimeGuard guard("at least", minimum);
      Play("~50");
    }
    EXPECT_EQ(Written(), minimum == 51 ? "" : "[at leastT50\n]") << minimum;
  }
}

TEST(TimeLogThreaded, KeepsThreadsApart) {
  constexpr int THREADS = 6, ROUNDS = 40, STEPS = 20;
  testkit::LogCapture capture;
  g_timeLogTicks = [] { return g_now.load(); };
  Log();
  TEDebugMgrImpl::Instance()->SetAllSwitches(0b1111);
  std::latch start(THREADS + 1);
  std::vector<std::thread> threads;
  for (int i = 0; i < THREADS; ++i)
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      for (int round = 0; round < ROUNDS; ++round) {
        const TETimeLogGuard log("request");
        for (int step = 0; step < STEPS; ++step) {
          Log().BeginNEOper(static_cast<unsigned long>(i), TIME_EMS_OPER, "");
          { const TETimeGuard guard(TIME_NE_OPER, "x"); }
          Log().EndNEOper(static_cast<unsigned long>(i));
        }
      }
    });
  start.arrive_and_wait();
  for (int round = 0; round < ROUNDS; ++round) {
    for (const TEOpenTimeLog& log : TETimeLog::OpenLogs()) {
      EXPECT_EQ(log.m_strName, "request");
      EXPECT_LE(log.m_pending.size(), 1U);
    }
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(capture.Count("timelog request" + std::string(TIMING) + "0\n"), THREADS * ROUNDS);
  EXPECT_EQ(capture.Count("timelog SUM NE operation" + std::string(STEPS, 'x') + TIMING +
                          "0\n\nSUM EMS operation" + TIMING + "0\n\n"),
            THREADS * ROUNDS);
  TETimeLog::Destroy();
}

}  // namespace
