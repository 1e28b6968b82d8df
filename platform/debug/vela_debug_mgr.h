#pragma once
#include <bitset>
#include <string>

#include "platform/debug/console.h"
#include "platform/export.h"

// What an engine answers to one command line.
struct VelaDebugReply {
  std::string text;
  bool failed = false;  // the command is not known, or could not do what it was asked to
};

// What runs the text commands of an operator in this process. Called in any thread, several at once.
class VELA_EXPORT VelaDebugEngine {
 public:
  virtual ~VelaDebugEngine();
  // The reply to one command line.
  virtual std::string Execute(const std::string& commandLine) = 0;
  // The same, with the outcome. What does not override it never fails.
  virtual VelaDebugReply Run(const std::string& commandLine);
};

// The platform's debug manager: knows where the process logs and who answers operator commands. Thread-safe.
class VELA_EXPORT VelaDebugMgr {
 public:
  static VelaDebugMgr* Instance();
  static void Destroy();

  virtual ~VelaDebugMgr();
  // `tempDirectory` is the log directory followed by "/../tmpfile"; from it and `logName` the logging service
  // learns its files: "alm_" and `logName` is the alarm log when `logName` ends with "_", a number and "_";
  // otherwise alarms go to the module log. 0 or -1 (no log directory can be made). `remote` is not used.
  virtual int Init(const std::string& logName, const std::string& switchFile,
                   const std::string& tempDirectory, const std::string& remote, bool traceToScreen,
                   bool traceToFile) = 0;
  // One engine at a time, not owned; false when another one is registered.
  virtual bool RegDebugEngine(VelaDebugEngine* engine) = 0;
  // Waits until the commands that run in the engine have ended; not to be called from within one.
  virtual void UnRegDebugEngine(VelaDebugEngine* engine) = 0;
  // Which levels (bit n = level n) the process writes; level 0 always is. `immediate` asks for levels that do
  // not wait in a buffer: none does longer than the log's queue. `toScreen`: to standard error too.
  virtual void SetAllModuleInfo(std::bitset<32> levels, std::bitset<32> immediate, bool toScreen) = 0;
  virtual std::bitset<32> Levels() const = 0;
  // Runs a command through the engine, in this thread and without any lock held; "No debug engine.\n", and
  // failed, without one.
  virtual std::string Execute(const std::string& commandLine) = 0;
  virtual VelaDebugReply Run(const std::string& commandLine) = 0;

  // Lets operators connect to the process at this address (console.h) until CloseConsole. False, and the
  // reason, when the console is open already or cannot be opened. Both belong to one thread.
  virtual bool OpenConsole(CProcID self, const vela::ConsoleOptions& options, std::string& error) = 0;
  // Hangs up and waits at most `seconds` for running commands. False when one was abandoned: it still runs,
  // and the process must end soon. True without a console.
  virtual bool CloseConsole(int seconds) = 0;
};
