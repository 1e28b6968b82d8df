#include "platform/asncmd/asn_cmd.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/asncmd/asn_encode.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/log/log_process.h"
#include "platform/message/vela_cmd_msg.h"
#include "platform/task/task_internal.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"

namespace {

constexpr std::size_t payloadLimit = std::size_t{16} << 20;

struct Destination {
  std::uint32_t cmdCode;
  CProcID process;
  std::uint8_t module;
  std::uint16_t subId;
};

void FillHeader(VelaCmdMSG& frame, const Destination& to, VelaMsgKind kind, VelaGnlTask* task) {
  frame.srcDesk = VelaGetDeskId();
  frame.srcHandle = VelaGetProcHandle();
  frame.dstHandle = to.process.Handle();
  frame.srcProcId = VelaGetProcId();
  frame.dstProcId = to.process.Number();
  frame.cmdCode = to.cmdCode;
  frame.kind = kind;
  frame.subId = to.subId;
  frame.module = to.module;
  if (task == nullptr) return;
  frame.srcTaskId = task->GetTaskId();
  frame.attribute = task->GetAttribute();
  VelaMsgSetSn(&frame, task->AllocMsgSn());
  if (const TECmdMsg* served = task->GetCurReqMsg()) frame.clientNo = served->Header().clientNo;
}

std::uint32_t MakeFrame(const AsnType& payload, VelaMsgPtr& frame) {
  vela::AsnWriteBuf out(payloadLimit);
  if (const std::uint32_t code = vela::EncodeTo(payload, out)) return code;
  frame.reset(VelaAllocMsg(VELA_MSG_HEADER + out.Size()));
  if (!frame) return VELA_ERR_MEMORY;
  frame->length = static_cast<std::uint32_t>(out.Size() + 2);
  std::memcpy(frame->data, out.Data(), out.Size());
  return 0;
}

// `sn` is that of the frame, also when it could not be sent.
std::uint32_t SendCommand(const AsnType& payload, const Destination& to, VelaMsgKind kind, VelaGnlTask* task,
                          std::uint32_t& sn) {
  sn = 0;
  VelaMsgPtr frame;
  if (const std::uint32_t code = MakeFrame(payload, frame)) return code;
  FillHeader(*frame, to, kind, task);
  sn = frame->sn;
  VelaAppMgr* app = VelaAppMgr::Instance();
  if (app == nullptr) return VELA_ERR_STOPPING;
  if (app->VelaOutSendMsg(frame.release(), to.module) == 1) return 0;
  const std::uint32_t code = app->LastSendError();
  return code != 0 ? code : VELA_ERR_GENERAL;
}

std::uint32_t ReadAnswer(const VelaCmdMSG& answer, AsnType& rsp) {
  const std::uint32_t length = VelaPayloadLength(answer);
  if (answer.status != 0 && length == 0) return answer.status;
  std::string reason;
  if (CAsnHelper::Decode({answer.data, length}, rsp, reason) == 0) return answer.status;
  LogProcess::Error("The answer to command " + std::to_string(answer.cmdCode) + " from process " +
                    std::to_string(answer.srcProcId) + "-" + std::to_string(answer.srcHandle) +
                    " cannot be decoded: " + reason);
  return VELA_ERR_DECODE;
}

}  // namespace

bool CAsnCmd::ResetTimeout(std::uint32_t sn, const CProcID& process, std::uint32_t timeOut,
                           std::int32_t value) {
  constexpr std::uint32_t longest = 365u * 24 * 3600;
  if (sn == 0 || !vela::ExtendWait(sn, process, static_cast<int>(std::min(timeOut, longest)))) return false;
  if (LogProcess::isDebugEnabled()) {
    LogProcess::Debug("Wait " + std::to_string(sn) + " of " + std::to_string(value) + ": " +
                      std::to_string(timeOut) + " s from now");
  }
  return true;
}

void CAsnCmd::Destroy() {
  vela::AbortAllWaits();
}

CAsnPhyCmd::CAsnPhyCmd(std::uint32_t cmdCode, const AsnType& payload, CProcID dst, int timeOut,
                       std::uint8_t module, std::uint16_t subId)
    : m_cmdCode(cmdCode),
      m_payload(payload),
      m_dst(dst),
      m_timeOut(timeOut),
      m_module(module),
      m_subId(subId) {}

std::uint32_t CAsnPhyCmd::Send(VelaGnlTask* task) {
  std::uint32_t sn = 0;
  return SendCommand(m_payload, {m_cmdCode, m_dst, m_module, m_subId}, VELA_KIND_COMMAND, task, sn);
}

std::uint32_t CAsnPhyCmd::Exec(VelaGnlTask* task, AsnType& rsp) {
  if (task == nullptr) return VELA_ERR_GENERAL;
  std::uint32_t sn = 0;
  const Destination to{m_cmdCode, m_dst, m_module, m_subId};
  if (const std::uint32_t code = SendCommand(m_payload, to, VELA_KIND_REQUEST, task, sn)) return code;
  VelaMsgPtr answer;
  if (const std::uint32_t code = vela::SynRecvFrom(*task, sn, m_dst, m_timeOut, answer)) return code;
  return ReadAnswer(*answer, rsp);
}

CAsnPackCmd::CAsnPackCmd() = default;
CAsnPackCmd::~CAsnPackCmd() = default;

void CAsnPackCmd::Add(const CAsnPhyCmd& cmd) {
  m_cmds.push_back(cmd);
}

std::uint32_t CAsnPackCmd::Send(VelaGnlTask* task) {
  std::uint32_t first = 0;
  for (CAsnPhyCmd& cmd : m_cmds) {
    const std::uint32_t code = cmd.Send(task);
    if (first == 0) first = code;
  }
  return first;
}
