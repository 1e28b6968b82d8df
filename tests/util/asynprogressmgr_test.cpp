#include "util/basicutil/asynprogressmgr.h"

#include <set>

#include "asn1/progress.h"
#include "tests/util/mission_fixture.h"

using namespace mission_test;

namespace {

constexpr CProcID A(500, 1), B(501, 1), ANY(502, 0);

class AsynProgress : public MissionTest {
 protected:
  AsynProgressMgr& Mgr() { return Asyn(); }
  unsigned long Add(int clientMissionNo, const std::vector<ProcWeightPair>& processes = {{A, 1.0F}}) {
    unsigned long id = 0;
    EXPECT_TRUE(Mgr().Register(processes, clientMissionNo, id));
    return id;
  }
  unsigned long AddEx(const std::vector<ProcWeightPairEx>& processes, SubMissionIds& ids) {
    unsigned long id = 0;
    EXPECT_TRUE(Mgr().RegisterEx(processes, 1, id, ids));
    return id;
  }
};

TEST_F(AsynProgress, StopAbortsWhatHasNotFinishedAndCountsItAsComplete) {
  SubMissionIds ids;
  const unsigned long id = AddEx({{A, 0.25F, 2}, {B, 0.75F, 1}}, ids);
  Mgr().WriteProcProgress(id, A, ids[A][0], 10);
  Mgr().WriteProcProgress(id, B, ids[B][0], 100);
  EXPECT_EQ(Mgr().MissionStop(Key(2)), -1);
  EXPECT_EQ(Mgr().MissionStop(Key(1)), 0);

  const std::vector<testkit::Frame> frames = m_frames.Frames();
  ASSERT_EQ(frames.size(), 2U);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].header.cmdCode, 0x208001U);
    EXPECT_EQ(CProcID(frames[i].header.dstProcId, frames[i].header.dstHandle), A);
    AsnAbortMissionReq request;
    request.scope = 255;
    request.missionID = static_cast<AsnIntType>(ids[A][i]);
    EXPECT_EQ(frames[i].payload, testkit::Encoded(request));
  }
  EXPECT_EQ(Traced("AsynProgressMgrImpl::MissionStop"), 2);
  EXPECT_FALSE(Mgr().WriteProcProgress(id, A, ids[A][0], 20));
  EXPECT_EQ(Traced("IN function WriteProcProgress: write progress info fail, missionID:65536"), 1);
}

TEST_F(AsynProgress, IdsRepeatAfter65535AndPassOverTheLivingWhileTheyCan) {
  const unsigned long living = Add(1);
  EXPECT_EQ(living, 0x10000U);
  unsigned long last = 0;
  for (int i = 2; i <= 65535; ++i) Mgr().UnRegister(last = Add(2));
  EXPECT_EQ(last, 0xFFFF0000U);
  Mgr().UnRegister(last = Add(2));
  EXPECT_EQ(last, 0x20000U);
  Mgr().UnRegister(living);
  for (int i = 3; i <= 65535; ++i) Mgr().UnRegister(Add(2));
  EXPECT_EQ(Add(2), 0x10000U);

  for (int i = 3; i <= 65536; ++i) Add(i);  // all ids are taken: the oldest mission gives its own
  EXPECT_EQ(Add(1, {{B, 1.0F}}), 0x10000U);
  EXPECT_FALSE(Mgr().IsClientMissionRegistered(Key(2), true));
}

TEST_F(AsynProgress, FindsTheMissionOfAClientAndRefusesAnother) {
  const unsigned long one = Add(1), two = Add(2);
  unsigned long found = 0, untouched = 5;
  EXPECT_TRUE(Mgr().FindMissionID(Key(2, 65535), found));
  EXPECT_EQ(found, two);
  SubMissionIds ids;
  EXPECT_FALSE(Mgr().Register({{B, 1.0F}}, 1, untouched));
  EXPECT_FALSE(Mgr().RegisterEx({{A, 0.5F, 0xFFFFFFFF}, {B, 0.5F, 0xFFFFFFFF}}, 3, untouched, ids));
  EXPECT_EQ(Asserted("total <= MAX_SERIAL"), 1);
  EXPECT_EQ(untouched, 5U);
  EXPECT_TRUE(Mgr().UnRegister(one));
  EXPECT_FALSE(Mgr().UnRegister(one));
  EXPECT_FALSE(Mgr().FindMissionID(Key(1), untouched));
}

TEST_F(AsynProgress, FirstDataAndCommandOfAMissionCount) {
  for (const unsigned long value : {3, 4}) Mgr().SetMissionData(0x10000, value);
  EXPECT_EQ(Mgr().GetMissionData(0x10000), 3U);
  for (int i = 0; i < 2; ++i) Mgr().EraseMissionData(0x10000);
  EXPECT_EQ(Mgr().GetMissionData(0x10000), 0U);
  EXPECT_EQ(Traced("This missionID has registered, missionID:65536"), 1);
  EXPECT_EQ(Traced("This missionID has not registered, missionID:65536"), 1);

  EXPECT_FALSE(Mgr().ResetMissionTimeout(0x10000, 60, A));
  EXPECT_EQ(Asserted("bResult"), 0);
  for (const std::uint32_t sn : {12, 13}) Mgr().RegisterMissionCmd(0x10000, {sn, 1});
  EXPECT_EQ(Traced("MissionID has registered, missionID:65536,cmdSN:12"), 1);
  EXPECT_FALSE(Mgr().ResetMissionTimeout(0x10000, 60, A));  // nobody waits
  EXPECT_EQ(Asserted("bResult"), 1);
}

TEST_F(AsynProgress, ProxiesHandOutEachSubMissionOnceAndGuardsEndTheirSpan) {
  TETaskContext context(m_task.get());
  context.SetMissionID(1, false);
  AsynProgRegProxyEx proxy;
  ASSERT_TRUE(proxy.Register({{A, 0.5F, 2}, {B, 0.5F, 1}}, 1, 40));
  const unsigned long first = proxy.GetMissionID(A);
  AsynProgRegProxyEx copy = proxy;
  const unsigned long second = proxy.GetMissionID(A);
  EXPECT_EQ(copy.GetMissionID(A), second);
  EXPECT_EQ((std::set<unsigned long>{first, second, proxy.GetMissionID(B)}.size()), 3U);
  EXPECT_EQ(proxy.GetMissionID(A) + proxy.GetMissionID(ANY), 0U);
  EXPECT_EQ(Traced("ASSERT: file util/basicutil/asynprogressmgr, line "), 2);
  {
    const AsynProgRegisterGuard refused({{A, 1.0F}}, 1, 50);
    context.SendProgress(50);
    EXPECT_EQ(Overall(Key(1)), 10);
  }
  EXPECT_TRUE(copy.UnRegister());
  EXPECT_EQ(Overall(Key(1)), 40);
  EXPECT_FALSE(proxy.UnRegister());
}

}  // namespace
