#pragma once
#include "platform/asncmd/asn_fwd.h"
#include "platform/message/proc_id.h"
#include "util/basicutil/client_records.h"
#include "util/basicutil/export.h"

class TECmdMsg;
class VelaGnlTask;
struct VelaCmdMSG;

// Builds, sends and awaits the platform's messages. The functions keep no state; they belong to the thread of
// the task that is current (or named). Nothing blocks but SyncSend... and SynWaitRspMsg.
//
// For all of them:
// - frames carry the own process as source, the given task's id (0 without a task) and its attribute byte;
// - a null payload is sent, and a null answer object received, as ASN.1 NULL;
// - the payload is not taken over; it is traced (AsnTrace) before it is sent;
// - time-outs are seconds;
// - asynchronous sends return 0; what the platform refused is traced, nobody waits for it;
// - synchronous calls return the platform's code unchanged, 0 for success. Without a task nothing can wait:
//   assertion and VELA_ERR_GENERAL.
namespace NSTE_util {

// --- frames ---
// The caller owns the result (VelaFreeMsg, or a send that takes it over). Null after an assertion report when
// an argument is null, null after a trace line when memory is exhausted.

// The response to a request: to its sender, with its command code, module and serial number, kind 7.
BASIC_UTIL_EXPORT VelaCmdMSG* CfgCreateRspMsg(const TECmdMsg* req, void* buf, unsigned len);
BASIC_UTIL_EXPORT VelaCmdMSG* CfgCreateExRspMsg(const TECmdMsg* req, void* buf, unsigned len);
// A request with a new serial number of `task`.
BASIC_UTIL_EXPORT VelaCmdMSG* CfgCreateReqMsg(VelaGnlTask* task, unsigned long cmd, void* buf, unsigned len,
                                              unsigned short dstProcId, unsigned short dstHandle,
                                              unsigned char module, unsigned char kind,
                                              unsigned short dstTaskId);
// What a handler ends with: encodes the response to the task's request, traces it and sends it. 0; the code
// of the send; VELA_ERR_GENERAL when there is no request or the response cannot be encoded; VELA_ERR_MEMORY.
BASIC_UTIL_EXPORT unsigned long CfgSendRsp(VelaGnlTask* task, const AsnType& rsp);

// --- commands to fixed processes ---
BASIC_UTIL_EXPORT unsigned long SendTopoMsg(VelaGnlTask* task, unsigned long cmd, AsnType* msg);
BASIC_UTIL_EXPORT unsigned long SendTopoMsg(VelaGnlTask* task, unsigned long cmd, AsnType* msg,
                                            unsigned char procNo, unsigned char module, unsigned short subId);
BASIC_UTIL_EXPORT unsigned long SendSSMsg(VelaGnlTask* task, unsigned long cmd, AsnType* msg);
// The answer is decoded into the fresh object `rsp` and traced.
BASIC_UTIL_EXPORT unsigned long SyncSendTopoReq(VelaGnlTask* task, unsigned long cmd, AsnType* req,
                                                AsnType* rsp, unsigned char procNo, unsigned char module,
                                                int timeOut);

// --- broadcasts ---
BASIC_UTIL_EXPORT unsigned long SendClientBCMsg(VelaGnlTask* task, unsigned long cmd, AsnType* msg,
                                                unsigned short procNo);
// To the modules 15, 4, 8, 1 and 5 of every instance number 0 of this process, in this order.
BASIC_UTIL_EXPORT unsigned long SendServerBCMsg(unsigned long cmd, AsnType* msg, unsigned char unused);

// --- commands to this process ---
BASIC_UTIL_EXPORT unsigned long SendServerMsg(unsigned char module, unsigned long cmd, AsnType* msg,
                                              unsigned char unused);
// A raw message; `buf` may be null (no payload). True when the platform took it.
BASIC_UTIL_EXPORT bool SendMsgToModule(unsigned char module, unsigned long cmd, unsigned char kind,
                                       unsigned short dstTaskId, unsigned short len, void* buf);
// Always true.
BASIC_UTIL_EXPORT bool SendMsgToModule(unsigned char module, unsigned long cmd, unsigned char unused,
                                       unsigned short subId, AsnType* msg);

// --- commands to a client; traced only when `trace` is true ---
BASIC_UTIL_EXPORT unsigned long SendClientMsg(TEClientID id, unsigned long cmd, AsnType* msg,
                                              unsigned char unused, bool trace);
BASIC_UTIL_EXPORT unsigned long SendClientMsg(const TEClientStru& client, unsigned long cmd, AsnType* msg,
                                              unsigned char unused, bool useSubId, bool trace);

// --- commands to any process ---
BASIC_UTIL_EXPORT unsigned long SendMsgToProc(VelaGnlTask* task, AsnType* msg, unsigned cmd,
                                              unsigned short procNo, unsigned short procGroup,
                                              unsigned char module, unsigned char unused, bool unused2);
BASIC_UTIL_EXPORT unsigned long SyncSendMsgToProc(VelaGnlTask* task, AsnType* req, AsnType* rsp, unsigned cmd,
                                                  unsigned short procNo, unsigned short procGroup,
                                                  unsigned char module, int timeOut);

// Waits for a message with command code `cmd` and decodes it into the fresh object `rsp`. The status that it
// carries (0: success; also the code of a refusal, which has no payload); 0x4101F003 when none came in time
// or three messages with other codes came; 0x4101F00A when it cannot be decoded. Each of the receives may
// take `timeOut`.
BASIC_UTIL_EXPORT unsigned long SynWaitRspMsg(VelaGnlTask* task, unsigned cmd, AsnType* rsp, int timeOut);

// Posts a TECommonEventParam of the three values; the result of TEEventMgr::PostEvent. The handlers have run
// when it returns.
BASIC_UTIL_EXPORT unsigned long CfgSendEvent(unsigned long eventId, unsigned long p1, void* p2, void* p3);

}  // namespace NSTE_util
