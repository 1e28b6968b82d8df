#pragma once
#include "platform/export.h"

// What a module wants done before a crashing process ends. Called once, on a thread of the platform, with the
// crashing thread stopped: take no lock that it may hold without a limit.
class VELA_EXPORT CrashHandler {
 public:
  virtual ~CrashHandler();
  virtual void OnCrash(int signalNumber) = 0;
};

// On SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGABRT: runs the handlers in reverse order of registration, flushes
// the log, then ends the process with the same signal. The handlers together get three seconds and the flush
// two; a handler that hangs costs those behind it, never the flush. Thread-safe.
class VELA_EXPORT CrashHandlerMgr {
 public:
  static CrashHandlerMgr* Instance();  // never null, never destroyed

  virtual ~CrashHandlerMgr();
  virtual void Register(CrashHandler* handler) = 0;  // non-owning; twice is once
  // When it returns, the handler is not called any more, unless the process is crashing.
  virtual void Unregister(CrashHandler* handler) = 0;
  virtual bool IsArmed() const = 0;
  virtual void Arm() = 0;  // installs the signal handlers; twice is once
};
