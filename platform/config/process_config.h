#pragma once
#include <string>

#include "platform/export.h"

namespace vela {

// The configuration file that this process runs with, full name, for handlers that have keys of their own in
// it; empty while none is set. Set once, before the first thread starts; then any thread may ask.
VELA_EXPORT const std::string& ProcessConfigFile();
VELA_EXPORT void SetProcessConfigFile(const std::string& file);

}  // namespace vela
