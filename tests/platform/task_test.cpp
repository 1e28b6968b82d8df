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
  struct Row {
    const char* why;
    std::function<std::uint32_t(VelaTask&, VelaTask&)> draw;  // the number that the answer carries
    bool accepted;
  };
  const Row rows[] = {
      {"drawn by this task", [](VelaTask& task, VelaTask&) { return task.AllocMsgSn(); }, true},
      {"never drawn", [](VelaTask& task, VelaTask&) { return task.AllocMsgSn() + 1; }, false},
      {"zero, which any-waits use inside", [](VelaTask&, VelaTask&) { return 0u; }, false},
      {"drawn by another task", [](VelaTask&, VelaTask& other) { return other.AllocMsgSn(); }, false},
      {"answered before",
       [](VelaTask& task, VelaTask&) {
         const std::uint32_t sn = task.AllocMsgSn();
         Respond(task.GetTaskId(), sn);
         VelaMsgPtr msg;
         EXPECT_EQ(task.VelaSynRecvSn(sn, 1, msg), 0u);
         return sn;
       },
       false},
      {"its wait timed out",
       [](VelaTask& task, VelaTask&) {
         const std::uint32_t sn = task.AllocMsgSn();
         VelaMsgPtr msg;
         EXPECT_EQ(task.VelaSynRecvSn(sn, 1, msg), VELA_ERR_NO_ANSWER);
         return sn;
       },
       false},
      {"a wait for another number timed out",
       [](VelaTask& task, VelaTask&) {
         const std::uint32_t sn = task.AllocMsgSn();
         VelaMsgPtr msg;
         EXPECT_EQ(task.VelaSynRecvSn(task.AllocMsgSn(), 1, msg), VELA_ERR_NO_ANSWER);
         return sn;
       },
       true},
      {"a wait for any answer timed out",
       [](VelaTask& task, VelaTask&) {
         const std::uint32_t sn = task.AllocMsgSn();
         VelaMsgPtr msg;
         std::uint32_t status = 0;
         EXPECT_EQ(task.VelaSynRecv(0, 1, msg, status), VELA_ERR_NO_ANSWER);
         return sn;
       },
       false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    VelaGnlTask task("Task");
    VelaGnlTask other("Other");
    EXPECT_NE(task.GetTaskId(), other.GetTaskId());
    const std::uint32_t sn = row.draw(task, other);
    const std::uint64_t late = VelaAppMgr::Instance()->Stats().lateAnswers;
    Respond(task.GetTaskId(), sn);
    EXPECT_EQ(VelaAppMgr::Instance()->Stats().lateAnswers - late, row.accepted ? 0u : 1u);
    VelaMsgPtr msg;
    std::uint32_t status = 0;
    EXPECT_EQ(task.VelaSynRecv(0, 1, msg, status), row.accepted ? 0u : VELA_ERR_NO_ANSWER);
    EXPECT_EQ(status, row.accepted ? sn : 0u);
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
  EXPECT_EQ(task.AsnSendNBC(CProcID(52, 1), 0, kPlain, number, 10), VELA_ERR_NO_RECEIVER);
  EXPECT_EQ(task.AsnSendNBC(CProcID(51, 2), 0, kPlain, number, 10), VELA_ERR_NO_RECEIVER)
      << "another instance";
  EXPECT_EQ(task.AsnSendNBC(CProcID(51, 1), 0, kUnknown, number, 10), VELA_ERR_NO_HANDLER) << "served here";
  EXPECT_EQ(task.AsnSendNBC(CProcID(51, 10001), 0, kUnknown, number, 10), VELA_ERR_NO_HANDLER)
      << "so is this";
  EXPECT_EQ(task.AsnSendNBC(CProcID(51, 1), 0, kUnknown, number, 11), VELA_ERR_GENERAL) << "format";
  EXPECT_EQ(VelaAppMgr::Instance()->VelaOutSendMsg(nullptr, 0), 0);

  testkit::FrameCapture frames([](const VelaCmdMSG& frame) { return frame.dstProcId == 53; });
  EXPECT_EQ(task.AsnSendNBC(CProcID(53, 1), 0, kPlain, number, 10), VELA_ERR_GENERAL);
  EXPECT_EQ(task.AsnSendBC(VELA_CLIENT_GROUP, 4, kPlain, number, 10), 0u);
  ASSERT_EQ(frames.Frames().size(), 1u);
  const testkit::Frame sent = frames.Frames()[0];
  EXPECT_EQ(sent.module, 4);
  EXPECT_EQ(sent.payload, testkit::Encoded(number));
  EXPECT_EQ(CProcID(sent.header.dstProcId, sent.header.dstHandle), CProcID(VELA_CLIENT_GROUP, 0));
  EXPECT_EQ(CProcID(sent.header.srcProcId, sent.header.srcHandle), CProcID(51, 1));
  EXPECT_EQ(sent.header.kind, VELA_KIND_COMMAND);
  EXPECT_EQ(sent.header.srcTaskId, task.GetTaskId());
  EXPECT_EQ(sent.header.attribute, 9);
}

TEST(TaskCurrent, ScopesNest) {
  VelaGnlTask outer("Outer");
  const VelaCurrentTaskScope outerScope(&outer);
  {
    VelaGnlTask inner("Inner");
    const VelaCurrentTaskScope innerScope(&inner);
    EXPECT_EQ(VelaGetCurrentTask(), &inner);
  }
  EXPECT_EQ(VelaGetCurrentTask(), &outer);
}

}  // namespace
