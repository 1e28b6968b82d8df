#include "apps/handlers/topology/topology.h"

#include <set>

#include "apps/common/asn_values.h"
#include "apps/handlers/audit/audit_rules.h"
#include "asn1/nms.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/log/log_process.h"
#include "platform/task/vela_error.h"

namespace velad {
namespace {

using apps::SetText;
using apps::Unsigned;

constexpr std::size_t kElementsEach = 9;  // an NE in the answer
constexpr std::size_t kBytesEach = 64;    // beside its texts
constexpr std::size_t kUnknownBytes = 6;
constexpr std::size_t kAround = 16;  // both, of what is around the lists

std::uint32_t TooMany(std::size_t nes, const vela::AsnLimits& limits) {
  LogProcess::Error("topology: " + std::to_string(nes) + " NEs do not fit one answer: ask for at most " +
                    std::to_string((limits.maxElements - kAround) / kElementsEach) +
                    " at a time, or raise AsnMaxElements and AsnMaxBytes in etc/conf/vela.cfg and start all "
                    "processes again");
  return VELA_ERR_TOO_LARGE;
}

}  // namespace

std::vector<const NetworkNE*> Topology::Wanted(const AsnTopoNEReq& request,
                                               std::vector<std::uint32_t>& unknown) const {
  std::vector<const NetworkNE*> wanted;
  if (request.nes.empty()) {
    for (const NetworkNE& ne : m_network.All()) wanted.push_back(&ne);
    return wanted;
  }
  std::set<std::uint32_t> seen;
  for (const AsnInt& id : request.nes) {
    if (!seen.insert(Unsigned(id)).second) continue;
    if (const NetworkNE* ne = m_network.Find(Unsigned(id)))
      wanted.push_back(ne);
    else
      unknown.push_back(Unsigned(id));
  }
  return wanted;
}

std::uint32_t Topology::Find(const AsnTopoNEReq& request, AsnTopoNERsp& response) const {
  std::vector<std::uint32_t> unknown;
  const std::vector<const NetworkNE*> wanted = Wanted(request, unknown);
  const vela::AsnLimits& limits = vela::ConfiguredAsnLimits();
  if (kAround + unknown.size() + kElementsEach * wanted.size() > limits.maxElements)
    return TooMany(wanted.size(), limits);
  std::size_t bytes = kAround + kUnknownBytes * unknown.size();
  const vela::MutexLock lock(m_mutex);
  for (const NetworkNE* ne : wanted) {
    const auto found = m_states.find(ne->ne);
    const State state = found == m_states.end() ? State() : found->second;
    bytes += kBytesEach + ne->name.size() + ne->type.size() + state.version.size();
    if (bytes > limits.maxBytes) return TooMany(wanted.size(), limits);
    AsnTopoNE& one = *response.nes.append();
    one.ne = static_cast<AsnIntType>(ne->ne);
    SetText(one.name, ne->name);
    SetText(one.type, ne->type);
    one.manager = ne->manager;
    SetText(one.version, state.version);
    one.alarms = state.alarms;
    one.lastCode = static_cast<AsnIntType>(state.lastCode);
    one.lastTime = state.lastTime;
  }
  for (const std::uint32_t ne : unknown) *response.unknown.append() = static_cast<AsnIntType>(ne);
  return 0;
}

void Topology::Apply(AsnNEChanges& changes) {
  const vela::MutexLock lock(m_mutex);
  for (auto it = changes.results.begin(); it != changes.results.end();) {
    const std::uint32_t ne = Unsigned(it->ne);
    if (m_network.Find(ne) == nullptr) {
      it = changes.results.erase(it);
      continue;
    }
    State& state = m_states[ne];
    state.lastCode = Unsigned(it->errorCode);
    state.lastTime = static_cast<AsnIntType>(changes.time);
    if (it->version.Len() != 0) {
      state.version = Shown(it->version.data());
      state.alarms = static_cast<AsnIntType>(it->alarms);
    }
    SetText(it->file, "");
    ++it;
  }
}

}  // namespace velad
