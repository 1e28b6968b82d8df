// Takes the requests to work on NEs (apps/asn1/ne_oper.asn1).
#include "apps/asn1/ne_oper_codes.h"
#include "apps/handlers/oper/ne_oper_request.h"
#include "apps/velad/handler_set.h"
#include "asn1/error.h"
#include "asn1/ne_oper.h"
#include "platform/task/te_task_creator.h"
#include "util/basicutil/taskcontext.h"

namespace velad {
namespace {

AsnType* NewRequest() {
  return new AsnNEOperReq;
}

AsnType* NewResponse() {
  return new AsnErrRsp;
}

template <NEOper oper>
unsigned long Handle(VelaGnlTask* task, const AsnType* request) {
  return ServeNEOper(task, static_cast<const AsnNEOperReq&>(*request), oper);
}

const TETaskHandlerStru kConfigure = {NE_CONFIGURE_COMMAND, kMainTaskMgr, "configure",
                                      NewRequest,           NewResponse,  Handle<NEOper::configure>};
const TETaskHandlerStru kInspect = {NE_INSPECT_COMMAND, kMainTaskMgr, "inspect",
                                    NewRequest,         NewResponse,  Handle<NEOper::inspect>};
const TEAutoRegisterTask registerConfigure(&kConfigure);
const TEAutoRegisterTask registerInspect(&kInspect);

}  // namespace
}  // namespace velad
