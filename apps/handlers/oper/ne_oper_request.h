#pragma once
#include "apps/handlers/oper/ne_oper_run.h"

class VelaGnlTask;
namespace SNACC {
class AsnNEOperReq;
}

namespace velad {

// Serves one request to work on NEs, in the thread of its task: locks them, works on them, gives them back
// and answers with what went wrong. The result is that of the handler.
unsigned long ServeNEOper(VelaGnlTask* task, const SNACC::AsnNEOperReq& request, NEOper oper);

}  // namespace velad
