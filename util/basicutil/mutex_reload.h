#pragma once
#include <string>

#include "util/basicutil/export.h"

namespace NSTE_util {

// Puts what a mutex file says (mutex.h, LoadMutexFile) in place of all that was known. Operations that run
// keep their objects; from then on the new rules decide who may start beside them. All or nothing: false, and
// the rules stay as they are, when a line is wrong (`wrongLine` is the first one) or the file cannot be read
// (`wrongLine` is 0). Any thread.
BASIC_UTIL_EXPORT bool ReloadMutexFile(const std::string& path, int& wrongLine);

}  // namespace NSTE_util
