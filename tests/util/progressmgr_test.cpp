#include <limits>

#include "asn1/progress.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_app_mgr.h"
#include "tests/util/mission_fixture.h"
#include "util/basicutil/progress_api.h"

using namespace mission_test;

namespace {

constexpr std::uint32_t ABORT = 0x208001, REPORT = 0x208002, PARALLEL = 0x218004;

using Progresses = MissionTest;

TEST(MissionProgress, SpansNestAndIgnoreWhatIsOutOfRange) {
  using Step = std::tuple<char, float, int>;  // span, update or restore; its value; the progress so far
  constexpr float nan = std::numeric_limits<float>::quiet_NaN();
  const std::pair<const char*, std::vector<Step>> rows[] = {
      {"a span, then on from its end",
       {{'s', 40, 0}, {'u', 50, 20}, {'r', 0, 40}, {'u', 30, 40}, {'u', 70, 70}, {'u', 100, 100}}},
      {"spans in spans", {{'s', 50, 0}, {'s', 50, 0}, {'u', 100, 25}, {'r', 0, 25}, {'r', 0, 50}}},
      {"a span after a report", {{'u', 20, 20}, {'s', 60, 20}, {'u', 50, 50}, {'r', 0, 80}, {'u', 80, 80}}},
      {"backwards and beyond", {{'u', 50, 50}, {'u', 49, 50}, {'u', 101, 50}, {'u', -1, 50}}},
      {"no span", {{'s', 120, 0}, {'s', 101, 0}, {'s', -1, 0}, {'s', nan, 0}, {'u', 60, 60}, {'r', 0, 60}}},
      {"cut to 100", {{'s', 100.5, 0}, {'u', 60, 60}, {'r', 0, 100}}},
      {"nearly 100", {{'s', 99.9995F, 0}, {'u', 100, 100}}},
  };
  for (const auto& [why, steps] : rows) {
    MissionProgressCtrl ctrl(0);
    for (const auto& [what, value, expected] : steps) {
      if (what == 's') ctrl.SetProgressSpan(value);
      if (what == 'u') ctrl.UpdateProgress(static_cast<int>(value));
      if (what == 'r') ctrl.RestoreProgressSpan();
      EXPECT_EQ(ctrl.GetCurProgress(), expected) << why << ": " << what << value;
    }
  }
}

TEST_F(Progresses, AReportGoesToTheAddressInTheMissionKey) {
  EXPECT_FALSE(Mgr().SendProgress(m_task.get(), Key(5), 30, TaskProgressInfo()));
  EXPECT_FALSE(Mgr().SendParalProgress(m_task.get(), Key(6), {}));
  EXPECT_FALSE(Mgr().SendTaskProgress(m_task.get(), m_task.get(), 30, TaskProgressInfo()));
  EXPECT_EQ(Traced("IN function SendProgress: Get progress ctrl fail, missionID:5"), 1);
  EXPECT_EQ(m_log.Count("IN function SendParalProgress: Get progress ctrl fail, missionID:6"), 1);
  const ClientMissionID key{5, 7, 310, 21, 6, 0x13F};
  Mgr().RegisterMission(key, m_task.get());
  TaskProgressInfo info("third");
  info.m_nValue = -3;
  info.m_strFirst = "first";
  EXPECT_TRUE(Mgr().SendProgress(m_task.get(), key, 30, info));
  EXPECT_TRUE(Mgr().SendTaskProgress(m_task.get(), m_task.get(), 40, TaskProgressInfo()));
  EXPECT_TRUE(Mgr().SendParalProgress(m_task.get(), key, {50, "part", "detail"}));
  EXPECT_TRUE(Mgr().SendProgress(m_task.get(), key, 60, std::string(200000, 'x'))) << "too long to send";
  EXPECT_EQ(Traced("report of mission 5 failed"), 1);
  Mgr().SendAllProgress();

  const auto frames = m_frames.Frames();
  ASSERT_EQ(frames.size(), 5U);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const VelaCmdMSG& h = frames[i].header;
    EXPECT_EQ((std::vector<std::uint32_t>{h.dstProcId, h.dstHandle, h.dstDesk, h.dstTaskId, h.srcProcId,
                                          h.srcHandle, h.srcDesk, h.srcTaskId, h.cmdCode, h.kind, h.sn,
                                          h.attribute, h.module}),
              (std::vector<std::uint32_t>{310, 21, 6, 0, 600, 3, 8, m_task.get()->GetTaskId(),
                                          i == 2 ? PARALLEL : REPORT, VELA_KIND_PROGRESS, 77, 0x3F, 250}))
        << i;
  }
  const auto first = Decoded<AsnProgressReportEx>(frames[0]);
  EXPECT_TRUE(first.missionID == 5 && first.progress == 30 && first.text.Len() == 0);
  ASSERT_TRUE(first.info);
  EXPECT_TRUE(first.info->value == -3 && first.info->first.data() == "first" &&
              first.info->third.data() == "third");
  EXPECT_EQ(Decoded<AsnProgressReportEx>(frames[1]).info, nullptr);
  const auto parallel = Decoded<AsnParallelTaskProgressReport>(frames[2]);
  EXPECT_TRUE(parallel.progress == 50 && parallel.partName.data() == "part" &&
              parallel.partDetail.data() == "detail");
  EXPECT_EQ(Decoded<AsnProgressReportEx>(frames[3]).progress, 60);
}

TEST_F(Progresses, OneMissionPerTaskAndEqualKeysAreOneMission) {
  VelaGnlTask other("other"), third("third");
  Mgr().RegisterMission(Key(5, 3), m_task.get());
  Mgr().RegisterMission(Key(6), m_task.get());
  EXPECT_EQ(Overall(Key(6)), -1) << "the task has a mission";
  Mgr().UpdateProgress(Key(5), 30);
  Mgr().RegisterMission(Key(5, 4), &other);
  EXPECT_EQ(Overall(Key(5, 3)), 30);
  EXPECT_EQ(Overall(Key(5, 4)), 0) << "another reply attribute is another mission";
  EXPECT_EQ(Overall(Key(5)), 30) << "any: the lowest";
  EXPECT_EQ(Overall(Key(5, 9)), -1);
  Mgr().RegisterMission(Key(5), &third);
  EXPECT_EQ(Overall(Key(5, 3)), 0) << "equal, so started again";

  Mgr().CancelMission(Key(5));
  EXPECT_TRUE(Mgr().IsTaskCanceled(m_task.get()) && Mgr().IsTaskCanceled(&other) &&
              Mgr().IsCanceled(Key(5, 9)));
  Mgr().UnRegisterTask(&other);
  EXPECT_FALSE(Mgr().IsCanceled(Key(5)) || Mgr().IsTaskCanceled(&other));
  EXPECT_EQ(Overall(Key(5, 4)), -1);
  EXPECT_EQ(Overall(Key(5, 3)), 0);

  Mgr().UnRegisterMission(Key(5));
  EXPECT_EQ(Overall(Key(5)), -1);
  Mgr().RegisterMission(Key(8), m_task.get());
  Mgr().RegisterMission(Key(9), &third);
  EXPECT_EQ(Overall(Key(8)) + Overall(Key(9)), 0) << "the entries of both tasks had gone";
}

TEST_F(Progresses, TheRoundReportsAllInKeyOrderTwiceToClientsWithAProcess) {
  VelaGnlTask tasks[3] = {VelaGnlTask("0"), VelaGnlTask("1"), VelaGnlTask("2")};
  Mgr().RegisterMission(Key(9), &tasks[0]);
  Mgr().RegisterMission({-4, 7, 0, 2, 4, 6}, &tasks[1]);
  Mgr().RegisterMission(Key(5), &tasks[2]);
  Mgr().UpdateProgress(Key(5), 20);
  unsigned long asynId = 0;
  ASSERT_TRUE(Asyn().Register({{CProcID(500, 1), 1.0F}}, 5, asynId));
  Asyn().WriteProcProgress(asynId, CProcID(500, 1), asynId, 30);
  {
    VelaTask timer("timer");  // no request
    const VelaCurrentTaskScope scope(&timer);
    Mgr().SendAllProgress();
  }
  std::vector<std::pair<int, int>> sent;
  for (const testkit::Frame& frame : m_frames.Frames()) {
    const auto report = Decoded<AsnProgressReportEx>(frame);
    sent.emplace_back(report.missionID, report.progress);
    EXPECT_EQ(frame.header.kind, VELA_KIND_PROGRESS);
    EXPECT_EQ(frame.header.sn, 0U);
  }
  EXPECT_EQ(sent, (std::vector<std::pair<int, int>>{{-4, 0}, {5, 50}, {5, 50}, {9, 0}, {9, 0}}));
  EXPECT_EQ(Traced("ProgressMgrImpl::SendAllProgress()--, the subID is:6, the ProcID is:0"), 1);
}

TEST_F(Progresses, GuardsAndFreeFunctionsServeTheContextOfTheTask) {
  SendProgress(10);
  EXPECT_FALSE(IsTaskCanceled());
  { const ProgressSpanGuard nobody(50); }
  TETaskContext context(m_task.get());
  context.SetMissionID(5, false);
  {
    ProgressSpanGuard outer(40);
    {
      const ProgressSpanGuard refused(120);
      SendProgress(25, "text");
    }
    EXPECT_EQ(Overall(Key(5)), 10) << "a refused span closes nothing";
    outer.ResetSpan(20.5F);
    EXPECT_EQ(Overall(Key(5)), 40);
    SendProgress(100);
    outer.ResetSpan(101);
    EXPECT_EQ(Overall(Key(5)), 60);
  }
  EXPECT_EQ(Overall(Key(5)), 60);
  const auto frames = m_frames.Frames();
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_EQ(Decoded<AsnProgressReportEx>(frames[0]).info->third.data(), "text");
  Mgr().CancelMission(Key(5, 8));
  EXPECT_TRUE(IsTaskCanceled());
}

TEST_F(Progresses, CompanionsBindATaskWithoutAContext) {
  {
    TEProgressGuage gauge(m_task.get(), 5);
    EXPECT_EQ(Overall(Key(5, 9)), 0) << "the module of the request is the reply attribute";
    EXPECT_EQ(Overall(Key(5, 8)), -1);
    EXPECT_TRUE(gauge.SendProgress(30, nullptr));
    EXPECT_EQ(m_frames.Frames().back().header.attribute, 9);
    Mgr().CancelMission(Key(5));
    EXPECT_TRUE(gauge.IsCancel());
  }
  EXPECT_EQ(Overall(Key(5)), -1);
  m_frames.Clear();
  {
    TEEthProgressTool tool;
    tool.SendProgress(1, "nobody");
    EXPECT_FALSE(tool.IsNeedAbort());
    tool.Setvalue(nullptr, &Mgr(), -1, 0, 0);
    EXPECT_EQ(m_log.Count("assertion failed for 'pTask && pProgressMgr'"), 1);
    tool.Setvalue(m_task.get(), &Mgr(), 6, 1, 2);
    for (const unsigned progress : {0U, 0U, 50U, 50U, 101U, 60U}) tool.SendProgress(progress, "x");
    EXPECT_EQ(m_frames.Frames().size(), 3U);
    tool.Setvalue(m_task.get(), &Mgr(), 7, 1, 2);
    EXPECT_EQ(Overall(Key(6)), -1);
    tool.SendProgress(60, "another mission");
    EXPECT_EQ(Overall(Key(7)), 60);
    Mgr().CancelMission(Key(7));
    EXPECT_TRUE(tool.IsNeedAbort());
  }
  EXPECT_EQ(Overall(Key(7)), -1);
}

TEST_F(Progresses, TheEndOfATaskIsToldToAllClients) {
  SendTaskFinishNotify(0x100000005UL);
  const auto frames = m_frames.Frames();
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_EQ(frames[0].header.dstProcId, 3003);
  EXPECT_EQ(frames[0].header.cmdCode, 0x203107U);
  EXPECT_TRUE(Decoded<AsnTaskFinishNotify>(frames[0]).missionID == 5);
  const VelaCurrentTaskScope nobody(nullptr);
  SendTaskFinishNotify(5);
  EXPECT_EQ(m_frames.Frames().size(), 1U);
}

TEST_F(Progresses, OnlyTheClientItselfAbortsItsMission) {
  const std::tuple<const char*, int, int, std::uint16_t, std::uint8_t, bool> rows[] = {
      // scope, mission, handle of the sender, kind; cancelled?
      {"another mission", 255, 6, 2, VELA_KIND_REQUEST, false},
      {"another client's", 255, 5, 3, VELA_KIND_REQUEST, false},
      {"a part of it", 1, 5, 2, VELA_KIND_REQUEST, false},
      {"its own", 255, 5, 2, VELA_KIND_REQUEST, true},
      {"without a waiter", 255, 5, 2, VELA_KIND_COMMAND, true}};
  unsigned long asynId = 0;
  ASSERT_TRUE(Asyn().Register({{CProcID(500, 1), 1.0F}}, 5, asynId));
  const TETaskHandlerStru* handler = TETaskCreator::Instance()->Find(ABORT);
  ASSERT_NE(handler, nullptr);
  bool running = true;  // in the other process
  for (const auto& [why, scope, missionNo, srcHandle, kind, cancelled] : rows) {
    SCOPED_TRACE(why);
    m_frames.Clear();
    VelaGnlTask worker("worker");
    Mgr().RegisterMission(Key(5, 9), &worker);
    testkit::Request request = FromClient();
    request.srcHandle = srcHandle;
    request.kind = kind;
    const testkit::CurrentTask task(request);
    AsnAbortMissionReq abort;
    abort.scope = scope;
    abort.missionID = missionNo;
    EXPECT_EQ(handler->handle(task.get(), &abort), 0U);
    EXPECT_EQ(Mgr().IsTaskCanceled(&worker), cancelled);
    EXPECT_FALSE(Mgr().IsCanceled(Key(6))) << "an unknown mission leaves nothing behind";
    auto frames = m_frames.Frames();
    if (cancelled && std::exchange(running, false)) {
      ASSERT_FALSE(frames.empty());
      EXPECT_EQ(frames[0].header.dstProcId, 500);
      frames.erase(frames.begin());
    }
    ASSERT_EQ(frames.size(), kind == VELA_KIND_REQUEST ? 1U : 0U);
    if (!frames.empty()) {
      const auto rsp = Decoded<AsnAbortMissionRsp>(frames[0]);
      EXPECT_TRUE(rsp.missionID == missionNo && (rsp.errorCode == 0) == cancelled);
    }
    Mgr().UnRegisterMission(Key(5, 9));
  }
}

}  // namespace
