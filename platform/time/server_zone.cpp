#include "platform/time/server_zone.h"

#include <atomic>
#include <memory>

#include "platform/config/vela_config.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/time/zone_rules_internal.h"

namespace vela {
namespace {

std::atomic<const ZoneRules*> g_zone{nullptr};
std::atomic<const std::string*> g_problem{nullptr};  // to be reported once

struct Choice {
  const ZoneRules* zone;
  std::string problem;
};

Choice HostZone(std::string problem) {
  if (const ZoneRules* host = ZoneRules::OfHost()) return {host, std::move(problem)};
  return {ZoneRules::Find("UTC"), problem + "time zone: the zone of the host is unknown, UTC is used"};
}

Choice ConfiguredZone() {
  const std::string root = InstallRoot();
  std::string name;
  if (!root.empty()) VelaGetRegString((root + "etc/conf/vela.cfg").c_str(), "TimeZone", name);
  if (name.empty()) return HostZone({});
  if (const ZoneRules* zone = ZoneRules::Find(name)) return {zone, {}};
  return HostZone("time zone: \"" + name +
                  "\" (TimeZone in etc/conf/vela.cfg) is unknown, the host's zone is used. ");
}

}  // namespace

const ZoneRules& ServerZoneUnreported() {
  const ZoneRules* zone = g_zone.load(std::memory_order_acquire);
  if (zone != nullptr) [[likely]]
    return *zone;
  Choice choice = ConfiguredZone();
  if (!g_zone.compare_exchange_strong(zone, choice.zone, std::memory_order_acq_rel)) return *zone;
  if (!choice.problem.empty()) delete g_problem.exchange(new std::string(std::move(choice.problem)));
  return *choice.zone;
}

const ZoneRules& ServerZone() {
  const ZoneRules& zone = ServerZoneUnreported();
  if (g_problem.load(std::memory_order_relaxed) != nullptr) [[unlikely]] {
    const std::unique_ptr<const std::string> problem(g_problem.exchange(nullptr));
    if (problem) LogProcess::Error(*problem);
  }
  return zone;
}

std::string ServerZoneName() {
  return ServerZone().Name();
}

bool SetServerZone(const std::string& name) {
  const ZoneRules* const zone = name.empty() ? nullptr : ZoneRules::Find(name);
  if (zone == nullptr && !name.empty()) return false;
  g_zone.store(zone, std::memory_order_release);
  return true;
}

}  // namespace vela
