#pragma once

// What a handler set sees of the server process that loads it: a shared library whose TEAutoRegisterTask
// objects register its handlers. The key HandlerSets of the process's configuration file names it.

// Task managers of every server process, for TETaskHandlerStru::taskMgrId. Missions run in the first, with
// WorkerThreads workers; the second, with one, serves what must not wait behind them: aborts, reports, the
// timers of the library.
constexpr unsigned char kMainTaskMgr = 1;
constexpr unsigned char kServiceTaskMgr = 2;

// A set may define it:
//
//   extern "C" VELA_HANDLER_SET_EXPORT unsigned long VelaStartHandlerSet();
//
// It is called once, in the main thread, when messages can be sent and before the process says that it is
// ready: the place to read configuration, make timers and add debug commands. 0, or the process ends with
// an error that names the set and the code.
#define VELA_HANDLER_SET_EXPORT __attribute__((visibility("default")))
using VelaStartHandlerSetFunc = unsigned long (*)();
