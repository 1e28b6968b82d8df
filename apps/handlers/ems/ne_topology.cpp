#include "apps/handlers/ems/ne_topology.h"

#include <algorithm>
#include <map>

#include "apps/asn1/nms_codes.h"
#include "apps/common/asn_values.h"
#include "asn1/nms.h"
#include "platform/os/clock.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/msg_if.h"

namespace velad {
namespace {

using apps::Unsigned;

constexpr unsigned char kTopologyProcess = 51;
constexpr std::size_t kChangesEach = 500;  // well within the limits of every receiver

}  // namespace

std::uint32_t AskTopology(VelaGnlTask* task, const std::vector<unsigned long>& nes, int seconds,
                          NETopology& topology) {
  AsnTopoNEReq request;
  for (const unsigned long ne : nes) *request.nes.append() = static_cast<AsnIntType>(ne);
  AsnTopoNERsp response;
  const auto code = static_cast<std::uint32_t>(
      NSTE_util::SyncSendTopoReq(task, TOPO_NE_COMMAND, &request, &response, kTopologyProcess, 0, seconds));
  if (code != 0) return code;
  std::map<std::uint32_t, std::uint16_t> managers;
  for (const AsnTopoNE& ne : response.nes)
    managers[Unsigned(ne.ne)] = static_cast<std::uint16_t>(Unsigned(ne.manager));
  topology = {};
  if (nes.empty())
    for (const auto& [ne, manager] : managers) topology.known.push_back({ne, manager});
  // Nothing that was not asked for: only that is locked.
  for (const unsigned long wanted : nes) {
    const auto found = managers.find(static_cast<std::uint32_t>(wanted));
    if (found != managers.end())
      topology.known.push_back({found->first, found->second});
    else
      topology.unknown.push_back(static_cast<std::uint32_t>(wanted));
  }
  return 0;
}

void TellTopology(VelaGnlTask* task, const NEOrder& order, const std::vector<NEResult>& results) {
  for (std::size_t i = 0; i < results.size(); i += kChangesEach) {
    AsnNEChanges changes;
    changes.operation = static_cast<AsnIntType>(order.operation);
    changes.userID = order.userID;
    changes.time = static_cast<AsnIntType>(vela::NowSeconds());
    for (std::size_t j = i; j < std::min(i + kChangesEach, results.size()); ++j) {
      NEResult result = results[j];
      result.file.clear();
      FillResult(result, *changes.results.append());
    }
    NSTE_util::SendTopoMsg(task, TOPO_CHANGES_COMMAND, &changes);
  }
}

NESession::NESession(VelaGnlTask* task, const NEOrder& order, std::size_t nes)
    : m_task(task), m_order(order), m_nes(nes), m_code(VELA_ERR_GENERAL) {
  Tell(false);
}

NESession::~NESession() {
  Tell(true);
}

void NESession::Tell(bool ended) const {
  AsnSessionOper oper;
  oper.client = m_order.client.m_wProcID;
  oper.handle = m_order.client.m_wProcHandle;
  oper.userID = m_order.userID;
  oper.missionID = m_order.client.m_nMissionNo;
  oper.operation = static_cast<AsnIntType>(m_order.operation);
  oper.nes = static_cast<AsnIntType>(m_nes);
  oper.ended = ended ? 1 : 0;
  oper.errorCode = ended ? static_cast<AsnIntType>(m_code) : 0;
  oper.time = static_cast<AsnIntType>(vela::NowSeconds());
  NSTE_util::SendSSMsg(m_task, SESSION_OPER_COMMAND, &oper);
}

}  // namespace velad
