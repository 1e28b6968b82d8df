#pragma once
#include <chrono>
#include <functional>
#include <set>

#include "apps/handlers/nemgr/ne_access.h"
#include "apps/handlers/network.h"

namespace velad {

// An imagined NE: what it has follows from its identifier, what is wrong with it from the planned faults. It
// takes the network's times. That it has no alarms since a reset is kept in a file below var/simulation/, for
// all processes of the root.
class SimulatedNE : public NEAccess {
 public:
  using Pause = std::function<void(std::chrono::microseconds)>;

  // All but `pause` must outlive the NE. `pause` waits for an answer of the NE; it may come back early when
  // nobody is interested any more.
  SimulatedNE(const Network& network, const NetworkNE& ne, const NEFaults& faults, Pause pause);

  std::uint32_t Connect() override;
  std::uint32_t Disconnect() override;
  std::string SoftwareVersion() override;
  std::vector<NEBoard> Boards() override;
  std::vector<NEPort> Ports(const NEBoard& board) override;
  std::vector<NEAlarm> Alarms() override;
  std::string Configuration(const NEBoard& board) override;
  std::vector<NEError> AskBoard(const NEBoard& board) override;
  std::uint32_t Reset() override;

 private:
  std::string ResetFile() const;

  const Network& m_network;
  const NetworkNE& m_ne;
  const NEFaults& m_faults;
  const Pause m_pause;
  std::set<std::uint32_t> m_asked;  // slots: a fault that comes once is gone when they are asked again
};

}  // namespace velad
