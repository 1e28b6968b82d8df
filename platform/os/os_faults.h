#pragma once
#include <functional>

#include "platform/export.h"

// Failure injection at the seam. Not for production: the test kit wraps it in scope guards.
namespace vela {

// What can fail.
enum class OsCall { open, close, read, write, opendir, readdir, stat, unlink, rename, mkdir, allocate };

// What the seam does instead of the call: 0 = the real call; an errno value = fail with it. For read and
// write, `limit` (when not negative) shortens the transfer to that many bytes, with or without an error. A
// failing close still closes.
struct OsFault {
  int error = 0;
  long limit = -1;
};

// `hook` is asked before every call, from any thread; an empty function restores normal service. `path` is
// null for calls without a name.
VELA_EXPORT void SetOsFaultHook(std::function<OsFault(OsCall, const char* path)> hook);

// Asked by code that allocates large blocks on behalf of a caller: true = behave as if memory were exhausted.
VELA_EXPORT bool AllocationFails();

}  // namespace vela
