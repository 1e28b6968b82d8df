#include "apps/common/watched_bus.h"

#include <utility>

namespace apps {
namespace {

class WatchedBus : public vela::Bus {
 public:
  WatchedBus(std::unique_ptr<vela::Bus> bus, vela::BusResult& openResult)
      : m_bus(std::move(bus)), m_openResult(openResult) {}

  vela::BusResult Open(CProcID self, Receiver receiver) override {
    return m_openResult = m_bus->Open(self, std::move(receiver));
  }
  vela::BusResult Send(const VelaCmdMSG& frame) override { return m_bus->Send(frame); }
  void Close() override { m_bus->Close(); }
  bool IsAlive(CProcID address) const override { return m_bus->IsAlive(address); }
  std::uint64_t LifeOf(CProcID address) const override { return m_bus->LifeOf(address); }
  std::vector<CProcID> LiveProcesses() const override { return m_bus->LiveProcesses(); }
  std::vector<vela::BusMemberInfo> Members() const override { return m_bus->Members(); }
  vela::BusStats Stats() const override { return m_bus->Stats(); }

 private:
  std::unique_ptr<vela::Bus> m_bus;
  vela::BusResult& m_openResult;
};

}  // namespace

std::unique_ptr<vela::Bus> WatchOpen(std::unique_ptr<vela::Bus> bus, vela::BusResult& openResult) {
  return std::make_unique<WatchedBus>(std::move(bus), openResult);
}

}  // namespace apps
