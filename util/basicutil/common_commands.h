#pragma once
#include <memory>
#include <vector>

#include "util/basicutil/common.h"

namespace NSTE_util {

// The commands that every process has.
std::vector<std::unique_ptr<TEDebugCommand>> MakeBuiltInCommands();

// "listcmd", which InitDebugLog adds to them. Lives as long as the process.
TEDebugCommand& ListCmdCommand();

}  // namespace NSTE_util
