#pragma once
#include <memory>
#include <vector>

#include "util/basicutil/common.h"

namespace NSTE_util {

// The commands that every process has, in the order in which "help" lists them. Words are separated by
// blanks, tabs and line ends; numbers are decimal or, where they are command codes, hexadecimal with "0x".
//
//   help         one line for each command: its name
//   testmsg,     send a command that nobody answers, with an empty request (no bytes for a handler that takes
//   sysmonitor   none); a number that cannot be read gives the help text, or "Param error!". What the task
//                manager does not take (it is stopping, its queue is full) gives "Send failed: " and the
//                code. sysmonitor answers "Param error!" for a command that the process does not serve, too
//   GetRegCmd    the file's name is one word without "/" or "\"; another one gives "open file fail:". "Err"
//                marks a command whose request or response cannot be made
std::vector<std::unique_ptr<TEDebugCommand>> MakeBuiltInCommands();

// "listcmd", which InitDebugLog adds to them. Lives as long as the process. A line for each task command: the
// code in hexadecimal, a tab, the handler's name.
BASIC_UTIL_EXPORT TEDebugCommand& ListCmdCommand();

// Adds the commands that show what the process is doing, like any module's commands; names that are taken
// stay as they are. Texts from outside appear with their control characters escaped.
//
//   listoper      operations that run, with task, mission, age and objects (at most 100 of each)
//   status        what the process is and how busy, a "name: value" a line: process, pid, uptime (seconds),
//                 stopping, queued, running (requests), missions, operations, locks (objects held)
//   listmission   missions with their tasks; those that are spread over processes with their parts
//   listerror     open error frames
//   listtimelog   open time logs, with the NE operations that have not ended
//   listtranslog  transactions with their counts
//   listqueue     queues of the task managers; what bus, log and the store of held-back records have lost
//   dumprequest   "dumprequest task N" or "dumprequest mission N": missions with their progress, operations,
//                 error frame, time log and held-back records of that request. Its thread is the one that
//                 registered its mission; without one it is known by the held-back records: the newest one of
//                 the thread was the task's. The tasks of a mission are those that it is registered for or
//                 that run its operations
BASIC_UTIL_EXPORT void AddInspectionCommands();

}  // namespace NSTE_util
