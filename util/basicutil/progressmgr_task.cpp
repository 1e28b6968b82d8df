#include <memory>

#include "platform/asncmd/asn_cmd.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task.h"
#include "platform/task/vela_task_mgr.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/progress_api.h"
#include "util/basicutil/progress_report.h"
#include "util/basicutil/progressmgr.h"

namespace NSTE_util {

namespace {

constexpr const char* UNIT = "progressmgr";
constexpr int REPORT_SECONDS = 30;
constexpr int INSERT_STATE = 20;

// Reports all missions again and again.
class SendProgressTask : public VelaGnlTask {
 public:
  SendProgressTask() : VelaGnlTask("SendProgressTask") {}

  void VelaTaskCreate() override { WaitForTick(); }

  void VelaTaskTimeInterval(std::uint32_t id) override {
    if (id != m_timer) return;
    DelTaskTimeInterval(m_timer);
    if (ProgressMgr* progress = ProgressMgr::Instance()) progress->SendAllProgress();
    WaitForTick();
  }

 private:
  void WaitForTick() {
    m_timer = SetTaskTimeInterval(REPORT_SECONDS);
    VelaSetTaskState(VELA_TASK_WAITING);
  }

  std::uint32_t m_timer = 0;
};

}  // namespace

int InitProgressTask(unsigned char taskMgrId) {
  Check(0 != taskMgrId, UNIT, "0 != TaskMgrID");
  VelaAppMgr* app = VelaAppMgr::Instance();
  if (!Check(app != nullptr, UNIT, "0 != pAppMgr")) return -1;
  VelaTaskMgr* taskMgr = app->FindTaskMgrByID(taskMgrId);
  if (!Check(taskMgr != nullptr, UNIT, "0 != pTaskMgr")) return -1;
  for (const std::uint32_t cmd : {CMD_ABORT_MISSION, CMD_PROGRESS_REPORT, CMD_PARALLEL_REPORT})
    SetTaskMgrForCmd(cmd, taskMgrId);
  return taskMgr->InsertTask(std::make_unique<SendProgressTask>(), INSERT_STATE) == 0 ? 0 : -1;
}

}  // namespace NSTE_util
