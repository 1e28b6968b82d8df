#pragma once
#include "apps/handlers/network.h"

class VelaGnlTask;
namespace SNACC {
class AsnNEPieceReq;
}

namespace velad {

// Serves one piece of an upload or a reset, in the thread of its task: works on its NEs one after the other
// and reports to the process that sent it, at last with AsnNEPieceEnd, also of a piece that cannot begin. A
// piece that failed as a whole, or that ends because this process does, is reported as a failed sub-mission
// too; nothing is reported when the sender has ended meanwhile. An NE has no result when it was not
// reached, or when the request ended meanwhile. The result is that of the handler: VELA_ERR_GENERAL when no
// share of the piece is this process's.
unsigned long ServePiece(VelaGnlTask* task, const SNACC::AsnNEPieceReq& request, const Network& network);

}  // namespace velad
