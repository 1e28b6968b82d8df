#include "platform/log/log_process.h"
#include "platform/os/clock.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task.h"
#include "platform/text/vela_msg.h"
#include "platform/time/vela_tzone.h"
#include "tests/test_base.h"

namespace {

TEST(Testkit, GuardsPutEverythingBack) {
  const std::string language = VELAcommon::VELAMsg::getLanguage();
  const std::string zone = vela::ServerZoneName();
  {
    const testkit::CurrentTask task;
    const testkit::ProcessAddress outer(51, 3, 1);
    const testkit::FrameCapture frames;
    const testkit::LogCapture log;
    testkit::Clock clock(1000, 5);
    const testkit::Language chinese("zh_CN");
    const testkit::Zone kolkata("Asia/Kolkata");
    const testkit::ZoneFaults fails;
    const auto faults = NoMemory();
    clock.Advance(std::chrono::seconds(2));
    EXPECT_EQ(vela::Now().time_since_epoch().count(), 1002000005);
    { const testkit::ProcessAddress inner(52, 4, 2); }
    EXPECT_EQ(VelaGetProcId(), 51);
    LogProcess::Error("seen");
    EXPECT_EQ(log.Count("seen"), 1);
  }
  EXPECT_EQ(VelaGetCurrentTask(), nullptr);
  EXPECT_EQ(VelaGetProcId(), 0);
  EXPECT_GT(vela::NowSeconds(), 1002);
  EXPECT_EQ(VELAcommon::VELAMsg::getLanguage(), language);
  EXPECT_EQ(vela::ServerZoneName(), zone);
  EXPECT_EQ(VELATZone::toLongTime({1970}), 0);
  VelaMsgPtr frame = testkit::MakeFrame({.kind = VELA_KIND_COMMAND, .payload = {}});
  frame->dstProcId = 99;
  EXPECT_EQ(VelaAppMgr::Instance()->VelaOutSendMsg(frame.release(), 0), 0) << "frames are still captured";
  testing::internal::CaptureStderr();
  LogProcess::Error("written again");
  EXPECT_NE(testing::internal::GetCapturedStderr().find("written again"), std::string::npos);
}

}  // namespace
