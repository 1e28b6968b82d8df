#pragma once
#include <functional>
#include <string_view>

#include "platform/export.h"

namespace vela {
// Sees every record that passes LogProcess, as handed over, instead of the files. `log` is "" or the name
// given to ForceLog, `level` 0 to 3 (ForceLog: its own). An empty function ends the capture. For tests: use
// testkit::LogCapture.
VELA_EXPORT void SetLogCapture(
    std::function<void(std::string_view log, int level, std::string_view text)> capture);
}  // namespace vela
