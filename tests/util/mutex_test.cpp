#include "util/basicutil/mutex.h"

#include <sys/stat.h>

#include <optional>

#include "platform/task/vela_task.h"
#include "tests/util/mutex_fixture.h"
#include "util/basicutil/mutex_ne.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/taskcontext.h"

using namespace mutex_test;

namespace {

constexpr unsigned long kRefused = 1090646034;

TEST_F(MutexTest, OverlapOfObjects) {
  struct Row {
    TEOperObject left, right;
    bool conflict;
  };
  const Row rows[] = {
      {{5, 0, 0}, {5, 7, 9}, true},         {{5, 0, 3}, {5, 7, 9}, true},  {{0, 4, 4}, {5, 7, 9}, true},
      {{5, 1, 0}, {5, 2, 0}, false},        {{5, 1, 2}, {6, 1, 2}, false}, {{5, 1, 0}, {5, 1, 3}, true},
      {{5, 1, 2}, {5, 1, 3}, false},        {{5, 1, 2}, {5, 1, 2}, true},  {{5, 0, 0}, {6, 0, 0}, false},
      {{0, 0, 0}, {0, 0, 0}, true},         {{5, 1, 2}, {5, 2, 2}, false}, {{5, 2, 3}, {5, 0, 4}, true},
      {{1UL << 32, 1, 1}, {9, 9, 9}, true},  // 32 bits: the first key is 0
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.left.IsConflict(row.right), row.conflict) << &row - rows;
    EXPECT_EQ(row.right.IsConflict(row.left), row.conflict) << &row - rows;
    // The manager must see the same, whichever of the two is held.
    ASSERT_TRUE(Load("[MUTEX_TABLE]\n1:1:0"));
    for (const auto& [held, wanted] : {std::pair(row.left, row.right), std::pair(row.right, row.left)}) {
      const TEMutexOperGuard guard(1, held);
      EXPECT_EQ(Mgr().LockOper(1, wanted), row.conflict ? kRefused : 0) << &row - rows;
      if (!row.conflict) Mgr().UnlockOper(1, wanted);
    }
  }
  EXPECT_LT(TEOperObject(0, 9, 9), TEOperObject(1, 0, 0));
  EXPECT_LT(TEOperObject(1, 1, 0xFFFFFFFE), TEOperObject(1, 1, 0xFFFFFFFF));
  EXPECT_FALSE(TEOperObject(1, 2, 3) < TEOperObject(1, 2, 3));
}

// What a file allows: which operation keeps which from starting on the same object, and with what code.
struct Probe {
  int running, starting;
  unsigned long result;
};

TEST_F(MutexTest, WhatAFileSays) {
  std::string longest(1022, ' '), late(1018, ' ');
  longest.replace(0, 5, "5:6:1");
  late += "5:6:1";
  struct Row {
    std::string file;
    bool good;
    std::vector<Probe> probes;
    std::vector<std::string> traces;
  };
  const Row rows[] = {
      {"[MUTEX_TABLE]\n2051:2052,2060-2062:1\n[MUTEX_ERRORCODE]\n2051:1090646035",
       true,
       {{2051, 2052, 1090646035},
        {2051, 2061, 1090646035},
        {2062, 2051, kRefused},
        {2051, 2063, 0},
        {2052, 2060, 0}},
       {"Can't find match error of operation(2062)", "No Mutex Operations Register for: 2063"}},
      {"[MUTEX_TABLE]\n5:6:0\n",
       true,
       {{5, 6, kRefused}, {6, 5, 0}},
       {"No Mutex Operations Register for: 5"}},
      {"[MUTEX_TABLE]\n0:7:0\n8:0:0",
       true,
       {{7, 9, kRefused}, {9, 7, kRefused}, {7, 7, kRefused}, {8, 9, kRefused}},
       {}},
      {"[MUTEX_TABLE]\n0:0:1",
       true,
       {{0, 0, 0}, {5, 6, 0}},
       {"Calling TEMutexOperMgrImpl::RegisterMutex() with nOper1=0 and nOper2=0"}},
      {"# note\r\n\r\n \t[MUTEX_TABLE]\t\r\n 5 : 6 , 7 : -1 \r\n",
       true,
       {{5, 6, kRefused}, {7, 5, kRefused}},
       {}},
      {"\xEF\xBB\xBF[MUTEX_TABLE]\n5::1\n5:,:0", true, {{5, 5, 0}}, {}},
      {"5:6:1\n[MUTEX_TABLE]\n7:8:1",
       false,
       {{5, 6, 0}, {7, 8, kRefused}},
       {"Format Error in line(1):\"5:6:1\""}},
      {"[mutex_table]\n\n#\n[MUTEX_TABLE] x\n",
       false,
       {},
       {"Format Error in line(1):\"[mutex_table]\"", "Format Error in line(4):\"[MUTEX_TABLE] x\""}},
      {"[MUTEX_TABLE]\n5:6,x:1\n5:7:1:1\n5:8\nx:5:1\n5:9:x\n5:3-1:1\n99999999999:5:1\n5:4:1",
       false,
       {{5, 6, 0}, {5, 7, 0}, {5, 8, 0}, {5, 9, 0}, {5, 4, kRefused}},
       {"line(2):\"5:6,x:1\"", "line(3)", "line(4)", "line(5)", "line(6)", "line(7)", "line(8)"}},
      {"[MUTEX_ERRORCODE]\n5:41\n5:42\n6:-1\n7:0\n7:1:1\n8:\n[MUTEX_TABLE]\n5:5-6:1\n6:6:0\n7:7:0",
       false,
       {{5, 6, 41}, {6, 6, 0xFFFFFFFF}, {7, 7, kRefused}},
       {"line(5):\"7:0\"", "line(6)", "line(7)"}},
      {"[MUTEX_TABLE]\n" + longest + "\n5:9:1", true, {{5, 6, kRefused}, {9, 5, kRefused}}, {}},
      {"[MUTEX_TABLE]\n" + longest + "0\n#" + longest + longest + "\n5:9:1\nx",
       false,
       {{5, 6, kRefused}, {9, 5, kRefused}},
       {"Line(2) is too long, its end is ignored", "line(5)"}},
      {"[MUTEX_TABLE]\n" + late, false, {{5, 6, 0}}, {"line(2):\"5:6:\""}},
      {std::string("[MUTEX_TABLE]\n5:6:1\0\n7:8:1\n\x1b[2J", 31),
       false,
       {{5, 6, 0}, {7, 8, kRefused}},
       {"line(2):\"5:6:1\\x00\"", "line(4):\"\\x1B[2J\""}},
      {"", true, {{5, 5, 0}}, {}},
  };
  for (const Row& row : rows) {
    TEMutexOperMgr::Destroy();
    m_log.Clear();
    EXPECT_EQ(Load(row.file), row.good) << row.file;
    for (const Probe& probe : row.probes) {
      const TEMutexOperGuard running(probe.running, TEOperObject(1, 2, 3));
      EXPECT_EQ(running.GetResult(), 0);
      EXPECT_EQ(TEMutexOperGuard(probe.starting, TEOperObject(1, 2, 4)).GetResult(), 0) << "other object";
      const TEMutexOperGuard starting(probe.starting, TEOperObject(1, 0, 0));
      EXPECT_EQ(starting.GetResult(), probe.result) << row.file << "\n"
                                                    << probe.running << " " << probe.starting;
    }
    for (const std::string& trace : row.traces) EXPECT_GT(Traced(trace), 0) << row.file << "\n" << trace;
    EXPECT_EQ(row.good, Traced("Format Error") == 0) << row.file;
  }
}

TEST_F(MutexTest, FilesThatCannotBeReadAndFilesThatAdd) {
  const std::string pipe = files::Root() + "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& path : {files::Root() + "none", files::Root() + "conf", pipe}) {
    EXPECT_FALSE(Mgr().LoadMutexFile(path));
    EXPECT_EQ(Traced("Open file(" + path + ") error! "), 1);
    m_log.Clear();
  }
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

TEST_F(MutexTest, TheFileThatShipsIsUnderstood) {
  EXPECT_TRUE(Mgr().LoadMutexFile(files::Root() + "conf/mutex.cfg"));
}

TEST_F(MutexTest, UnlockOfWhatIsNotHeld) {
  const TEOperObject a(1, 1, 1), b(2, 2, 2);
  const std::string object =
      "ASSERT: file util/basicutil/mutex, line 369 assertion failed for '(listIter != "
      "operIter->second.end())'.";
  const std::string oper = "ASSERT: file util/basicutil/mutex, line 381 assertion failed for '(false)'.";
  Mgr().LockOper(5, Objects{a, a});
  Mgr().UnlockOper(6, a);
  Mgr().UnlockOper(5, TEOperObject(1, 0, 0));
  EXPECT_EQ(Traced(oper), 1);
  EXPECT_EQ(Traced(object), 1);
  EXPECT_EQ(Mgr().UnlockOper(5, Objects{a, b, a, a, b}), 0);
  EXPECT_EQ(Traced(object), 2);
  EXPECT_EQ(Traced(oper), 3);
  EXPECT_FALSE(Mgr().HasRunningOper());
}

TEST_F(MutexTest, AListWithoutObjectsRunsUntilObjectsCameAndWent) {
  EXPECT_EQ(Mgr().LockOper(5, Objects{}), 0);
  Mgr().UnlockOper(5, Objects{});
  EXPECT_TRUE(Mgr().IsOperRunning(5));
  std::vector<TERunningOperObjects> running;
  ASSERT_TRUE(GetRunningOpers(running));
  EXPECT_EQ(running.size(), 1U);
  { const TEMutexOperGuard guard(5, TEOperObject(1, 0, 0)); }
  EXPECT_FALSE(Mgr().HasRunningOper());
}

TEST_F(MutexTest, GuardsReleaseWhatTheyWereGranted) {
  ASSERT_TRUE(Load("[MUTEX_TABLE]\n5:5:0\n[MUTEX_ERRORCODE]\n5:77"));
  const TEOperObject ne(1, 0, 0);
  {
    const TEMutexOperGuard first(5, ne);
    {
      const TEMutexOperGuard refused(5, Objects{TEOperObject(2, 0, 0), ne});
      EXPECT_EQ(refused.GetResult(), 77);
    }
    EXPECT_EQ(Mgr().LockOper(5, TEOperObject(2, 0, 0)), 0) << "nothing of the refused list is held";
    EXPECT_EQ(Mgr().LockOper(5, ne), 77) << "a refused guard releases nothing";
    EXPECT_EQ(Traced("ASSERT"), 0);
    const TEMutexOperGuard copy = first;  // NOLINT: copied to see it released twice
    EXPECT_EQ(copy.GetResult(), 0);
  }
  EXPECT_EQ(Traced("line 369"), 1) << "the second release finds nothing";
  Mgr().UnlockOper(5, TEOperObject(2, 0, 0));
  EXPECT_FALSE(Mgr().HasRunningOper());
}

class MutexNETest : public MutexTest {
 protected:
  ~MutexNETest() override { ProgressMgr::Destroy(); }
};

TEST_F(MutexNETest, LocksForTheRequestOfTheTask) {
  ASSERT_TRUE(Load("[MUTEX_TABLE]\n5:6:1\n[MUTEX_ERRORCODE]\n5:77"));
  EXPECT_EQ(TEMutexOperNEGuard(1UL, true).GetResult(), 1090597505);
  EXPECT_EQ(TEMutexOperNEGuard(1UL, false).GetResult(), 0);
  const testkit::CurrentTask first({.cmdCode = 5, .payload = {}});
  const TEMutexOperNEGuard held(std::vector<unsigned long>{1, 2}, true);
  EXPECT_EQ(held.GetResult(), 0);
  EXPECT_TRUE(Mgr().IsOperRunning(5));
  const testkit::CurrentTask second({.cmdCode = 6, .payload = {}});
  EXPECT_EQ(TEMutexOperNEGuard(std::list<unsigned long>{2, 3}, true).GetResult(), 77);
  EXPECT_EQ(TEMutexOperNEGuard(2UL, true).GetResult(), 77);
  EXPECT_EQ(TEMutexOperNEGuard(2UL, false).GetResult(), 0);
  EXPECT_EQ(TEMutexOperGuard(6, TEOperObject(2, 1, 1)).GetResult(), 77) << "the whole NE is held";
  EXPECT_EQ(TEMutexOperNEGuard(std::list<unsigned long>{3, 4}, true).GetResult(), 0);
  EXPECT_FALSE(Mgr().IsOperRunning(6)) << "and given back";
  EXPECT_EQ(TEMutexOperNEGuard(std::vector<unsigned long>{}, true).GetResult(), 0);
  EXPECT_TRUE(Mgr().IsOperRunning(6)) << "runs on without objects";
  EXPECT_EQ(Traced("ASSERT"), 0);
  const testkit::CurrentTask without{testkit::CurrentTask::NoRequest()};
  EXPECT_EQ(TEMutexOperNEGuard(3UL, true).GetResult(), 1090597505);
}

TEST_F(MutexNETest, TellsWhoBlocksAndWhatRuns) {
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

  const Objects wanted{{6, 0, 0}, {8, 1, 0}, {7, 0, 0}};
  const TEMutexOperGuard refused(6, wanted);
  TEBlockingOper blocker;
  ASSERT_TRUE(refused.GetBlocker(blocker));
  EXPECT_EQ(blocker.m_nOperCode, 5);
  EXPECT_EQ(blocker.m_nErrorCode, 77);
  EXPECT_EQ(blocker.m_wantedObject, TEOperObject(8, 1, 0));
  EXPECT_EQ(blocker.m_heldObject, TEOperObject(8, 0, 0));
  EXPECT_EQ(blocker.m_since.time_since_epoch(), std::chrono::seconds(1000));
  EXPECT_EQ(blocker.m_age, std::chrono::seconds(3));
  EXPECT_EQ(blocker.m_wTaskID, task.get()->GetTaskId());
  EXPECT_EQ(blocker.m_strTaskName, task.get()->GetName());
  EXPECT_EQ(blocker.m_nUserID, 33);
  EXPECT_EQ(blocker.m_mission.m_nClientNo, 9);
  EXPECT_EQ(blocker.m_mission.m_nMissionNo, 4);
  EXPECT_EQ(blocker.m_nProgress, 40);

  std::vector<TERunningOperObjects> running;
  ASSERT_TRUE(GetRunningOpers(running));
  ASSERT_EQ(running.size(), 2U);
  EXPECT_EQ(running[0].m_objects, (std::vector<TEOperObject>{{7, 0, 0}, {8, 0, 0}}));
  EXPECT_EQ(running[0].m_nProgress, 40);
  EXPECT_EQ(running[1].m_nOperCode, 8);
  EXPECT_EQ(running[1].m_objects, (std::vector<TEOperObject>{{1, 1, 1}, {1, 1, 2}, {1, 1, 2}}));

  EXPECT_FALSE(held->GetBlocker(blocker)) << "it was granted";
  held.reset();
  EXPECT_FALSE(refused.GetBlocker(blocker)) << "nothing is in the way any more";
  EXPECT_EQ(blocker.m_nOperCode, 5) << "untouched";
}

}  // namespace
