#include "platform/bus/bus_routing.h"

#include <unistd.h>

#include <algorithm>

namespace vela {

Bus::~Bus() = default;

std::uint64_t Bus::LifeOf(CProcID address) const {
  return IsAlive(address) ? 1 : 0;
}

std::vector<BusMemberInfo> Bus::Members() const {
  std::vector<BusMemberInfo> members;
  for (const CProcID address : LiveProcesses())
    members.push_back({address, LifeOf(address), HostName(), false});
  return members;
}

std::string HostName() {
  char name[256] = "";
  return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

BusResult CheckFrame(const VelaCmdMSG& frame, std::uint32_t maxFrameBytes) {
  if (frame.format != VELA_MSG_FORMAT || frame.length < 2) return BusResult::failed;
  return VelaFrameSize(frame) > maxFrameBytes ? BusResult::tooLarge : BusResult::ok;
}

void BusCounters::CountSend(BusResult result) {
  switch (result) {
    case BusResult::ok:
      m_sent.fetch_add(1, std::memory_order_relaxed);
      return;
    case BusResult::full:
      m_refusedFull.fetch_add(1, std::memory_order_relaxed);
      return;
    case BusResult::noReceiver:
      m_refusedNoReceiver.fetch_add(1, std::memory_order_relaxed);
      return;
    default:
      return;
  }
}

BusStats BusCounters::Read() const {
  BusStats stats;
  stats.sent = m_sent.load(std::memory_order_relaxed);
  stats.received = m_received.load(std::memory_order_relaxed);
  stats.refusedFull = m_refusedFull.load(std::memory_order_relaxed);
  stats.refusedNoReceiver = m_refusedNoReceiver.load(std::memory_order_relaxed);
  stats.malformed = m_malformed.load(std::memory_order_relaxed);
  stats.forged = m_forged.load(std::memory_order_relaxed);
  stats.disconnects = m_disconnects.load(std::memory_order_relaxed);
  stats.resent = m_resent.load(std::memory_order_relaxed);
  stats.repeated = m_repeated.load(std::memory_order_relaxed);
  return stats;
}

std::size_t BusRouter::TakeTurn(const Instances& instances) {
  const MutexLock lock(m_mutex);
  std::uint16_t& last = m_lastHandle[instances.front().Number()];
  const auto behind = std::find_if(instances.begin(), instances.end(),
                                   [&](CProcID instance) { return instance.Handle() > last; });
  const auto next = behind == instances.end() ? instances.begin() : behind;
  last = next->Handle();
  return static_cast<std::size_t>(next - instances.begin());
}

}  // namespace vela
