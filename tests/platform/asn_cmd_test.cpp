#include "platform/asncmd/asn_cmd.h"

#include "platform/asncmd/asn_runtime.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "tests/platform/hostile_rows.h"
#include "tests/test_base.h"

namespace {

const CProcID server(51, 2);

TEST(AsnCmd, FrameNamesSenderReceiverAndClient) {
  const testkit::ProcessAddress self(7, 3, 9);
  testkit::Request request;
  request.clientNo = 77;
  VelaGnlTask task("sender", 6);
  task.SetCurReqMsg(std::make_unique<TECmdMsg>(testkit::MakeFrame(request)));
  testkit::FrameCapture capture;
  const SNACC::AsnInt payload(5);
  EXPECT_EQ(CAsnPhyCmd(0x208001, payload, server, 30, 4, 12).Send(&task), 0u);
  EXPECT_EQ(CAsnPhyCmd(0x208001, payload, server, 30, 4, 12).Send(nullptr), 0u);

  const auto frames = capture.Frames();
  ASSERT_EQ(frames.size(), 2u);
  const VelaCmdMSG& sent = frames[0].header;
  EXPECT_EQ(CProcID(sent.srcProcId, sent.srcHandle), CProcID(7, 3));
  EXPECT_EQ(CProcID(sent.dstProcId, sent.dstHandle), server);
  const std::vector<std::uint32_t> fields{sent.format,    sent.clientNo, sent.srcDesk,  sent.dstDesk,
                                          sent.cmdCode,   sent.kind,     sent.subId,    sent.module,
                                          sent.attribute, sent.length,   sent.srcTaskId};
  EXPECT_EQ(fields, (std::vector<std::uint32_t>{10, 77, 9, 0, 0x208001, VELA_KIND_COMMAND, 12, 4, 6, 5,
                                                task.GetTaskId()}));
  EXPECT_EQ(frames[0].module, 4);
  EXPECT_NE(sent.sn, 0u);
  EXPECT_EQ(frames[0].payload, hostile::FromHex("020105"));

  const VelaCmdMSG& orphan = frames[1].header;
  EXPECT_EQ(orphan.sn + orphan.srcTaskId + orphan.attribute + orphan.clientNo, 0u);
}

TEST(AsnCmd, SilenceEndsTheWaitAndWhatCannotBeSentHasNone) {
  testkit::CurrentTask task;
  SNACC::AsnNull rsp;
  const SNACC::AsnBool payload;
  EXPECT_EQ(CAsnPhyCmd(1, payload, server, 1, 0, 0).Exec(nullptr, rsp), VELA_ERR_GENERAL);
  {
    const testkit::FrameCapture silent;
    EXPECT_EQ(CAsnPhyCmd(1, payload, server, 1, 0, 0).Exec(task.get(), rsp), VELA_ERR_NO_ANSWER);
    EXPECT_EQ(silent.Frames().at(0).header.kind, VELA_KIND_REQUEST);
  }
  const testkit::FrameCapture refusing([](const VelaCmdMSG&) { return true; });
  EXPECT_EQ(CAsnPhyCmd(1, payload, server, 100000, 0, 0).Exec(task.get(), rsp), VELA_ERR_GENERAL);
  const SNACC::AsnOcts tooLong(std::string((16u << 20), 'x').c_str());
  EXPECT_EQ(CAsnPhyCmd(1, tooLong, server, 0, 0, 0).Send(task.get()), VELA_ERR_GENERAL);
}

TEST(AsnCmd, APackIsSentInOrderAndWhole) {
  testkit::CurrentTask task;
  std::vector<int> seen;
  const testkit::FrameCapture capture([&](const VelaCmdMSG& frame) {
    seen.push_back(frame.module);
    return frame.module == 4;
  });
  const SNACC::AsnBool payload;
  CAsnPackCmd pack;
  for (const std::uint8_t module : {15, 4, 8, 1, 5}) pack.Add(CAsnPhyCmd(1, payload, server, 0, module, 0));
  EXPECT_EQ(pack.Send(task.get()), VELA_ERR_GENERAL);
  EXPECT_EQ(seen, (std::vector<int>{15, 4, 8, 1, 5}));
}

// A wait of a day in its own thread, which announces the serial number that it waits with.
class LongExec {
 public:
  LongExec() : m_thread([this] { Run(); }) {
    while (m_sn == 0) std::this_thread::yield();
  }
  ~LongExec() { Join(); }

  std::uint32_t Sn() const { return m_sn; }
  std::uint32_t Join() {
    if (m_thread.joinable()) m_thread.join();
    return m_result;
  }

 private:
  void Run() {
    testkit::CurrentTask task;
    const testkit::FrameCapture capture([this](const VelaCmdMSG& frame) {
      m_sn = frame.sn;
      return false;
    });
    SNACC::AsnNull rsp;
    m_result = CAsnPhyCmd(1, SNACC::AsnNull(), server, 24 * 3600, 0, 0).Exec(task.get(), rsp);
  }

  std::atomic<std::uint32_t> m_sn{0};
  std::uint32_t m_result = 0;
  std::thread m_thread;
};

TEST(AsnCmdThreaded, ResetTimeoutEndsOrKeepsTheWait) {
  LongExec exec;
  EXPECT_FALSE(CAsnCmd::ResetTimeout(0, server, 1, 0));
  while (!CAsnCmd::ResetTimeout(exec.Sn(), server, 24 * 3600, 0)) std::this_thread::yield();
  EXPECT_FALSE(CAsnCmd::ResetTimeout(exec.Sn() + 1000, server, 0, 0));
  EXPECT_FALSE(CAsnCmd::ResetTimeout(exec.Sn(), CProcID(52, 2), 0, 0));
  EXPECT_FALSE(CAsnCmd::ResetTimeout(exec.Sn(), CProcID(51, 3), 0, 0));
  EXPECT_TRUE(CAsnCmd::ResetTimeout(exec.Sn(), server, 0, 0));
  EXPECT_EQ(exec.Join(), VELA_ERR_NO_ANSWER);
  EXPECT_FALSE(CAsnCmd::ResetTimeout(exec.Sn(), server, 1, 0));
}

TEST(AsnCmdThreaded, DestroyEndsAllWaitsAndLaterOnes) {
  LongExec exec;
  CAsnCmd::Destroy();
  EXPECT_EQ(exec.Join(), VELA_ERR_NO_ANSWER);
  LongExec later;
  EXPECT_EQ(later.Join(), VELA_ERR_NO_ANSWER);
}

}  // namespace
