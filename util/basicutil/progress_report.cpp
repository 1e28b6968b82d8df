#include "util/basicutil/progress_report.h"

#include "platform/asncmd/asn_helper.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/client_records.h"
#include "util/basicutil/common.h"
#include "util/basicutil/frame_build.h"

namespace NSTE_util {

namespace {

constexpr std::size_t LONGEST_REPORT = 100000;
constexpr std::uint8_t CLIENT_MODULE = 250;

// The timer task serves no request: its reports have no serial number to refer to.
std::uint32_t RequestSn(VelaTask* task) {
  const auto* server = dynamic_cast<VelaGnlTask*>(task);
  const TECmdMsg* request = server != nullptr ? server->GetCurReqMsg() : nullptr;
  return request != nullptr ? request->Header().sn : 0;
}

FrameFields ReportFields(VelaTask* task, const ClientMissionID& key, std::uint32_t cmd) {
  FrameFields fields;
  fields.srcTaskId = task != nullptr ? task->GetTaskId() : std::uint16_t{0};
  fields.attribute = static_cast<std::uint8_t>(key.m_wReplyAttr);
  fields.dstDesk = key.m_wDeskNo;
  fields.dstHandle = key.m_wProcHandle;
  fields.dstProcId = key.m_wProcID;
  fields.module = CLIENT_MODULE;
  fields.cmdCode = cmd;
  fields.kind = VELA_KIND_PROGRESS;
  fields.sn = RequestSn(task);
  return fields;
}

std::uint32_t SendFrame(VelaTask* task, VelaMsgPtr frame) {
  if (!frame) return VELA_ERR_MEMORY;
  if (task != nullptr) return task->VelaCmdSendAnsFrameCB(frame.release());
  VelaAppMgr* app = VelaAppMgr::Instance();
  if (app == nullptr) return VELA_ERR_STOPPING;
  return app->VelaOutSendMsg(frame.release(), 0) == 1 ? 0 : app->LastSendError();
}

}  // namespace

void SendReport(VelaTask* task, const ClientMissionID& key, std::uint32_t cmd, const AsnType& report,
                int copies) {
  unsigned char* buffer = nullptr;
  std::size_t size = 0;
  std::uint32_t code = CAsnHelper::Encode(report, buffer, size, LONGEST_REPORT);
  const FrameFields fields = ReportFields(task, key, cmd);
  for (int i = 0; i < copies && code == 0; ++i)
    code = SendFrame(task, BuildFrame("SendProgress", fields, buffer, size));
  CAsnHelper::ReleaseAsnBuf(buffer);
  if (code != 0)
    TETrace("NSTE_util::SendProgress : report of mission %d failed, code:0x%x", key.m_nMissionNo, code);
}

}  // namespace NSTE_util
