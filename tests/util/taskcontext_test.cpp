#include "util/basicutil/taskcontext.h"

#include <concepts>

#include "platform/task/vela_app_mgr.h"
#include "tests/util/mission_fixture.h"

using namespace mission_test;

namespace {

using Flags = std::vector<std::pair<std::string, std::string>>;

template <class T>
concept OnTheHeap = requires {
  T::operator new(1);
};
static_assert(!OnTheHeap<TETaskContext> && !std::copyable<TETaskContext>);

using TaskContext = MissionTest;

TEST_F(TaskContext, IsFoundByItsTaskWhileItLives) {
  EXPECT_EQ(GetTaskContext(), nullptr);
  {
    TETaskContext first(m_task.get());
    {
      TETaskContext second(m_task.get());
      EXPECT_EQ(GetTaskContext(), &first);
      EXPECT_EQ(Asserted("false"), 0);
      TETaskContext third(m_task.get(), nullptr);
      EXPECT_EQ(Asserted("false"), 1);
    }
    EXPECT_EQ(GetTaskContext(), &first) << "the others left its entry alone";
    std::thread([&] {
      EXPECT_EQ(GetTaskContext(), nullptr) << "no current task";
      const VelaCurrentTaskScope scope(m_task.get());
      EXPECT_EQ(GetTaskContext(), &first) << "by task, not by thread";
    }).join();
  }
  EXPECT_EQ(GetTaskContext(), nullptr);
}

TEST_F(TaskContext, ReportsWhatIsMissing) {
  VelaGnlTask other("other");
  const TETaskContext foreign(&other);
  EXPECT_EQ(Asserted("pReqMsg != 0"), 1);
  EXPECT_EQ(Asserted("pTask == static_cast<VelaGnlTask*>(VelaGetCurrentTask())"), 1);
  EXPECT_EQ(m_log.Count("ASSERT: file util/basicutil/taskcontext, line "), 2);
  const TETaskContext none(nullptr);
  EXPECT_EQ(Asserted("m_pTask != 0") + Asserted("pTask != 0"), 2);
  EXPECT_EQ(none.GetReqMsg(), nullptr);
}

TEST_F(TaskContext, TimesOutAfterTheSecondOfTheDeadline) {
  testkit::Clock clock(1000);
  TETaskContext context(m_task.get());
  EXPECT_FALSE(context.IsTimeOut()) << "no deadline";
  context.SetTimeOut(1000);
  clock.Set(1000, 999999);
  EXPECT_FALSE(context.IsTimeOut());
  clock.Set(1001);
  EXPECT_TRUE(context.IsTimeOut());
}

TEST_F(TaskContext, KeepsFlagsInOrderAndResultsInFull) {
  TETaskContext context(m_task.get());
  Flags flags = {{"left", "over"}};
  EXPECT_FALSE(context.GetTaskFlagPairVec(flags));
  EXPECT_TRUE(flags.empty());
  context.SetTaskFlag("b", "1");
  context.SetTaskFlag("a", "2");
  context.SetTaskFlag("b", "3");
  EXPECT_TRUE(context.GetTaskFlagPairVec(flags));
  EXPECT_EQ(flags, (Flags{{"b", "3"}, {"a", "2"}}));
  EXPECT_EQ(context.GetTaskFlag("b") + context.GetTaskFlag("c"), "3");

  struct DropAll : TEResultFilter {
    bool IsDropped(const TESingleResult&) override { return true; }
  } dropAll;
  TETaskContext filtered(m_task.get(), &dropAll);
  filtered.AppendResult(TESingleResult("text"));
  filtered.AppendResult(TESingleResult(5, "more"));
  ASSERT_EQ(filtered.ResultBuffer().size(), 2U) << "the filter is not installed";
  EXPECT_EQ(filtered.ResultBuffer().front().m_nErrorCode, ERROR_BY_TEXT);
  EXPECT_EQ(filtered.ResultBuffer().back().m_strText, "more");
}

TEST_F(TaskContext, ReachesTheProgressManagerOnceItHasAMission) {
  {
    TETaskContext context(m_task.get());
    context.SendProgress(50);
    context.SetProgressSpan(50);
    EXPECT_FALSE(context.IsCanceled());
    EXPECT_EQ(context.GetMissionID(), -1);
    EXPECT_TRUE(m_frames.Frames().empty());

    context.SetMissionID(5, true);
    EXPECT_TRUE(Mgr().IsMissionNumberEntered(5));
    context.SetProgressSpan(40);
    context.SendProgress(50);
    EXPECT_EQ(Overall(Key(5)), 20);
    context.RestoreProgressSpan();
    context.SendParalProgress({.m_nProgress = 70});
    EXPECT_EQ(m_frames.Frames().size(), 2U);
    TETaskContext(m_task.get()).SetMissionID(5, false);
    EXPECT_EQ(Overall(Key(5)), 70) << "the outer context's mission goes on";
    VelaSetExitFlag();
    EXPECT_TRUE(context.IsCanceled()) << "the process shuts down";
    VelaSetExitFlag(false);
    EXPECT_FALSE(context.IsCanceled());
    Mgr().CancelMission(Key(5, 8));
    EXPECT_TRUE(context.IsCanceled());
  }
  EXPECT_EQ(Overall(Key(5)), -1) << "the mission ends with its context";
  EXPECT_FALSE(Mgr().IsCanceled(Key(5)));
  EXPECT_FALSE(Mgr().IsMissionNumberEntered(5));
}

TEST_F(TaskContext, LeavesAMissionThatANewerRequestGoesOnWith) {
  VelaGnlTask newer("newer");
  {
    TETaskContext context(m_task.get());
    context.SetMissionID(5, false);
    Mgr().RegisterMission(Key(5), &newer);
    Mgr().CancelMission(Key(5));
  }
  EXPECT_TRUE(Mgr().IsTaskCanceled(&newer));
  EXPECT_EQ(Overall(Key(5)), 0);
  Mgr().UnRegisterTask(&newer);
  EXPECT_EQ(Overall(Key(5)), -1);
}

TEST_F(TaskContext, LeavesAMissionThatRunsOnElsewhere) {
  AsynProgRegProxy mission;
  {
    TETaskContext context(m_task.get());
    context.SetMissionID(12, false);
    ASSERT_TRUE(mission.Register({{CProcID(60, 1), 1.0F}}, 12, 100.0F));
  }
  EXPECT_NE(Overall(Key(12)), -1);
  {
    TETaskContext next(m_task.get());  // the task's own entry is gone: its next mission is taken
    next.SetMissionID(13, false);
    next.SendProgress(40);
    EXPECT_EQ(Overall(Key(13)), 40);
  }
  EXPECT_TRUE(Asyn().UnRegister(mission.GetMissionID()));
  Mgr().UnRegisterMission(Key(12));
  EXPECT_EQ(Overall(Key(12)), -1);
}

}  // namespace
