#pragma once
#include "apps/handlers/nemgr/network.h"

class VelaGnlTask;
namespace SNACC {
class AsnNEPieceReq;
}

namespace velad {

// Serves one piece of an upload or a reset, in the thread of its task: works on its NEs one after the other
// and reports to the process that sent it, at last with AsnNEPieceEnd, whatever happens. A piece that cannot
// begin, or that ends because this process does, is reported as a failed sub-mission too. The result is that
// of the handler.
unsigned long ServePiece(VelaGnlTask* task, const SNACC::AsnNEPieceReq& request, const Network& network);

}  // namespace velad
