#pragma once

namespace NSTE_util {

// Reports a failed check at level 0 and returns: an assertion never stops the process. `unit` is the unit's
// name without folder and ending ("mutex"); `expression` is what should have been true.
void ReportAssert(const char* unit, int line, const char* expression);

// Tells whether the check holds and reports it if not:
//   if (!Check(task != nullptr, "taskcontext", "0 != pTask")) return false;
inline bool Check(bool holds, const char* unit, const char* expression, int line = __builtin_LINE()) {
  if (!holds) [[unlikely]]
    ReportAssert(unit, line, expression);
  return holds;
}

}  // namespace NSTE_util
