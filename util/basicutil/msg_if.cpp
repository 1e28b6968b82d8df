#include "util/basicutil/msg_if.h"

#include <memory>

#include "platform/asncmd/asn_cmd.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/event/te_event_mgr.h"
#include "platform/os/os_types.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/common.h"
#include "util/basicutil/frame_build.h"

namespace NSTE_util {

namespace {

constexpr const char* UNIT = "msg_if";
constexpr std::uint16_t TOPO_PROCESS = 51;
constexpr std::uint16_t SS_PROCESS = 52;
constexpr std::uint8_t BROADCAST_MODULES[] = {15, 4, 8, 1, 5};
constexpr int USUAL_TIME_OUT = 30;
constexpr int FOREIGN_MESSAGES = 3;

VelaGnlTask* CurrentTask() {
  return dynamic_cast<VelaGnlTask*>(VelaGetCurrentTask());
}

void Trace(const AsnType& msg) {
  AsnTrace(msg, GetDefaultDebugInterface());
}

void TraceRefusal(std::uint32_t cmd, CProcID dst, std::uint32_t code) {
  if (code == 0) return;
  TETrace("NSTE_util::SendMsg : command 0x%x to process %u, handle %u failed, code:0x%x", cmd, dst.Number(),
          dst.Handle(), code);
}

// Where an asynchronous command goes.
struct Route {
  CProcID dst;
  int timeOut = 0;
  std::uint8_t module = 0;
  std::uint16_t subId = 0;
  bool trace = true;
};

unsigned long SendAsync(VelaGnlTask* task, unsigned long cmd, AsnType* msg, const Route& route) {
  AsnNull nothing;
  const AsnType& payload = msg != nullptr ? *msg : nothing;
  if (route.trace) Trace(payload);
  CAsnPhyCmd command(vela::Cut32(cmd), payload, route.dst, route.timeOut, route.module, route.subId);
  TraceRefusal(vela::Cut32(cmd), route.dst, command.Send(task));
  return 0;
}

std::uint32_t Exec(VelaGnlTask* task, std::uint32_t cmd, AsnType* req, AsnType& rsp, CProcID dst, int timeOut,
                   std::uint8_t module) {
  if (!Check(task != nullptr, UNIT, "pTask != 0")) return VELA_ERR_GENERAL;
  AsnNull nothing;
  const AsnType& payload = req != nullptr ? *req : nothing;
  Trace(payload);
  return CAsnPhyCmd(cmd, payload, dst, timeOut, module, 0).Exec(task, rsp);
}

FrameFields SourceOf(const VelaTask* task) {
  FrameFields fields;
  if (task == nullptr) return fields;
  fields.srcTaskId = task->GetTaskId();
  fields.attribute = task->GetAttribute();
  return fields;
}

VelaCmdMSG* CreateRsp(const char* caller, const TECmdMsg* req, const void* buf, unsigned len) {
  if (!Check(req != nullptr && buf != nullptr, UNIT, "pCmdMsg != 0 && pBuffer != 0")) return nullptr;
  const VelaCmdMSG& request = req->Header();
  FrameFields fields = SourceOf(VelaGetCurrentTask());
  fields.dstDesk = request.srcDesk;
  fields.dstHandle = request.srcHandle;
  fields.dstProcId = request.srcProcId;
  fields.dstTaskId = request.srcTaskId;
  fields.module = request.module;
  fields.cmdCode = request.cmdCode;
  fields.kind = VELA_KIND_RESPONSE;
  fields.sn = request.sn;
  return BuildFrame(caller, fields, buf, len).release();
}

std::uint8_t RequestAttribute(const VelaGnlTask* task) {
  const TECmdMsg* request = task != nullptr ? task->GetCurReqMsg() : nullptr;
  return request != nullptr ? request->Header().attribute : 0;
}

// The next message with that code; null when receiving failed or too many others came.
VelaMsgPtr Receive(VelaGnlTask& task, std::uint32_t cmd, int timeOut, std::uint32_t& status) {
  for (int foreign = 0; foreign < FOREIGN_MESSAGES; ++foreign) {
    VelaMsgPtr msg;
    if (task.VelaSynRecv(cmd, timeOut, msg, status) != 0 || !msg) return nullptr;
    if (msg->cmdCode == cmd) return msg;
  }
  return nullptr;
}

}  // namespace

VelaCmdMSG* CfgCreateRspMsg(const TECmdMsg* req, void* buf, unsigned len) {
  return CreateRsp("CfgCreateRspMsg", req, buf, len);
}

VelaCmdMSG* CfgCreateExRspMsg(const TECmdMsg* req, void* buf, unsigned len) {
  return CreateRsp("CfgCreateExRspMsg", req, buf, len);
}

VelaCmdMSG* CfgCreateReqMsg(VelaGnlTask* task, unsigned long cmd, void* buf, unsigned len,
                            unsigned short dstProcId, unsigned short dstHandle, unsigned char module,
                            unsigned char kind, unsigned short dstTaskId) {
  if (!Check(task != nullptr && buf != nullptr, UNIT, "pTask != 0 && pBuffer != 0")) return nullptr;
  FrameFields fields = SourceOf(task);
  fields.dstHandle = dstHandle;
  fields.dstProcId = dstProcId;
  fields.dstTaskId = dstTaskId;
  fields.module = module;
  fields.cmdCode = vela::Cut32(cmd);
  fields.kind = kind;
  fields.sn = task->AllocMsgSn();
  return BuildFrame("CfgCreateReqMsg", fields, buf, len).release();
}

unsigned long CfgSendRsp(VelaGnlTask* task, const AsnType& rsp) {
  const TECmdMsg* request = task != nullptr ? task->GetCurReqMsg() : nullptr;
  if (!Check(request != nullptr, UNIT, "pReqMsg != 0")) return VELA_ERR_GENERAL;
  Trace(rsp);
  unsigned char* buffer = nullptr;
  std::size_t size = 0;
  if (const std::uint32_t code = CAsnHelper::Encode(rsp, buffer, size)) return code;
  VelaCmdMSG* msg = CfgCreateRspMsg(request, buffer, static_cast<unsigned>(size));
  CAsnHelper::ReleaseAsnBuf(buffer);
  return msg != nullptr ? task->VelaCmdSendAnsFrameCB(msg) : VELA_ERR_MEMORY;
}

unsigned long SendTopoMsg(VelaGnlTask* task, unsigned long cmd, AsnType* msg) {
  return SendAsync(task, cmd, msg, {.dst = {TOPO_PROCESS, 0}, .timeOut = USUAL_TIME_OUT});
}

unsigned long SendTopoMsg(VelaGnlTask* task, unsigned long cmd, AsnType* msg, unsigned char procNo,
                          unsigned char module, unsigned short subId) {
  return SendAsync(task, cmd, msg, {.dst = {procNo, 0}, .module = module, .subId = subId});
}

unsigned long SendSSMsg(VelaGnlTask* task, unsigned long cmd, AsnType* msg) {
  return SendAsync(task, cmd, msg, {.dst = {SS_PROCESS, 0}, .timeOut = USUAL_TIME_OUT});
}

unsigned long SyncSendTopoReq(VelaGnlTask* task, unsigned long cmd, AsnType* req, AsnType* rsp,
                              unsigned char procNo, unsigned char module, int timeOut) {
  Check(req != nullptr && rsp != nullptr, UNIT, "pReqTopo != 0 && pRspTopo != 0");
  AsnNull nothing;
  AsnType& answer = rsp != nullptr ? *rsp : nothing;
  const std::uint32_t code = Exec(task, vela::Cut32(cmd), req, answer, {procNo, 0}, timeOut, module);
  if (code == 0) Trace(answer);
  return code;
}

unsigned long SendClientBCMsg(VelaGnlTask* task, unsigned long cmd, AsnType* msg, unsigned short procNo) {
  return SendAsync(task, cmd, msg, {.dst = {procNo, 0}});
}

unsigned long SendServerBCMsg(unsigned long cmd, AsnType* msg, unsigned char /*unused*/) {
  AsnNull nothing;
  const AsnType& payload = msg != nullptr ? *msg : nothing;
  Trace(payload);
  const CProcID self(VelaGetProcId(), 0);
  CAsnPackCmd pack;
  for (const std::uint8_t module : BROADCAST_MODULES)
    pack.Add(CAsnPhyCmd(vela::Cut32(cmd), payload, self, 0, module, 0));
  TraceRefusal(vela::Cut32(cmd), self, pack.Send(CurrentTask()));
  return 0;
}

unsigned long SendServerMsg(unsigned char module, unsigned long cmd, AsnType* msg, unsigned char /*unused*/) {
  return SendAsync(CurrentTask(), cmd, msg,
                   {.dst = {VelaGetProcId(), VelaGetProcHandle()}, .module = module});
}

bool SendMsgToModule(unsigned char module, unsigned long cmd, unsigned char kind, unsigned short dstTaskId,
                     unsigned short len, void* buf) {
  VelaTask* task = VelaGetCurrentTask();
  FrameFields fields = SourceOf(task);
  fields.srcDesk = 0;
  fields.srcTaskId = 0;
  fields.dstHandle = VelaGetProcHandle();
  fields.dstProcId = VelaGetProcId();
  fields.dstTaskId = dstTaskId;
  fields.module = module;
  fields.cmdCode = vela::Cut32(cmd);
  fields.kind = kind;
  if (task != nullptr) fields.sn = task->AllocMsgSn();
  VelaMsgPtr msg = BuildFrame("SendMsgToModule", fields, buf, buf != nullptr ? len : 0);
  VelaAppMgr* app = msg ? VelaAppMgr::Instance() : nullptr;
  return app != nullptr && app->VelaOutSendMsg(msg.release(), module) == 1;
}

bool SendMsgToModule(unsigned char module, unsigned long cmd, unsigned char /*unused*/, unsigned short subId,
                     AsnType* msg) {
  SendAsync(CurrentTask(), cmd, msg,
            {.dst = {VelaGetProcId(), VelaGetProcHandle()}, .module = module, .subId = subId});
  return true;
}

unsigned long SendClientMsg(TEClientID id, unsigned long cmd, AsnType* msg, unsigned char /*unused*/,
                            bool trace) {
  const CProcID client(id.processId, static_cast<std::uint16_t>(id.second >> 16));
  return SendAsync(CurrentTask(), cmd, msg, {.dst = client, .trace = trace});
}

unsigned long SendClientMsg(const TEClientStru& client, unsigned long cmd, AsnType* msg,
                            unsigned char /*unused*/, bool useSubId, bool trace) {
  const std::uint16_t subId = useSubId ? client.m_wSubID : std::uint16_t{0};
  return SendAsync(CurrentTask(), cmd, msg,
                   {.dst = {client.m_wProcNo, client.m_wProcHandle},
                    .module = client.m_byCmdOption,
                    .subId = subId,
                    .trace = trace});
}

unsigned long SendMsgToProc(VelaGnlTask* task, AsnType* msg, unsigned cmd, unsigned short procNo,
                            unsigned short procGroup, unsigned char module, unsigned char /*unused*/,
                            bool /*unused2*/) {
  return SendAsync(task, cmd, msg,
                   {.dst = {procNo, procGroup},
                    .timeOut = USUAL_TIME_OUT,
                    .module = module,
                    .subId = RequestAttribute(task)});
}

unsigned long SyncSendMsgToProc(VelaGnlTask* task, AsnType* req, AsnType* rsp, unsigned cmd,
                                unsigned short procNo, unsigned short procGroup, unsigned char module,
                                int timeOut) {
  if (req == nullptr || rsp == nullptr) TETrace("pReq == NULL || pRsp == NULL");
  AsnNull nothing;
  return Exec(task, cmd, req, rsp != nullptr ? *rsp : nothing, {procNo, procGroup}, timeOut, module);
}

unsigned long SynWaitRspMsg(VelaGnlTask* task, unsigned cmd, AsnType* rsp, int timeOut) {
  if (!Check(task != nullptr, UNIT, "pTask")) return VELA_ERR_NO_ANSWER;
  std::uint32_t status = 0;
  const VelaMsgPtr msg = Receive(*task, cmd, timeOut, status);
  if (!msg) return VELA_ERR_NO_ANSWER;
  const std::uint32_t length = VelaPayloadLength(*msg);
  if (status != 0 && length == 0) return status;
  AsnNull nothing;
  AsnType& answer = rsp != nullptr ? *rsp : nothing;
  if (CAsnHelper::Decode({msg->data, length}, answer) != 0) return VELA_ERR_DECODE;
  Trace(answer);
  return status;
}

unsigned long CfgSendEvent(unsigned long eventId, unsigned long p1, void* p2, void* p3) {
  TEEventMgr* events = TEEventMgr::Instance();
  if (events == nullptr) return VELA_ERR_GENERAL;
  return events->PostEvent(vela::Cut32(eventId),
                           std::make_shared<TECommonEventParam>(vela::Cut32(p1), p2, p3));
}

}  // namespace NSTE_util
