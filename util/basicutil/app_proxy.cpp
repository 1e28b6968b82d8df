#include "util/basicutil/app_proxy.h"

namespace NSTE_util {

AppProxy4Vela::~AppProxy4Vela() = default;
bool AppProxy4Vela::IsMsgNeedLog(const TECmdMsg* /*msg*/) {
  return false;
}
bool AppProxy4Vela::IsMsgNeedSecurityCheck(const TECmdMsg* /*msg*/) {
  return false;
}
int AppProxy4Vela::OnMsgReceived(const TECmdMsg* /*msg*/) {
  return 0;
}
bool LumexAppProxy4Vela::IsUserNeedLogin(const TECmdMsg* /*msg*/) {
  return false;
}

}  // namespace NSTE_util
