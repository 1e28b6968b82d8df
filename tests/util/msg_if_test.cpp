#include "util/basicutil/msg_if.h"

#include "platform/event/te_event_mgr.h"
#include "tests/util/mission_fixture.h"

using namespace mission_test;

namespace {

constexpr std::uint32_t CMD = 0x7001;
constexpr std::uint16_t OWN_PROCESS = 600, OWN_HANDLE = 3, OWN_DESK = 8;

using MsgIf = ClientTest;

VelaMsgPtr Response(std::uint32_t cmd, std::uint32_t sn, const std::string& payload) {
  return testkit::MakeFrame({.cmdCode = cmd, .sn = sn, .kind = VELA_KIND_RESPONSE, .payload = payload});
}

// Of each frame, as "process.handle.module.sub-id ".
std::string Targets(const std::vector<testkit::Frame>& frames) {
  std::string text;
  for (const testkit::Frame& frame : frames) {
    const VelaCmdMSG& h = frame.header;
    for (const int part : {+h.dstProcId, +h.dstHandle, +h.module}) text += std::to_string(part) + ".";
    text += std::to_string(h.subId) + " ";
  }
  return text;
}

TEST_F(MsgIf, EveryAsynchronousCommandGoesWhereItsNameSays) {
  VelaGnlTask* task = m_task.get();
  AsnInt five(5);
  const TEClientStru client(1, 2, 21, 310, 44, 6);
  const TEClientID clientId{310, 0x00150099};
  const std::pair<std::function<unsigned long(AsnType*)>, std::string> rows[] = {
      {[&](AsnType* m) { return SendTopoMsg(task, CMD, m); }, "51.0.0.0 "},
      {[&](AsnType* m) { return SendTopoMsg(task, CMD, m, 53, 4, 5); }, "53.0.4.5 "},
      {[&](AsnType* m) { return SendSSMsg(task, CMD, m); }, "52.0.0.0 "},
      {[&](AsnType* m) { return SendClientBCMsg(task, CMD, m, 3003); }, "3003.0.0.0 "},
      {[&](AsnType* m) { return SendServerBCMsg(CMD, m, 1); },
       "600.0.15.0 600.0.4.0 600.0.8.0 600.0.1.0 600.0.5.0 "},
      {[&](AsnType* m) { return SendServerMsg(4, CMD, m, 1); }, "600.3.4.0 "},
      {[&](AsnType* m) { return SendMsgToModule(4, CMD, 1, 17, m) ? 0UL : 1UL; }, "600.3.4.17 "},
      {[&](AsnType* m) { return SendClientMsg(clientId, CMD, m, 1, true); }, "310.21.0.0 "},
      {[&](AsnType* m) { return SendClientMsg(client, CMD, m, 1, false, true); }, "310.21.6.0 "},
      {[&](AsnType* m) { return SendClientMsg(client, CMD, m, 1, true, true); }, "310.21.6.44 "},
      {[&](AsnType* m) { return SendMsgToProc(task, m, CMD, 320, 5, 2, 1, true); }, "320.5.2.33 "},
  };
  for (const auto& [send, targets] : rows)
    for (AsnType* payload : {static_cast<AsnType*>(&five), static_cast<AsnType*>(nullptr)}) {
      testkit::FrameCapture capture;
      EXPECT_EQ(send(payload), 0U) << targets;
      EXPECT_EQ(Targets(capture.Frames()), targets);
      for (const testkit::Frame& frame : capture.Frames()) {
        EXPECT_EQ(frame.header.cmdCode, CMD);
        EXPECT_EQ(frame.header.kind, VELA_KIND_COMMAND);
        EXPECT_EQ(frame.header.srcProcId, OWN_PROCESS);
        EXPECT_EQ(frame.payload, payload ? testkit::Encoded(five) : std::string("\x05\x00", 2)) << targets;
      }
    }
}

TEST_F(MsgIf, RefusedSendsAndClientMessagesOnRequestAreTraced) {
  testkit::FrameCapture capture([](const VelaCmdMSG& frame) { return frame.dstProcId == 52; });
  AsnInt five(5), odd(515253);
  EXPECT_EQ(SendSSMsg(m_task.get(), CMD, &five), 0U) << "refused all the same";
  EXPECT_EQ(Traced("command 0x7001 to process 52, handle 0 failed"), 1);
  SendClientMsg(TEClientID{310, 0}, CMD, &odd, 1, false);
  EXPECT_EQ(Traced(toString(odd)), 0);
  SendClientMsg(TEClientID{310, 0}, CMD, &odd, 1, true);
  EXPECT_EQ(Traced(toString(odd)), 1);
}

TEST_F(MsgIf, ResponsesGoBackTheWayOfTheirRequestAndRequestsDrawANumber) {
  char data[] = "abc";
  const VelaMsgPtr msg(CfgCreateRspMsg(m_task.get()->GetCurReqMsg(), data, 3));
  ASSERT_TRUE(msg);
  const auto fields = [](const VelaCmdMSG& h) {
    return std::vector<std::uint32_t>{h.format,    h.clientNo,  h.srcDesk,   h.dstDesk, h.srcHandle,
                                      h.dstHandle, h.srcProcId, h.dstProcId, h.cmdCode, h.kind,
                                      h.sn,        h.srcTaskId, h.dstTaskId, h.length,  h.attribute,
                                      h.module,    h.subId,     h.status};
  };
  const unsigned taskId = m_task.get()->GetTaskId(), attribute = m_task.get()->GetAttribute();
  EXPECT_EQ(fields(*msg),
            (std::vector<std::uint32_t>{10, 0, OWN_DESK, 4, OWN_HANDLE, 2, OWN_PROCESS, 300, CMD,
                                        VELA_KIND_RESPONSE, 77, taskId, 11, 5, attribute, 9, 0, 0}));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(msg->data), 3), "abc");

  testkit::FrameCapture capture;
  EXPECT_EQ(CfgSendRsp(m_task.get(), AsnInt(9)), 0U);
  ASSERT_EQ(capture.Frames().size(), 1U);
  EXPECT_EQ(capture.Frames()[0].header.sn, 77U);
  EXPECT_EQ(capture.Frames()[0].payload, testkit::Encoded(AsnInt(9)));
  EXPECT_EQ(CfgSendRsp(nullptr, AsnInt(9)), VELA_ERR_GENERAL);

  VelaMsgPtr asked[2];
  for (VelaMsgPtr& m : asked) m.reset(CfgCreateReqMsg(m_task.get(), CMD, data, 3, 400, 5, 6, 1, 12));
  EXPECT_NE(asked[0]->sn, 77U);
  EXPECT_NE(asked[0]->sn, asked[1]->sn);
  const VelaCmdMSG& h = *asked[0];
  EXPECT_EQ((std::vector<std::uint32_t>{h.dstDesk, h.dstProcId, h.dstHandle, h.module, h.kind, h.dstTaskId,
                                        h.length, h.srcTaskId}),
            (std::vector<std::uint32_t>{0, 400, 5, 6, 1, 12, 5, m_task.get()->GetTaskId()}));

  EXPECT_EQ(CfgCreateReqMsg(nullptr, CMD, data, 3, 1, 1, 1, 1, 1), nullptr);
  EXPECT_EQ(Asserted("pTask != 0 && pBuffer != 0"), 1);
  EXPECT_EQ(m_log.Count("ASSERT: file util/basicutil/msg_if, line "), 2);
  EXPECT_EQ(CfgCreateExRspMsg(nullptr, data, 3), nullptr);
  EXPECT_EQ(CfgCreateRspMsg(m_task.get()->GetCurReqMsg(), nullptr, 3), nullptr);
  EXPECT_EQ(Asserted("pCmdMsg != 0 && pBuffer != 0"), 2);
  EXPECT_EQ(CfgCreateRspMsg(m_task.get()->GetCurReqMsg(), data, 0xFFFFFFFF), nullptr) << "no such memory";
}

TEST_F(MsgIf, ARawMessageStaysInTheProcess) {
  char data[] = "abc";
  testkit::FrameCapture capture;
  EXPECT_TRUE(SendMsgToModule(4, CMD, 2, 12, 3, data));
  EXPECT_TRUE(SendMsgToModule(4, CMD, 2, 12, 3, nullptr));
  const auto frames = capture.Frames();
  ASSERT_EQ(frames.size(), 2U);
  const VelaCmdMSG& header = frames[0].header;
  EXPECT_EQ((std::vector<int>{header.srcDesk, header.dstDesk, header.srcTaskId, header.dstTaskId, header.kind,
                              header.dstProcId, header.dstHandle, frames[0].module}),
            (std::vector<int>{0, 0, 0, 12, 2, OWN_PROCESS, OWN_HANDLE, 4}));
  EXPECT_NE(header.sn, 0U);
  EXPECT_EQ(frames[0].payload, "abc");
  EXPECT_EQ(frames[1].payload, "");

  const auto faults = NoMemory();
  EXPECT_FALSE(SendMsgToModule(4, CMD, 2, 12, 3, data));
  EXPECT_EQ(Traced("NSTE_util::SendMsgToModule : Fail to allocate memory!\n"), 1);
}

TEST_F(MsgIf, ASynchronousCommandReturnsTheCodeOfThePlatform) {
  using namespace std::string_literals;
  AsnInt question(1);
  const std::string answered = testkit::Encoded(AsnInt(42));
  const std::tuple<std::uint32_t, std::string, std::uint32_t, const char*> rows[] = {
      // status and payload of the answer, result
      {0, answered, 0, "answered"},
      {VELA_ERR_OVERLOAD, "", VELA_ERR_OVERLOAD, "refused"},
      {VELA_ERR_OVERLOAD, answered, VELA_ERR_OVERLOAD, "a status and an answer"},
      {0, "", VELA_ERR_DECODE, "no payload"},
      {0, "\x01\x01\xFF", VELA_ERR_DECODE, "another type"},
      {0, "\x24\x05\x04\x82\x01\x90\x41", VELA_ERR_DECODE, "hostile"},
  };
  for (const auto& [status, payload, result, why] : rows) {
    const testkit::FrameCapture capture([&, code = status, bytes = payload](const VelaCmdMSG& frame) {
      VelaMsgPtr rsp = Response(frame.cmdCode, frame.sn, bytes);
      rsp->status = code;
      m_task.Deliver(std::move(rsp));
      return false;
    });
    AsnInt first(0), second(0);
    m_log.Clear();
    EXPECT_EQ(SyncSendTopoReq(m_task.get(), CMD, &question, &first, 50, 3, 10), result) << why;
    EXPECT_EQ(SyncSendMsgToProc(m_task.get(), nullptr, &second, CMD, 320, 5, 2, 10), result) << why;
    EXPECT_EQ(first == 42 && second == 42, payload == answered) << why;
    EXPECT_EQ(Traced("cannot be decoded: byte "), result == VELA_ERR_DECODE ? 2 : 0) << why;
    EXPECT_EQ(Targets(capture.Frames()), "50.0.3.0 320.5.2.0 ");
    EXPECT_EQ(capture.Frames()[1].payload, "\x05\0"s);
  }
  EXPECT_EQ(SyncSendTopoReq(nullptr, CMD, nullptr, nullptr, 50, 3, 10), VELA_ERR_GENERAL);
  EXPECT_EQ(Asserted("pReqTopo != 0 && pRspTopo != 0"), 1);
  EXPECT_EQ(Traced("pReq == NULL || pRsp == NULL"), 1);
}

TEST_F(MsgIf, WaitsForOneCommandCode) {
  constexpr std::uint32_t OTHER = 0x7002;
  const std::string seven = testkit::Encoded(AsnInt(7));
  using Delivered = std::tuple<std::uint32_t, std::uint32_t, std::string>;  // command, status, payload
  const std::tuple<const char*, std::vector<Delivered>, std::uint32_t, bool> rows[] = {
      {"nothing comes", {}, VELA_ERR_NO_ANSWER, false},
      {"at once", {{CMD, 0, seven}}, 0, true},
      {"behind two others", {{OTHER, 0, seven}, {OTHER, 0, ""}, {CMD, 0, seven}}, 0, true},
      {"behind three",
       {{OTHER, 0, ""}, {OTHER, 0, ""}, {OTHER, 0, ""}, {CMD, 0, seven}},
       VELA_ERR_NO_ANSWER,
       false},
      {"status with a payload", {{CMD, 9, seven}}, 9, true},
      {"refusal", {{CMD, VELA_ERR_NO_HANDLER, ""}}, VELA_ERR_NO_HANDLER, false},
      {"empty without a refusal", {{CMD, 0, ""}}, VELA_ERR_DECODE, false},
      {"bad bytes", {{CMD, 0, std::string("\x02\x84", 2)}}, VELA_ERR_DECODE, false},
  };
  for (const auto& [why, delivered, result, answered] : rows) {
    for (const auto& [cmd, status, payload] : delivered) {
      VelaMsgPtr frame = Response(cmd, 5, payload);
      frame->status = status;
      m_task.Deliver(std::move(frame));
    }
    AsnInt answer(0);
    EXPECT_EQ(SynWaitRspMsg(m_task.get(), CMD, &answer, 1), result) << why;
    EXPECT_EQ(answer == 7, answered) << why;
    AsnInt rest;  // what the row left over
    if (delivered.size() > 3) SynWaitRspMsg(m_task.get(), CMD, &rest, 1);
  }
  EXPECT_EQ(SynWaitRspMsg(nullptr, CMD, nullptr, 1), VELA_ERR_NO_ANSWER);
  EXPECT_EQ(Asserted("pTask"), 1);
}

TEST_F(MsgIf, AnEventCarriesItsThreeValues) {
  int two = 0, three = 0;
  std::vector<const void*> seen;
  TEEventMgr::Instance()->Subscribe(15, [&](std::uint32_t, const TEEventParam& p) {
    const auto& param = dynamic_cast<const TECommonEventParam&>(p);
    EXPECT_EQ(param.first, 7U);
    seen = {param.second, param.third};
  });
  EXPECT_EQ(CfgSendEvent(0x10000000FUL, 0x100000007UL, &two, &three), 0U) << "values have 32 bits";
  EXPECT_EQ(seen, (std::vector<const void*>{&two, &three}));
}

}  // namespace
