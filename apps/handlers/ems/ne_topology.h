#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "apps/handlers/ems/ne_mission_parts.h"
#include "apps/handlers/ems/ne_records.h"

class VelaGnlTask;

// What the server says to the topology and the session service, and asks them. For the thread of a request.
namespace velad {

struct NETopology {
  std::vector<ManagedNE> known;        // ascending
  std::vector<std::uint32_t> unknown;  // of those that were asked for
};

// Which managers look after the NEs, given in ascending order (none: all NEs there are); waits at most
// `seconds`. 0, or the platform's code.
std::uint32_t AskTopology(VelaGnlTask* task, const std::vector<unsigned long>& nes, int seconds,
                          NETopology& topology);

// Tells it what was found, in as many messages as are needed.
void TellTopology(VelaGnlTask* task, const NEOrder& order, const std::vector<NEResult>& results);

// Tells the session service that the mission begins, and at the end of the scope that it has ended.
class NESession {
 public:
  NESession(VelaGnlTask* task, const NEOrder& order, std::size_t nes);
  ~NESession();
  NESession(const NESession&) = delete;
  NESession& operator=(const NESession&) = delete;

  void SetCode(std::uint32_t code) { m_code = code; }

 private:
  void Tell(bool ended) const;

  VelaGnlTask* const m_task;
  const NEOrder& m_order;
  const std::size_t m_nes;
  std::uint32_t m_code;
};

}  // namespace velad
