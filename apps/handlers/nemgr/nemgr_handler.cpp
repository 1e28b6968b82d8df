// The NE manager: takes its pieces of missions, and offers the files that it writes.
#include "apps/asn1/nms_codes.h"
#include "apps/handlers/nemgr/piece.h"
#include "apps/velad/handler_set.h"
#include "asn1/nms.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_error.h"
#include "util/basicutil/taskcontext.h"

namespace velad {
namespace {

unsigned long HandlePiece(VelaGnlTask* task, const AsnType* request) {
  const Network* network = ProcessNetwork();
  if (network == nullptr) return VELA_ERR_GENERAL;  // the process is about to end
  return ServePiece(task, static_cast<const AsnNEPieceReq&>(*request), *network);
}

const TETaskHandlerStru kPiece = {NE_PIECE_COMMAND, kMainTaskMgr,
                                  "nePiece",        []() -> AsnType* { return new AsnNEPieceReq; },
                                  nullptr,          HandlePiece};
const TEAutoRegisterTask registerPiece(&kPiece);

}  // namespace
}  // namespace velad

extern "C" VELA_HANDLER_SET_EXPORT unsigned long VelaStartHandlerSet() {
  return velad::ProcessNetwork() != nullptr ? 0 : VELA_ERR_GENERAL;
}
