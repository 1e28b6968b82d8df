// Takes the progress reports of servers (command 0x208002).
#include "apps/velactl/inbox.h"
#include "asn1/progress.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/taskcontext.h"

namespace velactl {
namespace {

unsigned long HandleProgress(VelaGnlTask* task, const AsnType* request) {
  const auto& report = static_cast<const AsnProgressReportEx&>(*request);
  const VelaCmdMSG& header = task->GetCurReqMsg()->Header();
  Inbox::Instance().Leave({static_cast<std::int32_t>(report.missionID), static_cast<int>(report.progress),
                           report.info != nullptr ? report.info->third.data() : std::string(), header.sn,
                           CProcID(header.srcProcId, header.srcHandle)});
  return 0;
}

const TETaskHandlerStru kProgress = {
    0x208002, 1, "progress", []() -> AsnType* { return new AsnProgressReportEx; }, nullptr, HandleProgress};
const TEAutoRegisterTask registerProgress(&kProgress);

}  // namespace
}  // namespace velactl
