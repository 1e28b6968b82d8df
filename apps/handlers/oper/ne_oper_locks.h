#pragma once
#include <string>

namespace NSTE_util {
class TEMutexOperNEGuard;
class TEOperErrorLogIF;
}  // namespace NSTE_util

namespace velad {

// The answer of a refused request: the refusal code as that of the whole, and one error with it whose text
// says who is in the way, for the NE that both want.
void AddRefusal(NSTE_util::TEOperErrorLogIF& errors, const NSTE_util::TEMutexOperNEGuard& locks);

}  // namespace velad
