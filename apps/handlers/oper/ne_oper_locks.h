#pragma once
#include <string>

namespace NSTE_util {
class TEMutexOperNEGuard;
class TEOperErrorLogIF;
}  // namespace NSTE_util

namespace velad {

// Reads which operations exclude each other; before the first request. False with `error`, one line that
// names the file; which of its lines are wrong is in the log.
bool LoadOperLocks(const std::string& file, std::string& error);

// The answer of a refused request: the refusal code as that of the whole, and one error with it whose text
// says who is in the way, for the NE that both want.
void AddRefusal(NSTE_util::TEOperErrorLogIF& errors, const NSTE_util::TEMutexOperNEGuard& locks);

}  // namespace velad
