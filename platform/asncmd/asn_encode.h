#pragma once
#include <cstdint>

#include "platform/asncmd/asn_buffers.h"
#include "platform/asncmd/asn_fwd.h"

namespace vela {
// Encodes into `out`. 0, VELA_ERR_GENERAL or VELA_ERR_MEMORY; never throws. Internal.
std::uint32_t EncodeTo(const AsnType& msg, AsnWriteBuf& out);
}  // namespace vela
