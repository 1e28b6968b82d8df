#pragma once

namespace SNACC {
class AsnStatusRsp;
}

namespace velad {

// Fills in what this process knows about itself; see apps/asn1/nms.asn1. The request that asks for it does
// not count as running. Missions: those spread over processes, then those that hold locks. Any thread.
void FillStatus(SNACC::AsnStatusRsp& status);

}  // namespace velad
