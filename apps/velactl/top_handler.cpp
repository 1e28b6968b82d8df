// Takes what the topology service tells all clients about changes of NEs.
#include "apps/asn1/nms_codes.h"
#include "apps/velactl/top_changes.h"
#include "asn1/nms.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/taskcontext.h"

namespace velactl {
namespace {

unsigned long HandleChanges(VelaGnlTask*, const AsnType* msg) {
  TopChanges& changes = TopChanges::Instance();
  changes.broadcasts.fetch_add(1, std::memory_order_relaxed);
  changes.nes.fetch_add(static_cast<const AsnNEChanges&>(*msg).results.size(), std::memory_order_relaxed);
  return 0;
}

const TETaskHandlerStru kChanges = {
    TOPO_BROADCAST_COMMAND, 1, "changes", []() -> AsnType* { return new AsnNEChanges; }, nullptr,
    HandleChanges};
const TEAutoRegisterTask registerChanges(&kChanges);

}  // namespace
}  // namespace velactl
