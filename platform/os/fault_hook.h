#pragma once
#include "platform/os/os_faults.h"

namespace vela {

// What the injected hook wants for this call; no fault when none is set.
OsFault AskFaultHook(OsCall call, const char* path);

}  // namespace vela
