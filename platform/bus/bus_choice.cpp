#include "platform/bus/bus.h"
#include "platform/bus/nats_bus_settings.h"
#include "platform/config/vela_config.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"

namespace vela {
namespace {

class UnknownBus final : public Bus {
 public:
  explicit UnknownBus(std::string reason) : m_reason(std::move(reason)) {}
  BusResult Open(CProcID, Receiver) override {
    LogProcess::Error(m_reason);
    return BusResult::failed;
  }
  BusResult Send(const VelaCmdMSG&) override { return BusResult::closed; }
  void Close() override {}
  bool IsAlive(CProcID) const override { return false; }
  std::vector<CProcID> LiveProcesses() const override { return {}; }
  BusStats Stats() const override { return {}; }

 private:
  const std::string m_reason;
};

}  // namespace

std::unique_ptr<Bus> MakeBus(const BusOptions& options) {
  const std::string file = BusConfigFile();
  std::string kind = "local";
  if (!file.empty()) VelaGetRegString(file.c_str(), "Bus", kind);
  if (kind == "local") return MakeLocalBus(options);
  if (kind == "nats") return MakeNatsBus(options);
  return std::make_unique<UnknownBus>(file + ": Bus: \"" + EscapeControls(kind) +
                                      R"(" is neither "local" nor "nats")");
}

}  // namespace vela
