#include <bit>
#include <memory>
#include <string>
#include <utility>

#include "platform/bus/bus.h"
#include "platform/bus/bus_routing.h"
#include "platform/bus/nats_bus_session.h"
#include "platform/bus/nats_bus_settings.h"
#include "platform/log/log_process.h"
#include "platform/os/mutex.h"

namespace vela {
namespace {

class NatsBus final : public Bus {
 public:
  explicit NatsBus(const BusOptions& options) : m_options(options) {}
  ~NatsBus() override { NatsBus::Close(); }

  BusResult Open(CProcID self, Receiver receiver) override {
    std::string error;
    const BusResult result = OpenAt(self, std::move(receiver), error);
    if (result == BusResult::failed) LogProcess::Error("bus on NATS: cannot open: " + error);
    return result;
  }

  BusResult Send(const VelaCmdMSG& frame) override {
    const std::shared_ptr<NatsSession> session = Session();
    if (!session) return BusResult::closed;
    const BusResult check = Check(frame, session->MaxFrameBytes());
    if (check != BusResult::ok) return check;
    return m_router.Route(
        Destination(frame), [&](std::uint16_t number) { return session->InstancesOf(number); },
        [&](CProcID address) { return session->Deliver(address, frame); });
  }

  void Close() override {
    std::shared_ptr<NatsSession> session;
    {
      const MutexLock lock(m_mutex);
      session.swap(m_session);
    }
    if (session) session->Leave();
  }

  bool IsAlive(CProcID address) const override {
    const std::shared_ptr<NatsSession> session = Session();
    return session && session->IsAlive(address);
  }
  std::uint64_t LifeOf(CProcID address) const override {
    if (!IsInstanceAddress(address)) return Bus::LifeOf(address);
    const std::shared_ptr<NatsSession> session = Session();
    return session ? session->LifeOf(address) : 0;
  }
  std::vector<CProcID> LiveProcesses() const override {
    Instances live;
    for (const BusMemberInfo& member : Members()) live.push_back(member.address);
    return live;
  }
  std::vector<BusMemberInfo> Members() const override {
    const std::shared_ptr<NatsSession> session = Session();
    return session ? session->Members() : std::vector<BusMemberInfo>();
  }
  BusStats Stats() const override {
    BusStats stats = m_counters.Read();
    const std::shared_ptr<NatsSession> session = Session();
    stats.betweenHosts = true;
    stats.connected = false;
    if (session) session->FillStats(stats);
    return stats;
  }

 private:
  BusResult OpenAt(CProcID self, Receiver receiver, std::string& error) {
    if (Session() || !IsInstanceAddress(self)) {
      error = Session() ? "the bus is open" : "the address means any instance";
      return BusResult::failed;
    }
    const std::string file = BusConfigFile();
    NatsSettings settings;
    if (file.empty()) error = "VELA_ROOT is not set";
    if (file.empty() || !LoadNatsSettings(file, self, settings, error)) return BusResult::failed;
    const auto session = std::make_shared<NatsSession>(m_options, settings, m_counters, self);
    m_self = self;
    const BusResult joined = session->Join(std::move(receiver), error);
    if (joined != BusResult::ok) {
      session->Leave();
      return joined;
    }
    const MutexLock lock(m_mutex);
    m_session = session;
    return BusResult::ok;
  }

  // Null unless the bus is open.
  std::shared_ptr<NatsSession> Session() const {
    const MutexLock lock(m_mutex);
    return m_session;
  }

  BusResult Check(const VelaCmdMSG& frame, std::size_t maxBytes) {
    const BusResult check = CheckFrame(frame, static_cast<std::uint32_t>(maxBytes));
    if (check == BusResult::failed) LogProcess::Error("bus on NATS: a frame with a bad header was not sent");
    if (check == BusResult::tooLarge && std::has_single_bit(++m_tooLarge))
      LogProcess::Error("bus on NATS: a frame of " + std::to_string(VelaFrameSize(frame)) +
                        " bytes was not sent: the engine or the bus takes " + std::to_string(maxBytes));
    if (check != BusResult::ok) return check;
    if (CProcID(frame.srcProcId, frame.srcHandle) == m_self) return check;
    LogProcess::Error("bus on NATS: a frame with the address of another process as its source was not sent");
    return BusResult::failed;
  }

  const BusOptions m_options;
  BusCounters m_counters;
  BusRouter m_router{m_counters};
  CProcID m_self;
  std::atomic<std::uint64_t> m_tooLarge{0};
  mutable Mutex m_mutex;
  std::shared_ptr<NatsSession> m_session VELA_GUARDED_BY(m_mutex);
};

}  // namespace

std::unique_ptr<Bus> MakeNatsBus(const BusOptions& options) {
  return std::make_unique<NatsBus>(options);
}

}  // namespace vela
