#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

#include "apps/handlers/audit/audit_rules.h"
#include "apps/handlers/request_watch.h"

namespace velad {

// The work on one piece of a spread mission, in the context of its request. It is an operation with another
// one inside, which report how far they are without knowing the mission: what the whole has reached goes to
// the process that sent the request.
class SpreadWork {
 public:
  // All must outlive the work. The watch's context has the sub-mission's number as its mission.
  SpreadWork(RequestWatch& watch, long subMission, const std::vector<NERecord>& records, const NETypes& types,
             unsigned pauseMicroseconds);

  void Run();
  // Waits, unless it is told to end.
  void Rest(unsigned microseconds);

  const std::vector<Finding>& Findings() const { return m_findings; }
  std::size_t Checked() const { return m_checked; }
  RequestEnd End() const { return m_end; }  // none: it ran to its end

 private:
  bool GoesOn();
  void CheckForms();
  void CheckTypes();

  RequestWatch& m_watch;
  const long m_subMission;
  const std::vector<NERecord>& m_records;
  const NETypes& m_types;
  const unsigned m_pause;
  std::vector<Finding> m_findings;
  std::size_t m_checked = 0;
  RequestEnd m_end = RequestEnd::none;
};

}  // namespace velad
