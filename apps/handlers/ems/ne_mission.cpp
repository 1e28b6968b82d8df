#include "apps/handlers/ems/ne_mission.h"

#include <algorithm>
#include <utility>

#include "apps/asn1/nms_codes.h"
#include "apps/common/asn_values.h"
#include "apps/common/texts.h"
#include "apps/handlers/ems/ne_mission_files.h"
#include "apps/handlers/mission_messages.h"
#include "platform/bus/bus.h"
#include "platform/config/vela_config.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"
#include "util/basicutil/mutex_ne.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/stringutil.h"
#include "util/basicutil/taskcontext.h"
#include "util/basicutil/tecommonerror.h"
#include "util/basicutil/timelog.h"

namespace velad {
namespace {

using apps::HexCode;

constexpr int kLongestWait = 86400;
constexpr float kWholeSpan = 100.0F;
constexpr int kWorkSpan = 90;  // of an upload's progress; the files are the rest

int Seconds(const std::string& file, const char* key, int missing) {
  VelaGetRegInt(file.c_str(), key, missing);
  return std::clamp(missing, 1, kLongestWait);
}

}  // namespace

NEMissionConfig LoadNEMissionConfig(const std::string& file) {
  NEMissionConfig config;
  config.silenceSeconds = Seconds(file, "NEMissionSilenceSeconds", config.silenceSeconds);
  config.topologySeconds = Seconds(file, "NEMissionTopologySeconds", config.topologySeconds);
  return config;
}

NEMission::NEMission(NSTE_util::TETaskContext& context, NSTE_util::TEOperErrorLogIF& errors, NEOrder order,
                     const NEMissionConfig& config)
    : m_context(context), m_errors(errors), m_order(std::move(order)), m_config(config) {}

std::uint32_t NEMission::Refuse(std::uint32_t code, const std::string& text) {
  m_errors.SetErrCode(code);
  m_errors.AddErr({}, code, text, {});
  m_outcome.reason = text;
  return code;
}

std::uint32_t NEMission::RefuseLocked(const NSTE_util::TEMutexOperNEGuard& locks) {
  const auto code = static_cast<std::uint32_t>(locks.GetResult());
  m_refusal.emplace(AddRefusal(m_errors, locks));
  m_outcome.reason = apps::ErrorText(code);
  return code;
}

std::uint32_t NEMission::Run() {
  // All NEs: which they are must be known before they can be locked.
  if (m_order.nes.empty()) {
    if (const std::uint32_t code = Ask()) return code;
    for (const ManagedNE& ne : m_topology->known) m_order.nes.push_back(ne.ne);
  }
  if (m_order.nes.empty() || m_order.nes.front() == 0 || m_order.nes.size() > NE_MISSION_MOST_NES)
    return Refuse(NE_MISSION_ERR_BAD_NES,
                  apps::ErrorText(NE_MISSION_ERR_BAD_NES, {std::to_string(NE_MISSION_MOST_NES)}));
  const NSTE_util::TEMutexOperNEGuard locks(m_order.nes, true);
  if (locks.GetResult() != 0) return RefuseLocked(locks);
  if (!m_topology)
    if (const std::uint32_t code = Ask()) return code;
  return Work();
}

bool NEMission::FillAnswer(AsnNEMissionRsp& response) {
  if (m_refusal) m_refusal->Find(m_outcome.reason);
  return velad::FillAnswer(m_errors, m_outcome, response);
}

std::uint32_t NEMission::Ask() {
  const NSTE_util::TETimeGuard time(NSTE_util::TIME_NMS_OPER, "topology");
  m_topology.emplace();
  const std::uint32_t code =
      AskTopology(m_context.GetTask(), m_order.nes, m_config.topologySeconds, *m_topology);
  if (code == 0) return 0;
  // A process that ends gets no answers any more.
  if (VelaIsExit())
    return Refuse(NE_MISSION_ERR_STOPPING,
                  apps::ErrorText(NE_MISSION_ERR_STOPPING, {"0", std::to_string(m_order.nes.size())}));
  return Refuse(NE_MISSION_ERR_NO_TOPOLOGY, apps::ErrorText(NE_MISSION_ERR_NO_TOPOLOGY, {HexCode(code)}));
}

std::uint32_t NEMission::Work() {
  NESession session(m_context.GetTask(), m_order, m_order.nes.size());
  const vela::Bus* bus = VelaAppMgr::Instance()->GetBus();
  NEMissionParts parts(m_context, m_order, m_config.silenceSeconds,
                       m_order.IsUpload() ? static_cast<float>(kWorkSpan) : kWholeSpan);
  {
    const NSTE_util::TETimeGuard time(NSTE_util::TIME_NE_OPER, "NE managers");
    parts.Run(m_topology->known, bus != nullptr ? bus->LiveProcesses() : std::vector<CProcID>());
  }
  if (m_order.IsUpload() && parts.StopCode() != NE_MISSION_ERR_CLIENT_GONE) FetchFiles(parts);
  Fold(parts);
  const std::uint32_t code = CodeOf(parts);
  m_errors.SetErrCode(code);
  const std::size_t done = parts.Results().size();
  if (code != 0)
    m_outcome.reason =
        apps::ErrorText(code, {std::to_string(done), std::to_string(m_outcome.results.size())});
  session.SetCode(code);
  return code;
}

void NEMission::FetchFiles(NEMissionParts& parts) {
  const NSTE_util::TETimeGuard time(NSTE_util::TIME_EMS_OPER, "files");
  const std::string self = VelaAddressText({VelaGetProcId(), VelaGetProcHandle()});
  NEMissionFiles files;
  std::size_t seen = 0;
  for (auto& [ne, entry] : parts.Results()) {
    auto& [manager, result] = entry;
    if (!result.file.empty()) Fetch(files, manager, result);
    const auto figure = kWorkSpan + ++seen * (100 - kWorkSpan) / parts.Results().size();
    if (parts.StopCode() == 0)
      m_context.SendParalProgress(
          {static_cast<int>(figure), self,
           apps::Text("MISSION_FETCHING", {std::to_string(seen), std::to_string(parts.Results().size())})});
  }
}

void NEMission::Fetch(NEMissionFiles& files, CProcID manager, NEResult& result) {
  const std::string source = result.file;
  // A process that ends gets no answers any more.
  const std::uint32_t code = VelaIsExit() ? NE_MISSION_ERR_STOPPING : files.Fetch(manager, result);
  if (code == 0) return;
  result.file.clear();
  result.errorCode = NE_ERR_NOT_FETCHED;
  AddNEError(m_errors, result.ne, NE_ERR_NOT_FETCHED,
             apps::ErrorText(NE_ERR_NOT_FETCHED,
                             {vela::EscapeControls(source), VelaAddressText(manager), HexCode(code)}));
}

void NEMission::AddUnknown() {
  for (const std::uint32_t ne : m_topology->unknown) {
    AddNEError(m_errors, ne, NE_ERR_UNKNOWN, apps::ErrorText(NE_ERR_UNKNOWN));
    m_outcome.results.push_back({.ne = ne, .errorCode = NE_ERR_UNKNOWN});
  }
}

// That the mission was stopped is said once, not for each NE.
void NEMission::AddLost(const NEMissionParts& parts) {
  for (const LostNE& lost : parts.Lost()) {
    if (lost.code != parts.StopCode()) AddNEError(m_errors, lost.ne, lost.code, lost.reason);
    m_outcome.results.push_back({.ne = lost.ne, .errorCode = lost.code});
  }
}

void NEMission::Fold(NEMissionParts& parts) {
  for (const std::string& report : parts.Reports()) AddReport(m_errors, report);
  for (auto& [ne, entry] : parts.Results()) m_outcome.results.push_back(std::move(entry.second));
  TellTopology(m_context.GetTask(), m_order, m_outcome.results);
  AddUnknown();
  AddLost(parts);
  std::sort(m_outcome.results.begin(), m_outcome.results.end(),
            [](const NEResult& a, const NEResult& b) { return a.ne < b.ne; });
  m_outcome.parts = parts.Parts();
}

std::uint32_t NEMission::CodeOf(const NEMissionParts& parts) const {
  if (parts.StopCode() != 0) return parts.StopCode();
  if (!parts.Lost().empty()) return NE_MISSION_ERR_PARTS;
  const bool failed = std::any_of(m_outcome.results.begin(), m_outcome.results.end(),
                                  [](const NEResult& result) { return result.errorCode != 0; });
  return failed ? NE_MISSION_ERR_FAILED : 0;
}

}  // namespace velad
