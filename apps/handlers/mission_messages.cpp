#include "apps/handlers/mission_messages.h"

#include "apps/common/asn_values.h"
#include "apps/common/texts.h"
#include "asn1/progress.h"
#include "platform/bus/bus.h"
#include "platform/message/te_cmd_msg.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"

namespace velad {
namespace {

using apps::HexCode;

constexpr std::uint32_t kAbortCommand = 0x208001;
constexpr int kAbortAll = 255;

}  // namespace

CProcID RequestSource(const VelaGnlTask* task) {
  const VelaCmdMSG& header = task->GetCurReqMsg()->Header();
  return {header.srcProcId, header.srcHandle};
}

bool IsProcessAlive(CProcID process) {
  const vela::Bus* bus = VelaAppMgr::Instance()->GetBus();
  return bus != nullptr && bus->IsAlive(process);
}

std::uint64_t LifeOfProcess(CProcID process) {
  const vela::Bus* bus = VelaAppMgr::Instance()->GetBus();
  return bus != nullptr ? bus->LifeOf(process) : 0;
}

void AbortSubMission(CProcID process, std::uint32_t id) {
  AsnAbortMissionReq request;
  request.scope = kAbortAll;
  request.missionID = static_cast<AsnIntType>(id);
  VelaGnlTask sender("AbortSubMission");
  sender.AsnSendNBC(process, 0, kAbortCommand, request, VELA_MSG_FORMAT);
}

std::string WhyNotSent(std::uint32_t code, CProcID process) {
  if (code == VELA_ERR_NO_RECEIVER) return apps::Text("SPREAD_PART_ENDED", {VelaAddressText(process)});
  return apps::Text("SPREAD_PART_REFUSED", {VelaAddressText(process), HexCode(code)});
}

}  // namespace velad
