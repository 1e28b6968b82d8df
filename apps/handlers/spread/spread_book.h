#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "apps/handlers/spread/spread_mission.h"
#include "platform/os/mutex.h"

namespace velad {

// The spread missions that this process owns, by mission id. Thread-safe.
class SpreadBook {
 public:
  static SpreadBook& Instance();

  // Registers a mission for the current task's request and hands its pieces out: 0, or why not. The first one
  // also makes the task that looks after all of them every second.
  std::uint32_t Start(SpreadOrder order, const SpreadConfig& config);
  // The mission of a sub-mission; null when it is not here (any more).
  std::shared_ptr<SpreadMission> Find(std::uint32_t subMission);

  // Whether the client has that mission here.
  bool Has(const NSTE_util::ClientMissionID& client);

  void Tick();
  // The process ends: so do all missions.
  void Abandon();

 private:
  bool Watch();
  std::vector<std::shared_ptr<SpreadMission>> All();

  vela::Mutex m_mutex;
  std::map<std::uint32_t, std::shared_ptr<SpreadMission>> m_missions VELA_GUARDED_BY(m_mutex);
  bool m_watched VELA_GUARDED_BY(m_mutex) = false;
};

}  // namespace velad
