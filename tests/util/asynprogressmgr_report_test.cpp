#include "util/basicutil/asynprogress_report.h"

#include <future>

#include "asn1/progress.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_app_mgr.h"
#include "tests/platform/bus_member.h"
#include "tests/util/mission_fixture.h"
#include "util/basicutil/asynprogress_watch.h"

using namespace mission_test;

namespace {

constexpr CProcID SELF(600, 3), A(500, 1), B(501, 1), ANY(502, 0), ONE_OF_ANY(502, 4);

using Ints = std::vector<int>;
using Ids = std::vector<std::uint32_t>;

std::unique_ptr<BusMember> Worker(CProcID address) {
  return std::make_unique<BusMember>(vela::MakeInProcessBus({}), address);
}

class AsynReport : public MissionTest {
 protected:
  // A report of `process`, sent there by its one call and handled here as it arrives.
  unsigned long Report(CProcID process, unsigned long id, int percent, const std::string& text = {},
                       unsigned long errorCode = 0) {
    EXPECT_EQ(errorCode == 0 ? SendSubMissionProgress(SELF, id, percent, text)
                             : SendSubMissionFailure(SELF, id, errorCode, text),
              0U);
    const testkit::Frame sent = m_frames.Frames().back();
    EXPECT_EQ(CProcID(sent.header.dstProcId, sent.header.dstHandle), SELF);
    auto report = Decoded<AsnSubMissionReport>(sent);
    const testkit::CurrentTask task(
        {.srcProcId = process.Number(), .srcHandle = process.Handle(), .payload = {}});
    return TETaskCreator::Instance()->Find(sent.header.cmdCode)->handle(task.get(), &report);
  }
  // What the client was told since the last call.
  Ints Told() {
    Ints told;
    for (const testkit::Frame& frame : m_frames.Frames()) {
      if (frame.header.cmdCode != 0x208002) continue;
      EXPECT_EQ(CProcID(frame.header.dstProcId, frame.header.dstHandle), CProcID(300, 2));
      EXPECT_EQ(frame.header.sn, 0U);
      const auto report = Decoded<AsnProgressReportEx>(frame);
      told.push_back(static_cast<int>(report.progress));
      if (report.info != nullptr) m_texts.push_back(report.info->third.data());
    }
    m_frames.Clear();
    return told;
  }
  unsigned long Add(const std::vector<ProcWeightPairEx>& processes) {
    unsigned long id = 0;
    m_ids.clear();
    EXPECT_TRUE(Asyn().RegisterEx(processes, 1, id, m_ids));
    return id;
  }

  SubMissionIds m_ids;
  std::vector<std::string> m_texts;
};

TEST_F(AsynReport, TellsTheClientWhenTheFigureRises) {
  for (int i = 0; i < 0x8000; ++i) Asyn().UnRegister(Add({{A, 1.0F, 1}}));  // ids beyond 31 bits
  TETaskContext context(m_task.get());
  context.SetMissionID(1, false);
  context.SendProgress(10);
  context.SetProgressSpan(80);
  m_frames.Clear();
  const unsigned long id = Add({{A, 0.5F, 1}, {B, 0.25F, 1}, {ANY, 0.25F, 1}});
  EXPECT_GT(id, 0x7FFFFFFFU);
  const std::tuple<const char*, CProcID, unsigned long, int, const char*, Ints> rows[] = {
      // why, process, sub-mission, percent, text, what the client is told
      {"20 of 100, scaled by 0.8, from 10 on", A, m_ids[A][0], 40, "", {26}},
      {"no rise", A, m_ids[A][0], 41, "", {}},
      {"no rise, but a text", A, m_ids[A][0], 41, "half way", {26}},
      {"the client's figure does not fall", A, m_ids[A][0], 10, "again", {26}},
      {"one of any instance", ONE_OF_ANY, m_ids[ANY][0], 100, "", {34}},
      {"takes no part", CProcID(504, 1), m_ids[B][0], 100, "", {}},
      {"beyond 100 counts as 100", B, m_ids[B][0], 999, "", {54}},
      {"the end", A, m_ids[A][0], 100, "", {90}},
  };
  for (const auto& [why, process, subMission, percent, text, told] : rows) {
    EXPECT_EQ(Report(process, subMission, percent, text) == 0, process.Number() != 504) << why;
    EXPECT_EQ(Told(), told) << why;
  }
  EXPECT_EQ(m_texts, (std::vector<std::string>{"half way", "again"}));
}

TEST_F(AsynReport, FailureReachesTheOwnerWhoMayHandOverOrGoOn) {
  const unsigned long id = Add({{A, 0.5F, 2}, {B, 0.5F, 1}});
  const Ids a = m_ids[A];
  std::vector<PartFailure> failures;
  EXPECT_TRUE(SetPartFailureHandler(id, [&](const PartFailure& failure) {
    failures.push_back(failure);
    throw std::runtime_error("of the owner");  // stays with it
  }));
  Report(A, a[0], 50);
  Report(A, a[0], 0, "no\nlink", 7);
  Report(A, a[0], 0, "again", 7);  // known already
  Report(B, a[1], 0, "not mine", 7);
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].subMissions, Ids{a[0]});
  EXPECT_EQ(Told(), (Ints{12, 12}));
  EXPECT_EQ(m_texts, std::vector<std::string>{"no\nlink"});
  EXPECT_EQ(Traced("code:0x7, no\\x0Alink") + Traced("of the owner"), 2);

  Report(A, a[0], 60);  // takes it back
  EXPECT_TRUE(GetFailedParts(id).empty());
  for (const std::uint32_t each : a) Report(A, each, 0, "no link", 8);
  EXPECT_EQ(ListMissions().at(0).parts.at(0).errorCode, 8U);
  Asyn().MoveSubMission(a[0], B);  // hand over, with its 60 percent
  EXPECT_EQ(GetFailedParts(id).at(0).subMissions, Ids{a[1]});
  Told();
  EXPECT_TRUE(GoOnWithout(id, A));
  EXPECT_EQ(Told(), Ints{25 + 22});
  EXPECT_TRUE(GetFailedParts(id).empty());
}

// The process on a bus, with the task that watches; frames that it sends are captured all the same.
class AsynWatchThreaded : public AsynReport {
 protected:
  AsynWatchThreaded() {
    EXPECT_EQ(InitAsynProgressTask(1), -1);
    EXPECT_NE(VelaAppMgr::Instance()->CreateTaskMgr({}), nullptr);
    EXPECT_EQ(VelaAppMgr::Instance()->Start(vela::MakeInProcessBus({}), SELF, 8), 0);
  }
  ~AsynWatchThreaded() override { VelaAppMgr::Destroy(); }

  std::map<CProcID, Ids> Failed(unsigned long id) {
    std::map<CProcID, Ids> all;
    for (const PartFailure& failure : GetFailedParts(id)) all[failure.process] = failure.subMissions;
    return all;
  }
};

TEST_F(AsynWatchThreaded, NoticesProcessesThatEndOrBeginAnew) {
  auto a = Worker(A), b = Worker(B), any = Worker(ONE_OF_ANY), other = Worker(CProcID(502, 5));
  const CProcID late(503, 1), never(504, 1);
  const unsigned long id =
      Add({{SELF, 0.1F, 1}, {A, 0.1F, 2}, {B, 0.1F, 1}, {ANY, 0.1F, 2}, {late, 0.1F, 1}, {never, 0.1F, 1}});
  SubMissionIds ids = m_ids;
  const auto l = Worker(late);
  EXPECT_EQ(CheckMissionProcesses(), 1);
  Report(A, ids[A][0], 100);
  Report(B, ids[B][0], 100);
  Report(ONE_OF_ANY, ids[ANY][1], 1);
  b.reset();    // was done
  any.reset();  // has one of the two; another instance may have the other
  a.reset();
  a = Worker(A);  // not the one that had the work
  EXPECT_EQ(CheckMissionProcesses(), 2);
  EXPECT_EQ(CheckMissionProcesses(), 0);
  EXPECT_EQ(Failed(id),
            (std::map<CProcID, Ids>{{never, ids[never]}, {A, {ids[A][1]}}, {ANY, {ids[ANY][1]}}}));

  Report(A, ids[A][1], 3);  // the new one goes on
  Asyn().MoveSubMission(ids[ANY][1], late);
  other.reset();
  EXPECT_EQ(CheckMissionProcesses(), 1);
  EXPECT_EQ(Failed(id), (std::map<CProcID, Ids>{{never, ids[never]}, {ANY, {ids[ANY][0]}}}));
}

TEST_F(AsynWatchThreaded, TaskTellsTheOwnerOfTheDeathOfAProcess) {
  auto a = Worker(A);
  std::promise<PartFailure> ended;
  SetPartFailureHandler(Add({{A, 1.0F, 1}}), [&](const PartFailure& failure) { ended.set_value(failure); });
  ASSERT_EQ(InitAsynProgressTask(1), 0);
  a.reset();
  const PartFailure failure = ended.get_future().get();
  EXPECT_EQ(failure.process, A);
  EXPECT_EQ(failure.errorCode, VELA_ERR_NO_RECEIVER);
  EXPECT_EQ(failure.text, "process 500/1 has ended");
}

}  // namespace
