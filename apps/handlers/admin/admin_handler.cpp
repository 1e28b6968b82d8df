// What every server process tells its operators, and does for them while it serves.
#include <string>

#include "apps/asn1/nms_codes.h"
#include "apps/common/texts.h"
#include "apps/handlers/admin/process_reload.h"
#include "apps/handlers/admin/process_status.h"
#include "apps/handlers/new_message.h"
#include "apps/velad/handler_set.h"
#include "asn1/nms.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/msg_if.h"
#include "util/basicutil/taskcontext.h"

namespace velad {
namespace {

unsigned long HandleStatus(VelaGnlTask* task, const AsnType*) {
  AsnStatusRsp response;
  FillStatus(response);
  return NSTE_util::CfgSendRsp(task, response);
}

unsigned long HandleReload(VelaGnlTask* task, const AsnType* msg) {
  const auto& request = static_cast<const AsnReloadReq&>(*msg);
  NSTE_util::TETaskContext context(task);
  context.SetUserID(static_cast<int>(request.userID));
  const std::string language = request.language.data();
  std::string reason;
  const std::uint32_t code = Reload(OwnReloadFiles(), language, reason);
  const std::string user = std::to_string(context.GetUserID());
  if (code == 0)
    LogProcess::Info("admin: files read again for user " + user + ", language " + apps::Language());
  else
    LogProcess::Error("admin: files were not read again for user " + user + ": " + reason);
  AsnReloadRsp response;
  response.errorCode = static_cast<AsnIntType>(code);
  response.reason.Set(reason.data(), reason.size());
  const std::string now = apps::Language();
  response.language.Set(now.data(), now.size());
  return NSTE_util::CfgSendRsp(task, response);
}

// In the service task manager: answered while all workers are at missions, and one reload at a time.
const TETaskHandlerStru kHandlers[] = {
    {STATUS_COMMAND, kServiceTaskMgr, "status", New<AsnStatusReq>, New<AsnStatusRsp>, HandleStatus},
    {RELOAD_COMMAND, kServiceTaskMgr, "reload", New<AsnReloadReq>, New<AsnReloadRsp>, HandleReload},
};
const TEAutoRegisterTask registerStatus(&kHandlers[0]);
const TEAutoRegisterTask registerReload(&kHandlers[1]);

}  // namespace
}  // namespace velad
