#pragma once
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/debug/vela_debug_mgr.h"
#include "platform/log/crash_handler_mgr.h"
#include "platform/os/mutex.h"
#include "util/basicutil/common.h"

namespace NSTE_util {

class TEDebugLogger;

struct ModuleSwitches {
  std::string module;
  unsigned switches;  // bit n = level n
};

// The process' debug manager: module switches, the print configuration of ASN.1 messages and the operator's
// commands. Thread-safe. Loggers outlive it: a module may keep its interface for good.
class BASIC_UTIL_EXPORT TEDebugMgrImpl {
 public:
  static TEDebugMgrImpl* Instance();  // null only when the static-object lock cannot be taken
  // All loggers go back to the default switches; commands and configuration are forgotten.
  static void Destroy();

  TEDebugMgrImpl();
  ~TEDebugMgrImpl();
  TEDebugMgrImpl(const TEDebugMgrImpl&) = delete;
  TEDebugMgrImpl& operator=(const TEDebugMgrImpl&) = delete;

  // Arms the crash handlers (held-back records are written when the process crashes), loads the switches and
  // the print configuration, reads how many bytes may be held back (MaxHeldBackBytes of etc/conf/vela.cfg)
  // and adds the commands of AddInspectionCommands. The three names are the platform's business. Always 0.
  int Init(const std::string& logDir, const std::string& name, const std::string& almName,
           const std::string& switchFile);
  // Reads the switch file again. 0; -1 when it cannot be opened or a line has not exactly four switches (the
  // lines before it count).
  int Reload();
  // Runs one command line, words separated by blanks and tabs, and returns the reply. A command that throws
  // is answered with "Excute Error!\n".
  std::string Excute(std::string commandLine);
  // The same, with the outcome: failed are unknown commands, what throws, and what returned a FailedReply.
  VelaDebugReply Run(const std::string& commandLine);

  int AddDebugCommand(TEDebugCommand* command);
  // Wait until the command, if it runs in another thread, has ended.
  void RemoveDebugCommand(TEDebugCommand* command);
  void RemoveDebugCommand(const std::string& name);
  std::vector<std::string> CommandNames();
  // False when there is no such command, whatever the case of its letters.
  bool HelpOf(const std::string& name, std::string& help);

  // Of all modules, in order of name.
  std::vector<ModuleSwitches> Switches();
  bool SetSwitches(const std::string& module, unsigned switches);  // false when the module is unknown
  void SetAllSwitches(unsigned switches);
  // Never null.
  TEDebugInterface* GetDebugInterface(const std::string& name);

  // A record of level 3 with which everything before it gets written.
  void Flush();
  // Writes the held-back records of all modules.
  void FlushAll();

  // Whether messages of the type are written whole: not if NotPrint names it, else if Print names it, else as
  // DefaultPrint says (1 without a configuration).
  bool IsPrintAsn(const std::string& typeName);
  // From conf/asnprint.cfg beside the process' folder.
  void LoadAsnConfig();
  // Lines "Print = Type, Type" and "NotPrint = Type, Type", any number of each; other lines are skipped. They
  // replace the two lists.
  void ReadAsnConfig(const std::vector<std::string>& lines);

 private:
  struct AsnConfig {
    bool defaultPrint = true;
    std::set<std::string> printed;
    std::set<std::string> notPrinted;
  };

  struct Running {
    TEDebugCommand* command;
    std::thread::id thread;
  };

  int ReadSwitches(const std::string& file) VELA_EXCLUDES(m_mutex);
  bool ApplySwitches(const std::string& module, const std::string& value) VELA_REQUIRES(m_mutex);
  TEDebugLogger* Logger(const std::string& name) VELA_REQUIRES(m_mutex);
  TEDebugCommand* FindCommand(const std::string& name) VELA_REQUIRES(m_mutex);
  TEDebugCommand* BeginCommand(const std::string& name) VELA_EXCLUDES(m_mutex);
  void EndCommand(TEDebugCommand* command) VELA_EXCLUDES(m_mutex);

  vela::Mutex m_mutex;
  std::string m_switchFile VELA_GUARDED_BY(m_mutex);
  std::map<std::string, TEDebugLogger*> m_loggers VELA_GUARDED_BY(m_mutex);
  std::vector<TEDebugCommand*> m_commands VELA_GUARDED_BY(m_mutex);  // in order of registration
  std::vector<Running> m_running VELA_GUARDED_BY(m_mutex);
  vela::CondVar m_commandEnded;
  std::vector<std::unique_ptr<TEDebugCommand>> m_ownCommands;
  TEDebugLogger* m_debugLogger = nullptr;
  bool m_started VELA_GUARDED_BY(m_mutex) = false;

  vela::Mutex m_asnMutex;
  AsnConfig m_asn VELA_GUARDED_BY(m_asnMutex);
};

// What FlushAll does; works without a manager.
void FlushHeldBack();

// Hands the operator's commands to the debug manager.
class TEDebugEngine : public VelaDebugEngine {
 public:
  std::string Execute(const std::string& commandLine) override;
  VelaDebugReply Run(const std::string& commandLine) override;
};

// Brings the held-back records into the log of a crashing process.
class LogFlushCrashHandler : public CrashHandler {
 public:
  void OnCrash(int signalNumber) override;
};

}  // namespace NSTE_util
