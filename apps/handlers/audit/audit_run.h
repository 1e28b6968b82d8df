#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "apps/handlers/audit/audit_rules.h"
#include "apps/handlers/request_watch.h"

namespace NSTE_util {
class TETaskContext;
}

namespace velad {

// One audit of one inventory, in the context of its request: reports progress in spans, appends each finding
// to the context's results, and ends early, with what it has, when the mission is cancelled or
// timed out or its client has died.
class AuditRun {
 public:
  // All must outlive the run. `pauseMicroseconds`: after each record, to slow it down.
  AuditRun(NSTE_util::TETaskContext& context, const std::vector<NERecord>& records, const NETypes& types,
           std::uint32_t pauseMicroseconds);

  void Run();

  const std::vector<Finding>& Findings() const { return m_findings; }  // by record
  std::size_t Checked() const { return m_checked; }                    // records whose own checks were done
  std::uint32_t ErrorCode() const { return m_errorCode; }
  std::string Reason() const;  // empty when it ran to its end

 private:
  class Step;

  bool CheckForms();
  bool CheckTypes();
  bool CompareAll();
  void Report();  // the new findings, to the context
  bool Ended();
  void Pause();

  NSTE_util::TETaskContext& m_context;
  RequestWatch m_watch;
  const std::vector<NERecord>& m_records;
  const NETypes& m_types;
  std::uint32_t m_pause;
  std::vector<Finding> m_findings;
  std::size_t m_reported = 0;
  std::size_t m_checked = 0;
  std::uint32_t m_errorCode = 0;
};

}  // namespace velad
