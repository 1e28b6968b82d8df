#include "platform/testkit/testkit.h"

#include <gtest/gtest.h>

#include "platform/asncmd/asn_runtime.h"
#include "platform/log/log_process.h"
#include "platform/os/clock.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "platform/text/vela_msg.h"

namespace {

TEST(Testkit, GuardsPutEverythingBack) {
  const std::string language = VELAcommon::VELAMsg::getLanguage();
  {
    const testkit::CurrentTask task;
    const testkit::ProcessAddress outer(51, 3, 1);
    const testkit::FrameCapture frames;
    const testkit::LogCapture log;
    testkit::Clock clock(1000, 5);
    const testkit::Language chinese("zh_CN");
    const testkit::OsFaults faults([](vela::OsCall, const char*) { return vela::OsFault{ENOMEM, -1}; });
    {
      const testkit::ProcessAddress inner(52, 4, 2);
      EXPECT_EQ(VelaGetProcId(), 52);
    }
    clock.Advance(std::chrono::seconds(2));
    EXPECT_EQ(vela::Now().time_since_epoch().count(), 1002000005);
    EXPECT_EQ(VelaGetProcId(), 51);
    EXPECT_EQ(VelaGetProcHandle(), 3);
    EXPECT_EQ(VelaGetDeskId(), 1);
    EXPECT_EQ(VelaGetCurrentTask(), task.get());
    EXPECT_EQ(VELAcommon::VELAMsg::getLanguage(), "zh_CN");
    EXPECT_EQ(VelaAllocMsg(VELA_MSG_HEADER), nullptr);
    LogProcess::Error("seen");
    EXPECT_EQ(log.Count("seen"), 1);
  }
  EXPECT_EQ(VelaGetCurrentTask(), nullptr);
  EXPECT_EQ(VelaGetProcId(), 0);
  EXPECT_GT(vela::NowSeconds(), 1002);
  EXPECT_EQ(VELAcommon::VELAMsg::getLanguage(), language);
  VelaMsgPtr frame(VelaAllocMsg(VELA_MSG_HEADER));
  ASSERT_TRUE(frame);
  frame->kind = VELA_KIND_COMMAND;
  frame->dstProcId = 99;
  EXPECT_EQ(VelaAppMgr::Instance()->VelaOutSendMsg(frame.release(), 0), 0) << "frames are still captured";
  testing::internal::CaptureStderr();
  LogProcess::Error("written again");
  EXPECT_NE(testing::internal::GetCapturedStderr().find("written again"), std::string::npos);
}

TEST(Testkit, TaskSeesItsRequestAndDeliveredAnswers) {
  testkit::Request request;
  request.clientNo = 11;
  request.srcProcId = 12;
  request.srcHandle = 13;
  request.srcDesk = 14;
  request.srcTaskId = 15;
  request.cmdCode = 16;
  request.sn = 17;
  request.module = 18;
  request.attribute = 19;
  request.subId = 20;
  request.payload = testkit::Encoded(AsnInt(7));
  testkit::CurrentTask task(request);
  const VelaCmdMSG& header = task.get()->GetCurReqMsg()->Header();
  const std::vector<std::uint32_t> fields{
      header.clientNo, header.srcProcId, header.srcHandle, header.srcDesk, header.srcTaskId, header.cmdCode,
      header.sn,       header.module,    header.attribute, header.subId,   header.length,    header.kind};
  EXPECT_EQ(fields,
            (std::vector<std::uint32_t>{11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 5, VELA_KIND_REQUEST}));
  EXPECT_EQ(task.get()->GetCurReqMsg()->Payload().size(), 3u);

  testkit::Request answer;
  answer.kind = VELA_KIND_RESPONSE;
  answer.sn = 4711;
  task.Deliver(testkit::MakeFrame(answer));
  VelaMsgPtr msg;
  EXPECT_EQ(task.get()->VelaSynRecvSn(4711, 1, msg), 0u);
}

}  // namespace
