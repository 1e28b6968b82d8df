#include <gtest/gtest.h>

#include <regex>

#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task.h"
#include "platform/task/vela_task_mgr.h"
#include "platform/testkit/testkit.h"
#include "tests/files.h"
#include "util/basicutil/asynprogressmgr.h"
#include "util/basicutil/common_commands.h"
#include "util/basicutil/common_logger.h"
#include "util/basicutil/common_manager.h"
#include "util/basicutil/mutex.h"
#include "util/basicutil/taskcontext.h"
#include "util/basicutil/tecommonerror.h"
#include "util/basicutil/timelog.h"
#include "util/basicutil/translog.h"

using namespace NSTE_util;

namespace {

std::string Excute(const std::string& line) {
  return std::regex_replace(TEDebugMgrImpl::Instance()->Excute(line), std::regex("age [0-9]+"), "age N");
}

class Inspection : public testing::Test {
 protected:
  Inspection() { AddInspectionCommands(); }
  ~Inspection() override {
    TEMutexOperMgr::Destroy();
    AsynProgressMgr::Destroy();
    VelaAppMgr::Destroy();
  }

  testkit::LogCapture m_log;
  testkit::ProcessAddress m_self{600, 3, 8};
  testkit::CurrentTask m_task{{.clientNo = 7, .srcProcId = 300, .srcHandle = 2, .payload = {}}};
};

}  // namespace

TEST_F(Inspection, ShowsWhatTheProcessIsDoing) {
  const std::string task = std::to_string(m_task.get()->GetTaskId());
  for (const char* line : {"listoper", "listmission", "listerror", "listtimelog", "listtranslog"})
    EXPECT_TRUE(Excute(line).starts_with("No ")) << line;
  EXPECT_EQ(Excute("dumprequest task 9999"), "No trace of it in this process.\n");

  TETaskContext context(m_task.get());
  context.SetUserID(4);
  ASSERT_EQ(TEMutexOperMgr::Instance()->LockOper(4, TEOperObject(0x00090001, 2, 4)), 0U);
  context.SetMissionID(12, false);
  TEOperErrorLogIF::Instance()->AddErr(5UL, "board");
  ASSERT_EQ(TEMutexOperMgr::Instance()->LockOper(5, TEOperObject(0x00090001, 2, 3)), 0U);
  const TETimeLogGuard job("job\x1b[2J");
  TETimeLog::Instance()->BeginNEOper(0x10, TIME_NE_OPER, "set");
  TETimeLog::Instance()->AddTime(TIME_STEP, 7, "connect");
  const TETransactionLog transaction;
  unsigned long missionId = 0;
  ASSERT_TRUE(AsynProgressMgr::Instance()->Register({{CProcID(51, 1), 1.0F}}, 12, missionId));
  TETrace("step one\n[2026");

  const std::string thread = std::to_string(GetCurrentThreadId());
  const std::string name = m_task.get()->GetName();
  const std::string holder = ": age N ms, task " + task + " " + name + ", user 4, 1 objects\n";
  const std::string opers = "operation 4" + holder + "  object 9-1 2 4\noperation 5" + holder +
                            "  mission 12 of client 7 at 300/2, progress 0\n  object 9-1 2 3\n";
  const std::string progress =
      "mission 12 of client 7 at 300/2: progress 0\n  task " + task + ", thread " + thread + "\n";
  const std::string mission =
      "spread mission " + std::to_string(missionId) + ": 12 of client 7 at 300/2, task " + name +
      ", progress 0, age N s\n  process 51/1: weight 1, progress 0, " + "1 sub-missions, error 0x0\n";
  const std::string errors = "error frame of thread " + thread +
                             ": code 0x0, 1 errors, 0 in 0 open transactions\n  error 0x5 at board: \n";
  const std::string timeLog =
      "time log of thread " + thread +
      ": job\\x1B[2J, age N ms, depth 1\n  pending NE operation 0x10: type 1, begun 1 "
      "times, age N ms, set\n  connect used time(ms):\\x097\n  set\\x09NE operation 0x10 not ended! Lost "
      "1command(s)\n";
  EXPECT_EQ(Excute("listoper"), opers);
  EXPECT_EQ(Excute("listmission"), progress + mission);
  EXPECT_EQ(Excute("listerror"), errors);
  EXPECT_EQ(Excute("ListTimeLog"), timeLog);
  EXPECT_EQ(Excute("listtranslog"),
            "transaction " + std::to_string(transaction.GetHandle()) + ": counts 1 and 0, 0 buffers\n");

  const std::string request = progress + opers + mission;
  for (const std::string& line : {"dumprequest task " + task, std::string("dumprequest mission 0xC")}) {
    const std::string dump = Excute(line);
    EXPECT_TRUE(dump.starts_with(request + errors + timeLog + "held-back records: ")) << dump;
    EXPECT_NE(dump.find("] default step one\n [2026\n"), std::string::npos) << dump;
  }
  VelaGnlTask other("other");
  const VelaCurrentTaskScope scope(&other);
  TETrace("another's step");
  const std::string dump = Excute("dumprequest task " + task);
  EXPECT_TRUE(dump.starts_with(request + errors + timeLog + "held-back records: ")) << dump;
  EXPECT_EQ(dump.find("another's step"), std::string::npos);
  EXPECT_TRUE(Excute("status").ends_with("\nmissions: 1\noperations: 2\nlocks: 2\n")) << Excute("status");
  for (const char* line : {"dumprequest", "dumprequest task", "dumprequest task x", "dumprequest thread 1"})
    EXPECT_TRUE(Excute(line).starts_with("Say: dumprequest task N")) << line;
}

TEST_F(Inspection, ShowsQueuesAndLosses) {
  VelaAppMgr::Instance()->CreateTaskMgr({.id = 2, .name = "main", .workers = 1});
  TEDebugMgrImpl::Instance()->FlushAll();
  EXPECT_EQ(Excute("listqueue"),
            "task manager 2 main: 0 queued, 0 running, 0 handled, 0 refused\n"
            "frames: 0 late answers, 0 refused, 0 beyond the bytes in flight, 0 send errors\nbus: closed\n"
            "log: 0 records dropped, 0 writes failed\n"
            "held back: 1 records, 31 of 16777216 bytes, 0 dropped for their number, 0 for their bytes\n");
}

TEST(HeldBackCache, KeepsTheNewestWithinItsBytes) {
  const std::string module = "m";
  FilteredLogCache cache;
  cache.SetByteLimit(100);
  const struct {
    std::size_t length, records, bytes, dropped;
  } rows[] = {{40, 1, 40, 0}, {40, 2, 80, 0}, {40, 2, 80, 1},  {20, 3, 100, 1},
              {0, 4, 100, 1}, {1, 4, 61, 2},  {101, 4, 61, 3}, {100, 1, 100, 7}};
  for (const auto& row : rows) {
    cache.Append(2, module, std::string(row.length, 'x'));
    const HeldBackStats stats = cache.Stats();
    EXPECT_EQ(stats.records, row.records) << row.length;
    EXPECT_EQ(stats.bytes, row.bytes) << row.length;
    EXPECT_EQ(stats.droppedForBytes, row.dropped) << row.length;
  }
  for (int i = 0; i < 130; ++i) cache.Append(2, module, "");
  EXPECT_EQ(cache.Stats().droppedForNumber, 3U);
  EXPECT_EQ(cache.Stats().bytes, 0U);
  cache.Append(2, module, "last");
  cache.SetByteLimit(3);
  EXPECT_EQ(cache.Stats().records, 0U) << "a smaller limit holds at once";
}

TEST(HeldBackCache, TheConfigurationLimitsItsBytes) {
  const testkit::LogCapture log;
  const std::pair<const char*, std::size_t> rows[] = {
      {"MaxHeldBackBytes = 7000\n", 7000}, {"MaxHeldBackBytes = 0\n", 16777216}, {"", 16777216}};
  for (const auto& [content, limit] : rows) {
    files::Write("etc/conf/vela.cfg", content);
    TEDebugMgrImpl::Instance()->Init("", "", "", "");
    EXPECT_EQ(CommonLogCache().Stats().byteLimit, limit) << content;
  }
}
