#include "apps/handlers/topology/topology.h"

#include <set>

#include "asn1/nms.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/log/log_process.h"
#include "platform/task/vela_error.h"

namespace velad {
namespace {

constexpr std::size_t kElementsEach = 9;  // an NE in the answer
constexpr std::size_t kBytesEach = 64;    // beside its texts
constexpr std::size_t kAround = 16;       // both, of what is around the lists

std::uint32_t Value(const AsnInt& value) {
  return static_cast<std::uint32_t>(static_cast<AsnIntType>(value));
}

void SetText(AsnOcts& octs, const std::string& text) {
  octs.Set(text.data(), text.size());
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
    if (!seen.insert(Value(id)).second) continue;
    if (const NetworkNE* ne = m_network.Find(Value(id)))
      wanted.push_back(ne);
    else
      unknown.push_back(Value(id));
  }
  return wanted;
}

std::uint32_t Topology::Find(const AsnTopoNEReq& request, AsnTopoNERsp& response) const {
  std::vector<std::uint32_t> unknown;
  const std::vector<const NetworkNE*> wanted = Wanted(request, unknown);
  const vela::AsnLimits& limits = vela::ConfiguredAsnLimits();
  std::size_t bytes = kAround + 6 * unknown.size();
  const std::size_t elements = kAround + unknown.size() + kElementsEach * wanted.size();
  const vela::MutexLock lock(m_mutex);
  for (const NetworkNE* ne : wanted) {
    AsnTopoNE& one = *response.nes.append();
    const auto found = m_states.find(ne->ne);
    const State state = found == m_states.end() ? State() : found->second;
    one.ne = static_cast<AsnIntType>(ne->ne);
    SetText(one.name, ne->name);
    SetText(one.type, ne->type);
    one.manager = ne->manager;
    SetText(one.version, state.version);
    one.alarms = state.alarms;
    one.lastCode = static_cast<AsnIntType>(state.lastCode);
    one.lastTime = state.lastTime;
    bytes += kBytesEach + ne->name.size() + ne->type.size() + state.version.size();
  }
  for (const std::uint32_t ne : unknown) *response.unknown.append() = static_cast<AsnIntType>(ne);
  if (elements <= limits.maxElements && bytes <= limits.maxBytes) return 0;
  LogProcess::Error("topology: " + std::to_string(wanted.size()) +
                    " NEs do not fit one answer: ask for at most " +
                    std::to_string((limits.maxElements - kAround) / kElementsEach) +
                    " at a time, or raise AsnMaxElements and AsnMaxBytes in etc/conf/vela.cfg and start all "
                    "processes again");
  return VELA_ERR_TOO_LARGE;
}

void Topology::Apply(AsnNEChanges& changes) {
  const vela::MutexLock lock(m_mutex);
  for (auto it = changes.results.begin(); it != changes.results.end();) {
    const std::uint32_t ne = Value(it->ne);
    if (m_network.Find(ne) == nullptr) {
      it = changes.results.erase(it);
      continue;
    }
    State& state = m_states[ne];
    state.lastCode = Value(it->errorCode);
    state.lastTime = static_cast<AsnIntType>(changes.time);
    if (it->version.Len() != 0) {
      state.version = it->version.data();
      state.alarms = static_cast<AsnIntType>(it->alarms);
    }
    SetText(it->file, "");
    ++it;
  }
}

}  // namespace velad
