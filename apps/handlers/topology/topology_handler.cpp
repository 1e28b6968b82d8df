// The topology service: says which NEs there are and who looks after them, and tells the clients what has
// become of them.
#include "apps/asn1/nms_codes.h"
#include "apps/handlers/new_message.h"
#include "apps/handlers/topology/topology.h"
#include "apps/velad/handler_set.h"
#include "asn1/nms.h"
#include "platform/message/vela_cmd_msg.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/msg_if.h"
#include "util/basicutil/taskcontext.h"

namespace velad {
namespace {

// Null when the network cannot be read: then the process is about to end.
Topology* TheTopology() {
  const Network* network = ProcessNetwork();
  if (network == nullptr) return nullptr;
  static auto* const topology = new Topology(*network);  // lives to the end, as the network does
  return topology;
}

unsigned long HandleFind(VelaGnlTask* task, const AsnType* request) {
  const NSTE_util::TETaskContext context(task);
  const Topology* topology = TheTopology();
  if (topology == nullptr) return VELA_ERR_GENERAL;
  AsnTopoNERsp response;
  const std::uint32_t code = topology->Find(static_cast<const AsnTopoNEReq&>(*request), response);
  return code != 0 ? code : NSTE_util::CfgSendRsp(task, response);
}

unsigned long HandleChanges(VelaGnlTask* task, const AsnType* request) {
  NSTE_util::TETaskContext context(task);
  Topology* topology = TheTopology();
  if (topology == nullptr) return VELA_ERR_GENERAL;
  AsnNEChanges changes(static_cast<const AsnNEChanges&>(*request));
  context.SetUserID(static_cast<int>(changes.userID));
  topology->Apply(changes);
  if (changes.results.empty()) return 0;
  return NSTE_util::SendClientBCMsg(task, TOPO_BROADCAST_COMMAND, &changes, VELA_CLIENT_GROUP);
}

// The changes one after the other: the last one counts.
const TETaskHandlerStru kHandlers[] = {
    {TOPO_NE_COMMAND, kMainTaskMgr, "topoNEs", New<AsnTopoNEReq>, New<AsnTopoNERsp>, HandleFind},
    {TOPO_CHANGES_COMMAND, kServiceTaskMgr, "topoChanges", New<AsnNEChanges>, nullptr, HandleChanges},
};
const TEAutoRegisterTask registerFind(&kHandlers[0]);
const TEAutoRegisterTask registerChanges(&kHandlers[1]);

}  // namespace
}  // namespace velad

extern "C" VELA_HANDLER_SET_EXPORT unsigned long VelaStartHandlerSet() {
  return velad::ProcessNetwork() != nullptr ? 0 : VELA_ERR_GENERAL;
}
