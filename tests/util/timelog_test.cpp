#include "util/basicutil/timelog.h"

#include <sstream>

#include "platform/os/vela_os.h"
#include "tests/util/util_test.h"
#include "util/basicutil/common_manager.h"
#include "util/basicutil/timelog_internal.h"

namespace {

std::atomic<std::uint32_t> g_now;

// One step of a history: ( opens the thread's log, ) closes it, = prints; ~N lets N ms pass; <CODE and >CODE
// begin and end an NE operation; TYPE:MS adds a time with the text "t".
void Do(const std::string& step) {
  TETimeLog& log = *TETimeLog::Instance();
  if (step == "(") return log.BeginThreadLog();
  if (step == ")") return log.EndThreadLog();
  if (step == "=") return log.PrintSummary();
  if (step[0] == '~') return void(g_now += std::stoul(step.substr(1)));
  if (step[0] == '<') return log.BeginNEOper(std::stoul(step.substr(1), nullptr, 0), 1, "op");
  if (step[0] == '>') return log.EndNEOper(std::stoul(step.substr(1), nullptr, 0));
  log.AddTime(std::stol(step), std::stoul(step.substr(step.find(':') + 1)), "t");
}

void Play(const std::string& history) {
  std::istringstream steps(history);
  for (std::string step; steps >> step;) Do(step);
}

// Time stands still unless a test moves it, and passes the end of its 32 bits.
class TimeLogTest : public LogTest {
 protected:
  TimeLogTest() {
    g_now = 0xFFFFFFFC;
    g_timeLogTicks = [] { return g_now.load(); };
    TEDebugMgrImpl::Instance()->GetDebugInterface("timelog");
    TEDebugMgrImpl::Instance()->SetAllSwitches(0b1111);
    m_log.Clear();
  }

  // The records since the last call, each in brackets; "T" stands for the text of a timing.
  std::string Written() {
    const std::string timing = " used time(ms):\t";
    std::string written;
    for (auto& [log, level, text] : m_log.Records()) {
      for (std::size_t at; (at = text.find(timing)) != std::string::npos;)
        text.replace(at, timing.size(), "T");
      EXPECT_TRUE(level == 3 && text.starts_with("timelog ")) << text;
      written += '[' + text.substr(8) + ']';
    }
    m_log.Clear();
    return written;
  }
};

TEST_F(TimeLogTest, SumsUpWhatAThreadDid) {
  const char* const rows[][3] = {
      {"( ) 0:5 = <5 ( >5 ) =", "", "nothing to say, or no log"},
      {"( 0:4294967301 9:8 1:4294967295 0:3 2:2147483648 3:4 -1:6 1:10 )",
       "[tT5\n\ntT3\n\nSUM operation type -1 tT6\n\nSUM NE operationttT9\n\n"
       "SUM EMS operationtT-2147483648\n\nSUM NMS operationtT4\n\nSUM operation type 9 tT8\n\n]",
       "steps in order, then sums by type; in 32 bits"},
      {"( 0:1 ( 0:2 ) = 0:3 ) ) ( )", "[tT1\n\ntT2\n\n][tT1\n\ntT2\n\ntT3\n\n]", "nested; printed on demand"},
      {"( <5 ~10 <0x100000005 ~1 >5 ~2 >5 )", "[SUM NE operationopT14\n\n]", "both durations, 13 and 1"},
      {"( <31 <31 ~4 >31 <9 ) ( >31 )",
       "[op\tNE operation 0x9 not ended! Lost 1command(s)\n"
       "op\tNE operation 0x1f not ended! Lost 1command(s)\n]",
       "dropped with their log"},
  };
  for (const auto& [history, expected, why] : rows) {
    Play(history);
    EXPECT_EQ(Written(), expected) << history << ": " << why;
  }
}

TEST_F(TimeLogTest, CountsAndShowsAnOperationForTheThreadThatBeganIt) {
  const testkit::Clock clock(1000);
  const TETimeLogGuard outer("outer");
  std::vector<TEOpenTimeLog> open;
  Play("~5 ( <7 <9 ~2");
  std::thread([&] {
    Play("<9 ( = <3 <9 ~1");
    open = TETimeLog::OpenLogs();
    Play(") >9 >9");
  }).join();
  Play(") )");
  EXPECT_TRUE(TETimeLog::OpenLogs().empty());
  EXPECT_EQ(Written(),
            "[][op\tNE operation 0x3 not ended! Lost 1command(s)\n]"
            "[SUM NE operationopT4\n\nop\tNE operation 0x7 not ended! Lost 1command(s)\n]")
      << "the other thread has nothing to say, but something is pending";
  const TEOpenTimeLog& log = open.at(open.at(0).m_nThreadID != GetCurrentThreadId());
  EXPECT_EQ(std::tuple(log.m_strName, log.m_nDepth, log.m_nAge), std::tuple("outer", 2U, 8U));
  EXPECT_EQ(log.m_since, vela::Now());
  const TEPendingNEOper& oper = log.m_pending.at(1);
  EXPECT_EQ(std::tuple(oper.m_nOperCode, oper.m_nCount, oper.m_nAge), std::tuple(9U, 2U, 3U));
}

TEST_F(TimeLogTest, GuardsReportTheTimeOfTheirLives) {
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
  }
  EXPECT_EQ(Written(), "[innerT6\n][outerT7\n][stepT6\n\nstepT6\n\nT6\n\nSUM NMS operationsumT6\n\n]");
  for (const unsigned long minimum : {0UL, 50UL, 51UL, 0x100000001UL}) {
    const TESimpleTimeGuard guard("at least", minimum);
    Play("~50");
  }
  EXPECT_EQ(Written(), "[at leastT50\n][at leastT50\n][at leastT50\n]") << "all but 51";
}

using TimeLogThreaded = TimeLogTest;

TEST_F(TimeLogThreaded, KeepsThreadsApart) {
  TETimeLog& log = *TETimeLog::Instance();
  InThreads(6, [&log](unsigned long i) {
    for (int round = 0; round < 40; ++round) {
      const TETimeLogGuard guard("request");
      log.BeginNEOper(i, TIME_EMS_OPER, "op");
      for (int step = 0; step < 4; ++step) const TETimeGuard each(TIME_NE_OPER, "x");
      EXPECT_FALSE(TETimeLog::OpenLogs().empty());
      log.EndNEOper(i);
    }
  });
  EXPECT_EQ(m_log.Count("SUM NE operationxxxx used time(ms):\t0\n\nSUM EMS operationop used"), 240);
}

}  // namespace
