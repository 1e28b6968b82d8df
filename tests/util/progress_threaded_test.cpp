#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task_mgr.h"
#include "tests/util/mission_fixture.h"
#include "util/basicutil/progress_api.h"

namespace {

constexpr int THREADS = 6, ROUNDS = 40;

TEST(ProgressThreaded, ReportsRoundsAndCancelsOfManyTasksAtOnce) {
  // Reports of the threads carry their requests' serial number, those of the rounds none.
  std::atomic<int> reports = 0, ofStaying = 0;
  testkit::FrameCapture capture([&](const VelaCmdMSG& frame) {
    reports += frame.sn != 0;
    ofStaying += frame.dstProcId == 1;
    return false;
  });
  ProgressMgr& mgr = *ProgressMgr::Instance();
  VelaGnlTask staying("staying");
  mgr.RegisterMission({.m_nMissionNo = 1000, .m_wProcID = 1}, &staying);
  std::atomic<int> cancelsSeen = 0, contextsSeen = 0;
  InThreads(THREADS + 1, [&](int thread) {
    for (int round = 0; round < ROUNDS; ++round) {
      if (thread == THREADS) {
        mgr.SendTaskProgress(nullptr, &staying, round, {});
        mgr.SendAllProgress();
        continue;
      }
      const testkit::CurrentTask task({.clientNo = 1, .srcProcId = 0, .payload = {}});
      TETaskContext context(task.get());
      contextsSeen += GetTaskContext() == &context;
      context.SetMissionID(thread, true);
      const ProgressSpanGuard span(50);
      SendProgress(round % 100);
      mgr.CancelMission({.m_nMissionNo = thread, .m_nClientNo = 1, .m_wReplyAttr = 7});
      cancelsSeen += IsTaskCanceled();
    }
  });

  EXPECT_EQ(reports, THREADS * ROUNDS);
  EXPECT_EQ(ofStaying, 3 * ROUNDS) << "one by itself, two in each round";
  EXPECT_EQ(contextsSeen, THREADS * ROUNDS);
  EXPECT_EQ(cancelsSeen, THREADS * ROUNDS);
  capture.Clear();
  mgr.SendAllProgress();
  EXPECT_EQ(capture.Frames().size(), 2U) << "only the mission that stayed is left";
  ProgressMgr::Destroy();
}

TEST(ProgressThreaded, TheTimerTaskReportsAgainAndAgain) {
  std::latch rounds(3);
  std::atomic<int> left = 3;
  testkit::FrameCapture capture([&](const VelaCmdMSG& frame) {
    if (frame.cmdCode == 0x208002 && left-- > 0) rounds.count_down();
    return false;
  });
  VelaGnlTask task("mission");
  ProgressMgr::Instance()->RegisterMission({.m_nMissionNo = 5, .m_nClientNo = 7}, &task);
  ASSERT_NE(VelaAppMgr::Instance()->CreateTaskMgr({.id = 3, .workers = 1}), nullptr);
  EXPECT_EQ(InitProgressTask(0), -1) << "no task manager";
  EXPECT_EQ(InitProgressTask(3), 0);
  rounds.wait();  // a client without a process: one frame a round
  VelaAppMgr::Instance()->Stop(5);
  VelaAppMgr::Destroy();
  EXPECT_NE(capture.Frames().front().header.srcTaskId, 0) << "sent by the timer task";
  ProgressMgr::Destroy();
}

}  // namespace
