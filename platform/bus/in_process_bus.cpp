#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "platform/bus/bus.h"
#include "platform/bus/bus_routing.h"
#include "platform/os/mutex.h"

namespace vela {
namespace {

// What waits for one receiver.
class Inbox {
 public:
  explicit Inbox(std::uint32_t limit) : m_limit(limit) {}

  std::uint64_t Life() const { return m_life; }

  BusResult Post(const VelaCmdMSG& frame) {
    {
      const MutexLock lock(m_mutex);
      if (m_closed) return BusResult::noReceiver;
      if (m_frames.size() >= m_limit) return BusResult::full;
      VelaMsgPtr copy = VelaMsgFromBytes(&frame, VelaFrameSize(frame));
      if (!copy) return BusResult::failed;
      m_frames.push_back(std::move(copy));
    }
    m_arrived.NotifyOne();
    return BusResult::ok;
  }

  // Null when the inbox was closed.
  VelaMsgPtr Wait() {
    const MutexLock lock(m_mutex);
    while (m_frames.empty() && !m_closed) m_arrived.Wait(m_mutex);
    if (m_closed) return nullptr;
    VelaMsgPtr frame = std::move(m_frames.front());
    m_frames.pop_front();
    return frame;
  }

  void Close() {
    {
      const MutexLock lock(m_mutex);
      m_closed = true;
      m_frames.clear();
    }
    m_arrived.NotifyAll();
  }

 private:
  static inline std::atomic<std::uint64_t> s_lastLife{0};

  const std::uint32_t m_limit;
  const std::uint64_t m_life = ++s_lastLife;
  Mutex m_mutex;
  CondVar m_arrived;
  std::deque<VelaMsgPtr> m_frames VELA_GUARDED_BY(m_mutex);
  bool m_closed VELA_GUARDED_BY(m_mutex) = false;
};

// The buses that see each other.
class Hub {
 public:
  // The hub of that name; lives as long as somebody holds it.
  static std::shared_ptr<Hub> Get(const std::string& name) {
    static Mutex mutex;
    static std::map<std::string, std::weak_ptr<Hub>> hubs;
    const MutexLock lock(mutex);
    std::weak_ptr<Hub>& entry = hubs[name];
    std::shared_ptr<Hub> hub = entry.lock();
    if (!hub) entry = hub = std::make_shared<Hub>();
    return hub;
  }

  bool Add(CProcID address, const std::shared_ptr<Inbox>& inbox) {
    const MutexLock lock(m_mutex);
    return m_inboxes.emplace(address, inbox).second;
  }
  void Remove(CProcID address) {
    const MutexLock lock(m_mutex);
    m_inboxes.erase(address);
  }
  std::shared_ptr<Inbox> Find(CProcID address) {
    const MutexLock lock(m_mutex);
    const auto found = m_inboxes.find(address);
    return found == m_inboxes.end() ? nullptr : found->second;
  }
  Instances All() {
    const MutexLock lock(m_mutex);
    Instances all;
    for (const auto& [address, inbox] : m_inboxes) all.push_back(address);
    return all;
  }

 private:
  Mutex m_mutex;
  std::map<CProcID, std::shared_ptr<Inbox>> m_inboxes VELA_GUARDED_BY(m_mutex);
};

class InProcessBus final : public Bus {
 public:
  explicit InProcessBus(const BusOptions& options) : m_options(options), m_hub(Hub::Get(options.folder)) {}
  ~InProcessBus() override { InProcessBus::Close(); }

  BusResult Open(CProcID self, Receiver receiver) override {
    if (m_thread.joinable() || !IsInstanceAddress(self)) return BusResult::failed;
    auto inbox = std::make_shared<Inbox>(m_options.queueFrames);
    if (!m_hub->Add(self, inbox)) return BusResult::taken;
    m_self = self;
    m_inbox = inbox;
    m_thread = std::thread([this, inbox, receiver = std::move(receiver)] {
      while (VelaMsgPtr frame = inbox->Wait()) {
        m_counters.CountReceived();
        receiver(std::move(frame));
      }
    });
    m_open.store(true);
    return BusResult::ok;
  }

  BusResult Send(const VelaCmdMSG& frame) override {
    if (!m_open.load()) return BusResult::closed;
    const BusResult check = CheckFrame(frame, m_options.maxFrameBytes);
    if (check != BusResult::ok) return check;
    const auto instancesOf = [this](std::uint16_t number) {
      auto instances = std::make_unique<Instances>(m_hub->All());
      std::erase_if(*instances, [number](CProcID address) { return address.Number() != number; });
      return instances;
    };
    return m_router.Route(Destination(frame), instancesOf, [&](CProcID address) {
      const auto inbox = m_hub->Find(address);
      return inbox ? inbox->Post(frame) : BusResult::noReceiver;
    });
  }

  void Close() override {
    if (!m_thread.joinable()) return;
    m_open.store(false);
    m_hub->Remove(m_self);
    m_inbox->Close();
    m_thread.join();
  }

  bool IsAlive(CProcID address) const override {
    for (const CProcID live : LiveProcesses())
      if (IsMeantFor(address, live)) return true;
    return false;
  }
  std::uint64_t LifeOf(CProcID address) const override {
    if (!IsInstanceAddress(address)) return Bus::LifeOf(address);
    const auto inbox = m_open.load() ? m_hub->Find(address) : nullptr;
    return inbox ? inbox->Life() : 0;
  }
  std::vector<CProcID> LiveProcesses() const override { return m_open.load() ? m_hub->All() : Instances(); }
  BusStats Stats() const override { return m_counters.Read(); }

 private:
  const BusOptions m_options;
  const std::shared_ptr<Hub> m_hub;
  BusCounters m_counters;
  BusRouter m_router{m_counters};
  std::atomic<bool> m_open{false};
  CProcID m_self;
  std::shared_ptr<Inbox> m_inbox;
  std::thread m_thread;
};

}  // namespace

std::unique_ptr<Bus> MakeInProcessBus(const BusOptions& options) {
  return std::make_unique<InProcessBus>(options);
}

}  // namespace vela
