#pragma once
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "apps/handlers/oper/ne_faults.h"
#include "apps/handlers/request_watch.h"

namespace NSTE_util {
class TEOperErrorLogIF;
class TETaskContext;
}  // namespace NSTE_util

namespace velad {

enum class NEOper { configure, inspect };

// One operation on NEs, board by board, in the context and the error frame of its request, which holds the
// locks. Reports progress; ends early when the mission is cancelled or timed out or its client has died.
//
// What is wrong with a board is added in a transaction of its own, and that in one of its NE: a board that
// does well when it is asked again leaves nothing, nor do the boards of an NE that is lost. The frame's code
// becomes NE_OPER_ERR_FAILED when an error stayed, or why the operation ended early.
class NEOperRun {
 public:
  // All must outlive the run. `nes` is not empty; `seconds`: how long it takes at least.
  NEOperRun(NSTE_util::TETaskContext& context, NSTE_util::TEOperErrorLogIF& errors, NEOper oper,
            const std::vector<unsigned long>& nes, const NEFaults& faults, std::int64_t seconds);

  void Run();

 private:
  void WorkOn(std::uint32_t ne);
  bool WorkOnBoard(std::uint32_t ne, std::uint32_t slot);  // false when it has errors
  bool Ask(std::uint32_t ne, std::uint32_t slot, bool again);
  void AddErr(const NEPlace& place, const NEFault& fault);
  bool Ended();
  void Report(std::uint32_t ne);  // when the percentage has changed
  void BoardDone();
  std::int64_t Boards() const;
  void EndEarly();

  NSTE_util::TETaskContext& m_context;
  NSTE_util::TEOperErrorLogIF& m_errors;
  const NEOper m_oper;
  const std::vector<unsigned long>& m_nes;
  const NEFaults& m_faults;
  const std::chrono::milliseconds m_duration;
  const std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();
  RequestWatch m_watch;
  RequestEnd m_end = RequestEnd::none;
  std::size_t m_nesDone = 0;
  std::size_t m_boardsDone = 0;
  int m_percent = -1;  // last reported
  bool m_failed = false;
};

}  // namespace velad
