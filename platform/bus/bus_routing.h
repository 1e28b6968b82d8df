#pragma once
#include <atomic>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/bus/bus.h"
#include "platform/os/mutex.h"

// What all buses share: the meaning of an address, the turn among instances, and the statistics. Internal.
namespace vela {

// Whether a process can live there: "any instance" is no place to live at.
constexpr bool IsInstanceAddress(CProcID address) {
  return !address.IsAnyInstance();
}

constexpr bool IsBroadcast(CProcID dst) {
  return dst.IsAnyInstance() && dst.Number() == VELA_CLIENT_GROUP;
}

inline CProcID Destination(const VelaCmdMSG& frame) {
  return {frame.dstProcId, frame.dstHandle};
}

// Whether a frame for `dst` is meant for the process at `self`.
constexpr bool IsMeantFor(CProcID dst, CProcID self) {
  return dst == self || (dst.IsAnyInstance() && dst.Number() == self.Number());
}

std::string HostName();

// ok, tooLarge, or failed for a header that no receiver would accept.
BusResult CheckFrame(const VelaCmdMSG& frame, std::uint32_t maxFrameBytes);

class BusCounters {
 public:
  void CountSend(BusResult result);
  void CountReceived() { m_received.fetch_add(1, std::memory_order_relaxed); }
  // The count with this one.
  std::uint64_t CountMalformed() { return m_malformed.fetch_add(1, std::memory_order_relaxed) + 1; }
  void CountForged() { m_forged.fetch_add(1, std::memory_order_relaxed); }
  void CountDisconnect() { m_disconnects.fetch_add(1, std::memory_order_relaxed); }
  void CountResent() { m_resent.fetch_add(1, std::memory_order_relaxed); }
  void CountRepeated() { m_repeated.fetch_add(1, std::memory_order_relaxed); }
  BusStats Read() const;

 private:
  std::atomic<std::uint64_t> m_sent{0};
  std::atomic<std::uint64_t> m_received{0};
  std::atomic<std::uint64_t> m_refusedFull{0};
  std::atomic<std::uint64_t> m_refusedNoReceiver{0};
  std::atomic<std::uint64_t> m_malformed{0};
  std::atomic<std::uint64_t> m_forged{0};
  std::atomic<std::uint64_t> m_disconnects{0};
  std::atomic<std::uint64_t> m_resent{0};
  std::atomic<std::uint64_t> m_repeated{0};
};

using Instances = std::vector<CProcID>;  // of one number, ascending

// Brings a frame to the processes that its destination names. Thread-safe.
class BusRouter {
 public:
  explicit BusRouter(BusCounters& counters) : m_counters(counters) {}

  // `instancesOf(number)` gives a pointer to Instances, which may include processes that have just died;
  // `deliver(address)` hands one copy to one process.
  template <class InstancesOf, class Deliver>
  BusResult Route(CProcID dst, const InstancesOf& instancesOf, const Deliver& deliver) {
    if (IsInstanceAddress(dst)) return Counted(deliver(dst));
    const auto instances = instancesOf(dst.Number());
    if (IsBroadcast(dst)) return ToAll(*instances, deliver);
    return Counted(ToOneOf(*instances, deliver));
  }

 private:
  // An instance that is gone or full passes its turn on.
  template <class Deliver>
  BusResult ToOneOf(const Instances& instances, const Deliver& deliver) {
    if (instances.empty()) return BusResult::noReceiver;
    BusResult refusal = BusResult::noReceiver;
    const std::size_t first = TakeTurn(instances);
    for (std::size_t i = 0; i < instances.size(); ++i) {
      const BusResult result = deliver(instances[(first + i) % instances.size()]);
      if (result == BusResult::ok || result == BusResult::closed) return result;
      if (refusal == BusResult::noReceiver) refusal = result;
    }
    return refusal;
  }

  // ok when one member took it or nobody is there: a sender that repeated a partly delivered frame would give
  // the other members two. Every refusal is counted.
  template <class Deliver>
  BusResult ToAll(const Instances& instances, const Deliver& deliver) {
    BusResult refusal = BusResult::ok;
    bool taken = false;
    for (const CProcID member : instances) {
      const BusResult result = deliver(member);
      if (result == BusResult::noReceiver) continue;
      m_counters.CountSend(result);
      if (result == BusResult::ok) taken = true;
      if (result != BusResult::ok) refusal = result;
    }
    return taken ? BusResult::ok : refusal;
  }

  BusResult Counted(BusResult result) {
    m_counters.CountSend(result);
    return result;
  }

  // The index of the instance behind the one that was served last. Remembers the handle, so that the turn
  // survives a change of the list.
  std::size_t TakeTurn(const Instances& instances);

  BusCounters& m_counters;
  Mutex m_mutex;
  std::unordered_map<std::uint16_t, std::uint16_t> m_lastHandle VELA_GUARDED_BY(m_mutex);
};

}  // namespace vela
