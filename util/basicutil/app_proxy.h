#pragma once
#include "util/basicutil/export.h"

class TECmdMsg;

namespace NSTE_util {

// What a server process may decide about the platform's handling of messages. These defaults are neutral;
// a server derives from them and overrides what it needs. Called from many threads.
class BASIC_UTIL_EXPORT AppProxy4Vela {
 public:
  virtual ~AppProxy4Vela();
  virtual bool IsMsgNeedLog(const TECmdMsg* msg);            // false
  virtual bool IsMsgNeedSecurityCheck(const TECmdMsg* msg);  // false
  virtual int OnMsgReceived(const TECmdMsg* msg);            // 0: go on
};

// The same for processes whose clients are operator consoles.
class BASIC_UTIL_EXPORT LumexAppProxy4Vela : public AppProxy4Vela {
 public:
  virtual bool IsUserNeedLogin(const TECmdMsg* msg);  // false
};

}  // namespace NSTE_util
