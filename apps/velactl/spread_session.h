#pragma once
#include <memory>
#include <string>

#include "asn1/spread.h"
#include "platform/message/proc_id.h"

namespace velactl {

// One spread mission: the request is answered when the owner has begun; until its result comes, a
// MissionWatch shows the progress and serves the signals. The result, or null with `error`. HoldSignals was
// called before. `quiet`: progress only on a terminal.
std::unique_ptr<AsnSpreadEnd> AwaitSpread(const AsnSpreadReq& request, CProcID owner, bool quiet,
                                          std::string& error);

}  // namespace velactl
