#pragma once
#include <string>

namespace NSTE_util {
class TEMitLockErrMgr;
class TEMutexOperNEGuard;
class TEOperErrorLogIF;
}  // namespace NSTE_util

namespace velad {

// The answer of a refused request: the refusal code as that of the whole, and one error with it whose text
// says who is in the way, for the NE that both want. The result is that text.
std::string AddRefusal(NSTE_util::TEOperErrorLogIF& errors, const NSTE_util::TEMutexOperNEGuard& locks);

// Keeps that text for a later step of the same thread, the one that builds the answer, while
// bEnableMitLockErrMgr is switched on.
class KeptRefusal {
 public:
  explicit KeptRefusal(const std::string& text);
  ~KeptRefusal();
  KeptRefusal(const KeptRefusal&) = delete;
  KeptRefusal& operator=(const KeptRefusal&) = delete;

  // `text` is untouched when nothing is kept.
  void Find(std::string& text) const;

 private:
  NSTE_util::TEMitLockErrMgr* const m_mgr;
  const int m_thread;
};

}  // namespace velad
