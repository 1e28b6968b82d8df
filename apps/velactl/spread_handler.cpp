// Takes what the owner of a spread mission sends: the progress of parts (command 0x218004) and the result.
#include "apps/asn1/spread_codes.h"
#include "apps/velactl/spread_inbox.h"
#include "asn1/progress.h"
#include "asn1/spread.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/taskcontext.h"

namespace velactl {
namespace {

constexpr std::uint32_t kPartReport = 0x218004;

CProcID Source(const VelaGnlTask* task) {
  const VelaCmdMSG& header = task->GetCurReqMsg()->Header();
  return {header.srcProcId, header.srcHandle};
}

unsigned long HandlePart(VelaGnlTask* task, const AsnType* msg) {
  const auto& report = static_cast<const AsnParallelTaskProgressReport&>(*msg);
  SpreadInbox::Instance().Leave({static_cast<std::int32_t>(report.missionID),
                                 static_cast<int>(report.progress), report.partName.data(),
                                 report.partDetail.data(), Source(task)});
  return 0;
}

unsigned long HandleEnd(VelaGnlTask* task, const AsnType* msg) {
  SpreadInbox::Instance().Leave(Source(task), static_cast<const AsnSpreadEnd&>(*msg));
  return 0;
}

const TETaskHandlerStru kPart = {kPartReport, 1,
                                 "part",      []() -> AsnType* { return new AsnParallelTaskProgressReport; },
                                 nullptr,     HandlePart};
const TETaskHandlerStru kEnd = {
    SPREAD_END_COMMAND, 1, "spreadEnd", []() -> AsnType* { return new AsnSpreadEnd; }, nullptr, HandleEnd};
const TEAutoRegisterTask registerPart(&kPart);
const TEAutoRegisterTask registerEnd(&kEnd);

}  // namespace
}  // namespace velactl
