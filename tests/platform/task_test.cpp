#include "tests/platform/task_fixture.h"

using namespace task_test;

namespace {

unsigned long Nothing(VelaGnlTask*, const AsnType*) {
  return 0;
}

TEST(TaskCreator, RefusesTakenCodesAndRecordsWithoutHandler) {
  static const TETaskHandlerStru first{0x1'00710000, 1, "First", nullptr, nullptr, &Nothing};
  static const TETaskHandlerStru second{0x00710000, 1, "Second", nullptr, nullptr, &Nothing};
  static const TETaskHandlerStru empty{0x00710001, 1, "Empty", nullptr, nullptr, nullptr};
  testkit::LogCapture log;
  TETaskCreator* creator = TETaskCreator::Instance();
  EXPECT_TRUE(creator->RegisterTask(&first));
  EXPECT_TRUE(creator->RegisterTask(&first));
  EXPECT_FALSE(creator->RegisterTask(&second));
  EXPECT_FALSE(creator->RegisterTask(&empty));
  EXPECT_FALSE(creator->RegisterTask(nullptr));
  EXPECT_EQ(creator->Find(0x00710000), &first) << "command codes have 32 bits";
  EXPECT_EQ(log.Count("0x710000"), 1);
  EXPECT_EQ(log.Count("it has no handler"), 1);
}

// Sends a response to this process, as another task of it would.
void Respond(std::uint16_t taskId, std::uint32_t sn) {
  testkit::Request answer;
  answer.kind = VELA_KIND_RESPONSE;
  answer.sn = sn;
  VelaMsgPtr frame = testkit::MakeFrame(answer);
  frame->dstTaskId = taskId;
  frame->status = sn;
  EXPECT_EQ(VelaAppMgr::Instance()->VelaOutSendMsg(frame.release(), 0), 1);
}

TEST(TaskAnswers, OnlyDrawnNumbersWithLiveWaitsAreAccepted) {
  enum Number { own, neverDrawn, zero, ofAnotherTask };
  enum Before { nothing, answered, timedOut, anotherTimedOut, anyTimedOut };
  struct Row {
    Number number;  // that the answer carries
    Before before;  // what its waits met already
    bool accepted;
  };
  for (const Row& row :
       {Row{own, nothing, true}, Row{neverDrawn, nothing, false}, Row{zero, nothing, false},
        Row{ofAnotherTask, nothing, false}, Row{own, answered, false}, Row{own, timedOut, false},
        Row{own, anotherTimedOut, true}, Row{own, anyTimedOut, false}}) {
    SCOPED_TRACE(testing::Message() << row.number << " " << row.before);
    VelaGnlTask task("Task");
    VelaGnlTask other("Other");
    const std::uint32_t drawn = task.AllocMsgSn();
    const std::uint32_t numbers[] = {drawn, drawn + 1, 0, other.AllocMsgSn()};
    VelaMsgPtr msg;
    std::uint32_t status = 0;
    if (row.before == answered) {
      Respond(task.GetTaskId(), drawn);
      EXPECT_EQ(task.VelaSynRecvSn(drawn, 1, msg), 0u);
    }
    if (row.before == timedOut) {
      EXPECT_EQ(task.VelaSynRecvSn(drawn, 1, msg), VELA_ERR_NO_ANSWER);
    }
    if (row.before == anotherTimedOut) {
      EXPECT_EQ(task.VelaSynRecvSn(task.AllocMsgSn(), 1, msg), VELA_ERR_NO_ANSWER);
    }
    if (row.before == anyTimedOut) {
      EXPECT_EQ(task.VelaSynRecv(0, 1, msg, status), VELA_ERR_NO_ANSWER);
    }
    const std::uint64_t late = VelaAppMgr::Instance()->Stats().lateAnswers;
    Respond(task.GetTaskId(), numbers[row.number]);
    EXPECT_EQ(VelaAppMgr::Instance()->Stats().lateAnswers - late, row.accepted ? 0u : 1u);
    EXPECT_EQ(task.VelaSynRecv(0, 1, msg, status), row.accepted ? 0u : VELA_ERR_NO_ANSWER);
    EXPECT_EQ(status, row.accepted ? drawn : 0u);
  }
  const std::uint64_t late = VelaAppMgr::Instance()->Stats().lateAnswers;
  Respond(VelaGnlTask("Ended").GetTaskId(), 1);
  EXPECT_EQ(VelaAppMgr::Instance()->Stats().lateAnswers, late + 1);
}

TEST(TaskAnswers, WaitForOneNumberLeavesOthersQueued) {
  VelaGnlTask task("Task");
  const std::uint32_t first = task.AllocMsgSn();
  const std::uint32_t second = task.AllocMsgSn();
  Respond(task.GetTaskId(), first);
  Respond(task.GetTaskId(), second);
  VelaMsgPtr msg;
  std::uint32_t status = 0;
  ASSERT_EQ(task.VelaSynRecvSn(second, 1, msg), 0u);
  EXPECT_EQ(msg->sn, second);
  ASSERT_EQ(task.VelaSynRecv(0, 1, msg, status), 0u);
  EXPECT_EQ(msg->sn, first);
}

TEST(TaskSend, AddressesAndCodesWithoutBus) {
  testkit::ProcessAddress address(51, 1);
  VelaGnlTask task("Task", 9);
  const AsnInt number(5);
  const struct {
    CProcID to;
    std::uint8_t format;
    std::uint32_t result;
  } rows[] = {{{52, 1}, 10, VELA_ERR_NO_RECEIVER},
              {{51, 2}, 10, VELA_ERR_NO_RECEIVER},  // another instance
              {{51, 1}, 10, VELA_ERR_NO_HANDLER},   // served here
              {{51, 10001}, 10, VELA_ERR_NO_HANDLER},
              {{51, 1}, 11, VELA_ERR_GENERAL}};
  for (const auto& row : rows)
    EXPECT_EQ(task.AsnSendNBC(row.to, 0, kUnknown, number, row.format), row.result) << row.to.Number();
  EXPECT_EQ(VelaAppMgr::Instance()->VelaOutSendMsg(nullptr, 0), 0);

  testkit::FrameCapture frames([](const VelaCmdMSG& frame) { return frame.dstProcId == 53; });
  EXPECT_EQ(task.AsnSendNBC(CProcID(53, 1), 0, kPlain, number, 10), VELA_ERR_GENERAL);
  EXPECT_EQ(task.AsnSendBC(VELA_CLIENT_GROUP, 4, kPlain, number, 10), 0u);
  ASSERT_EQ(frames.Frames().size(), 1u);
}

}  // namespace
