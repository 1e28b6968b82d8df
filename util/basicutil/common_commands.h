#pragma once
#include <memory>
#include <vector>

#include "util/basicutil/common.h"

namespace NSTE_util {

// The commands that every process has.
std::vector<std::unique_ptr<TEDebugCommand>> MakeBuiltInCommands();

}  // namespace NSTE_util
