#pragma once
#include <atomic>

namespace NSTE_util {

// Room for one printed ASN.1 message. Set from the configuration when the library is loaded (held within
// 32 .. 10000000, so that the mark of a cut text always fits) and by an operator's command at any time.
extern std::atomic<int> nMaxSizeOfAsnTrace;

// Reads bEnableAsnLog and bEnableAsnTrace from trans_ems.cfg again; a missing key keeps the current value.
void ReloadAsnSwitches();

}  // namespace NSTE_util
