#pragma once
#include <bitset>
#include <string>

#include "platform/export.h"

// What runs the text commands of an operator in this process.
class VELA_EXPORT VelaDebugEngine {
 public:
  virtual ~VelaDebugEngine();
  // The reply to one command line. Called on a thread of the debug manager.
  virtual std::string Execute(const std::string& commandLine) = 0;
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
  // Waits until a command that runs in the engine has ended; not to be called from within one.
  virtual void UnRegDebugEngine(VelaDebugEngine* engine) = 0;
  // Which levels (bit n = level n) the process writes; level 0 always is. `immediate` asks for levels that do
  // not wait in a buffer: none does longer than the log's queue. `toScreen`: to standard error too.
  virtual void SetAllModuleInfo(std::bitset<32> levels, std::bitset<32> immediate, bool toScreen) = 0;
  virtual std::bitset<32> Levels() const = 0;
  // Runs a command through the engine, one at a time; "No debug engine.\n" without one.
  virtual std::string Execute(const std::string& commandLine) = 0;
};
