#include "util/basicutil/mutex.h"

#include <sys/stat.h>

#include <optional>

#include "platform/task/vela_task.h"
#include "tests/util/mutex_fixture.h"
#include "util/basicutil/env_settings.h"
#include "util/basicutil/mitlockerr.h"
#include "util/basicutil/mutex_ne.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/taskcontext.h"

using namespace mutex_test;

namespace {

constexpr unsigned long kRefused = 1090646034;

TEST_F(MutexTest, OverlapOfObjects) {
  using Pair = std::pair<TEOperObject, TEOperObject>;
  const std::map<bool, std::vector<Pair>> rows = {
      {true,
       {Pair({5, 0, 0}, {5, 7, 9}), Pair({5, 0, 3}, {5, 7, 9}), Pair({0, 4, 4}, {5, 7, 9}),
        Pair({5, 1, 0}, {5, 1, 3}), Pair({5, 1, 2}, {5, 1, 2}), Pair({1UL << 32, 1, 1}, {9, 9, 9})}},
      {false, {Pair({5, 1, 0}, {5, 2, 0}), Pair({5, 1, 2}, {6, 1, 2}), Pair({5, 1, 2}, {5, 1, 3})}}};
  for (const auto& [overlap, pairs] : rows)
    for (const auto& [a, b] : pairs)
      EXPECT_TRUE(a.IsConflict(b) == overlap && b.IsConflict(a) == overlap) << a.m_nSecond << a.m_nThird;
  EXPECT_LT(TEOperObject(0, 9, 9), TEOperObject(1, 0, 0));
  EXPECT_LT(TEOperObject(1, 1, 0x7FFFFFFF), TEOperObject(1, 1, 0x80000000));
}

// Which of the operations 5 to 9 keeps which from starting on the same object, and with what code unless it
// is the common one: "5>6 6>5=41".
std::string WhoStopsWhom() {
  std::string text;
  for (int running = 5; running <= 9; ++running) {
    const TEMutexOperGuard first(running, TEOperObject(1, 2, 3));
    for (int starting = 5; starting <= 9; ++starting) {
      EXPECT_EQ(TEMutexOperGuard(starting, TEOperObject(1, 2, 4)).GetResult(), 0) << "another object";
      const unsigned long result = TEMutexOperGuard(starting, TEOperObject(1, 0, 0)).GetResult();
      if (result == 0) continue;
      text += (text.empty() ? "" : " ") + std::to_string(running) + ">" + std::to_string(starting);
      if (result != kRefused) text += "=" + std::to_string(result);
    }
  }
  return text;
}

TEST_F(MutexTest, WhatAFileSays) {
  std::string longest(1022, ' '), late(1018, ' ');
  longest.replace(0, 5, "5:6:1");
  late += "5:6:1";
  struct Row {
    std::string table;  // below its header
    std::string says;
    std::vector<std::string> traces;  // the wrong lines
  };
  const Row rows[] = {
      {"5:6,8-9:1\n[MUTEX_ERRORCODE]\n5:41\n5:7", "5>6=41 5>8=41 5>9=41 6>5 8>5 9>5", {}},
      {"0:7:0", "5>7 6>7 7>5 7>6 7>7 7>8 7>9 8>7 9>7", {}},
      {"0:0:1\n5::1\n6:,:0", "", {}},
      {"# note\r\n\r\n \t5 : 6 , 7 : -1 \t\r\n", "5>6 5>7 6>5 7>5", {}},
      {"5:6,x:1\n5:7:1:1\n5:8\nx:5:1\n5:9:x\n5:7-6:1\n99999999999:5:1\n5:5:0",
       "5>5",
       {"(2):\"5:6,x:1\"", "(3)", "(4)", "(5)", "(6)", "(7)", "(8)"}},
      {"6:6:0\n7:7:0\n[MUTEX_ERRORCODE]\n6:-1\n7:0\n7:1:1\n7:", "6>6=4294967295 7>7", {"(6)", "(7)", "(8)"}},
      {"[mutex_table]\n\n#\n[MUTEX_ERRORCODE] x\n5:6:0", "5>6", {"(2)", "(5):\"[MUTEX_ERRORCODE] x\""}},
      {longest + "\n5:9:0", "5>6 5>9 6>5", {}},
      {longest + "0\n#" + longest + longest + "\n5:9:0\nx", "5>6 5>9 6>5", {"(5):\"x\""}},
      {late + "\n5:9:0", "5>9", {"(2):\"5:6:\""}},
      {std::string("5:6:1\0\n7:8:0\n\x1b[2J", 17), "7>8", {"(2):\"5:6:1\\x00\"", "(4):\"\\x1B[2J\""}},
  };
  for (const Row& row : rows) {
    TEMutexOperMgr::Destroy();
    m_log.Clear();
    EXPECT_EQ(Load("\xEF\xBB\xBF[MUTEX_TABLE]\n" + row.table), row.traces.empty()) << row.table;
    EXPECT_EQ(Traced("Format Error in line"), static_cast<int>(row.traces.size())) << row.table;
    for (const std::string& trace : row.traces)
      EXPECT_EQ(Traced("Format Error in line" + trace), 1) << row.table << "\n" << trace;
    EXPECT_EQ(WhoStopsWhom(), row.says) << row.table;
  }
}

TEST_F(MutexTest, Traces) {
  EXPECT_FALSE(Load("5:6:1\n[MUTEX_TABLE]\n0:0:1\n#x" + std::string(2000, 'x') + "\n5:5:1" +
                    std::string(1018, ' ') + "x"));
  EXPECT_EQ(Traced("Format Error in line(1):\"5:6:1\""), 1) << "no section yet";
  EXPECT_EQ(Traced("Calling TEMutexOperMgrImpl::RegisterMutex() with nOper1=0 and nOper2=0"), 1);
  EXPECT_EQ(Traced("Line(5) is too long, its end is ignored"), 1);
  const TEMutexOperGuard first(5, TEOperObject(1, 0, 0));
  EXPECT_EQ(Mgr().LockOper(5, TEOperObject(1, 0, 0)), kRefused);
  EXPECT_EQ(Traced("Can't find match error of operation(5)"), 1);
  EXPECT_EQ(Traced("No Mutex Operations Register for"), 0);
  EXPECT_EQ(Mgr().LockOper(9, TEOperObject(1, 0, 0)), 0);
  EXPECT_EQ(Traced("No Mutex Operations Register for: 9"), 1);
}

TEST_F(MutexTest, FilesThatCannotBeReadAndFilesThatAdd) {
  const std::string pipe = files::Root() + "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& path : {files::Root() + "none", files::Root() + "conf", pipe}) {
    EXPECT_FALSE(Mgr().LoadMutexFile(path));
    EXPECT_EQ(Traced("Open file(" + path + ") error! "), 1);
    m_log.Clear();
  }
  EXPECT_TRUE(Mgr().LoadMutexFile(files::Root() + "conf/mutex.cfg")) << "as it ships";
  EXPECT_TRUE(Load("[MUTEX_TABLE]\n5:6:0"));
  EXPECT_TRUE(Load("[MUTEX_TABLE]\n6:5:0\n[MUTEX_ERRORCODE]\n5:9"));
  const TEMutexOperGuard guard(5, TEOperObject(1, 0, 0));
  EXPECT_EQ(Mgr().LockOper(6, TEOperObject(1, 0, 0)), 9) << "the first file still counts";

  // Half of a line is no line: it could say something else.
  int reads = 0;
  const testkit::OsFaults faults([&](vela::OsCall call, const char*) {
    if (call != vela::OsCall::read) return vela::OsFault{};
    return ++reads == 1 ? vela::OsFault{0, 21} : vela::OsFault{EIO, 0};
  });
  EXPECT_TRUE(Load("[MUTEX_TABLE]\n7:7:1\n8:8:00\n"));
  EXPECT_EQ(Traced("Read file(" + files::Root() + "mutex.cfg) error(5) behind line(2)"), 1);
  const TEMutexOperGuard read(7, TEOperObject(1, 0, 0));
  EXPECT_EQ(Mgr().LockOper(7, TEOperObject(1, 0, 0)), kRefused);
  EXPECT_EQ(Mgr().LockOper(8, TEOperObject(1, 0, 0)), 0);
}

TEST_F(MutexTest, GuardsReleaseWhatTheyWereGranted) {
  ASSERT_TRUE(Load("[MUTEX_TABLE]\n5:5:0\n[MUTEX_ERRORCODE]\n5:77"));
  const TEOperObject ne(1, 0, 0);
  {
    const TEMutexOperGuard first(5, ne);
    EXPECT_EQ(TEMutexOperGuard(5, Objects{TEOperObject(2, 0, 0), ne}).GetResult(), 77);
    EXPECT_EQ(Mgr().LockOper(5, TEOperObject(2, 0, 0)), 0) << "nothing of the refused list is held";
    EXPECT_EQ(Mgr().LockOper(5, ne), 77) << "a refused guard releases nothing";
    EXPECT_EQ(Traced("ASSERT"), 0);
    const TEMutexOperGuard copy = first;  // NOLINT: copied to see it released twice
  }
  const std::string assert = "ASSERT: file util/basicutil/mutex, line ";
  EXPECT_EQ(Traced(assert + "369 assertion failed for '(listIter != operIter->second.end())'."), 1)
      << "the second release finds nothing";
  EXPECT_EQ(Mgr().UnlockOper(5, Objects{{2, 0, 0}, {2, 0, 0}}), 0);
  EXPECT_EQ(Traced(assert + "381 assertion failed for '(false)'."), 1);
  EXPECT_FALSE(Mgr().HasRunningOper());
}

TEST_F(MutexTest, NEGuardLocksForTheRequestOfTheTask) {
  ASSERT_TRUE(Load("[MUTEX_TABLE]\n5:6:1\n[MUTEX_ERRORCODE]\n5:77"));
  EXPECT_EQ(TEMutexOperNEGuard(1UL, true).GetResult(), 1090597505);
  EXPECT_EQ(TEMutexOperNEGuard(1UL, false).GetResult(), 0);
  const testkit::CurrentTask first({.cmdCode = 5, .payload = {}});
  const TEMutexOperNEGuard held(std::vector<unsigned long>{1, 2}, true);
  const testkit::CurrentTask second({.cmdCode = 6, .payload = {}});
  EXPECT_EQ(TEMutexOperNEGuard(std::list<unsigned long>{2, 3}, true).GetResult(), 77);
  EXPECT_EQ(TEMutexOperGuard(6, TEOperObject(2, 1, 1)).GetResult(), 77) << "the whole NE is held";
  EXPECT_EQ(TEMutexOperNEGuard(std::list<unsigned long>{3, 4}, true).GetResult(), 0);
  EXPECT_EQ(TEMutexOperNEGuard(std::vector<unsigned long>{}, true).GetResult(), 0);
  EXPECT_TRUE(Mgr().IsOperRunning(6)) << "runs on without objects";
  EXPECT_EQ(Traced("ASSERT"), 0);
  const testkit::CurrentTask without{testkit::CurrentTask::NoRequest()};
  EXPECT_EQ(TEMutexOperNEGuard(3UL, true).GetResult(), 1090597505);
}

TEST_F(MutexTest, TellsWhoBlocksAndWhatRuns) {
  ASSERT_TRUE(Load("[MUTEX_TABLE]\n5:6:1\n[MUTEX_ERRORCODE]\n5:77"));
  testkit::Clock clock(1000);
  const testkit::FrameCapture frames;
  const testkit::CurrentTask task({.clientNo = 9, .cmdCode = 5, .payload = {}});
  TETaskContext context(task.get());
  context.SetUserID(33);
  context.SetMissionID(4, false);
  std::optional<TEMutexOperNEGuard> held(std::in_place, std::vector<unsigned long>{7, 8}, true);
  context.SendProgress(40);
  clock.Advance(std::chrono::seconds(3));
  const TEMutexOperGuard other(8, Objects{{1, 1, 2}, {1, 1, 1}, {1, 1, 2}});

  const TEMutexOperGuard refused(6, TEOperObject(8, 1, 0));
  TEBlockingOper blocker;
  ASSERT_TRUE(refused.GetBlocker(blocker));
  EXPECT_EQ(std::tuple(blocker.m_nOperCode, blocker.m_nErrorCode, blocker.m_nProgress, blocker.m_nUserID,
                       blocker.m_since.time_since_epoch(), blocker.m_age, blocker.m_wTaskID),
            std::tuple(5, 77U, 40, 33, std::chrono::seconds(1000), std::chrono::seconds(3),
                       task.get()->GetTaskId()));
  EXPECT_EQ(blocker.m_mission, MakeMissionKey(context.GetReqMsg(), 4));

  std::vector<TERunningOperObjects> running;
  ASSERT_TRUE(GetRunningOpers(running));
  EXPECT_EQ(running.at(0).m_objects, (std::vector<TEOperObject>{{7, 0, 0}, {8, 0, 0}}));
  EXPECT_EQ(running.at(1).m_objects, (std::vector<TEOperObject>{{1, 1, 1}, {1, 1, 2}, {1, 1, 2}}));

  EXPECT_FALSE(held->GetBlocker(blocker)) << "it was granted";
  held.reset();
  EXPECT_FALSE(refused.GetBlocker(blocker)) << "nothing is in the way any more";
}

TEST(MitLockErrMgr, KeepsTheFirstTextOfAThreadWhileSwitchedOn) {
  TEMitLockErrMgr& mgr = *TEMitLockErrMgr::Instance();
  const auto found = [&mgr](bool on) {
    std::string info = "none";
    g_bEnableMitLockErrMgr = on;
    const bool is = mgr.FindThrInfo(1, info);
    return is ? info : "no " + info;
  };
  mgr.InsertThrIDandInfo(1, "off");
  EXPECT_EQ(found(true), "no none");
  for (const char* text : {"first", "second"}) mgr.InsertThrIDandInfo(1, text);
  EXPECT_EQ(found(false), "no none");
  mgr.EraseThrIDandInfo(1);
  EXPECT_EQ(found(true), "first") << "it was off when erased";
  mgr.EraseThrIDandInfo(1);
  EXPECT_EQ(found(true), "no none");
  TEMitLockErrMgr::Destroy();
}

}  // namespace
