#pragma once
#include <string>

#include "platform/message/proc_id.h"
#include "util/basicutil/export.h"

// The way back of the progress of missions that are spread over processes (asynprogressmgr.h): the process
// that runs a sub-mission tells the one that registered it, which tells the client when the mission's figure
// rises. Any thread; nothing waits, nothing throws.
namespace NSTE_util {

// `owner`: the process that registered the mission, usually the source of the request that handed the
// sub-mission out. `percent` is 0 to 100; a value outside counts as the nearest. The text is for the client's
// operator and may be empty. 0, or the platform's code when the report could not be sent:
// VELA_ERR_NO_RECEIVER means that the owner is gone.
BASIC_UTIL_EXPORT unsigned long SendSubMissionProgress(const CProcID& owner, unsigned long subMissionId,
                                                       int percent, const std::string& text = {});
// The sub-mission has failed, for a reason other than 0. A later report of progress takes it back.
BASIC_UTIL_EXPORT unsigned long SendSubMissionFailure(const CProcID& owner, unsigned long subMissionId,
                                                      unsigned long errorCode, const std::string& text);

// In the process that registers missions, once: serves the reports above (command 0x218005) in this task
// manager, and makes the task that looks every 5 seconds whether the processes of all missions still live
// (asynprogress_watch.h). Without it reports are served all the same, by task manager 1. 0, or -1 when the
// task manager does not exist or takes no tasks.
BASIC_UTIL_EXPORT int InitAsynProgressTask(unsigned char taskMgrId);

}  // namespace NSTE_util
