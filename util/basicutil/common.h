#pragma once
#include <atomic>
#include <string>
#include <vector>

#include "platform/asncmd/asn_fwd.h"
#include "util/basicutil/export.h"

// Debug log and trace: what every unit writes its diagnostics with. Usable from static initialisation to the
// very end of the process; any thread may call anything here. Nothing throws.
//
// Levels: 0 Fixme (assertions and internal errors), 1 Error (external), 2 Info (function input and output),
// 3 Debug. A level above 3 counts as 3. A module's switch decides whether a record is written at once or held
// back; the 128 newest held-back records of the process are written in one block behind the next record of
// level 0, or on demand.
namespace NSTE_util {

// A module's debug output. Owned by the debug manager; stays valid until the process ends.
// The printf-like operations keep at most 4094 characters of a text that does not fit into 4095.
class BASIC_UTIL_EXPORT TEDebugInterface {
 public:
  virtual void Print(unsigned int level, const char* text) = 0;
  virtual void PrintException(const char* text) = 0;  // level 0
  [[gnu::format(printf, 3, 4)]] virtual void PrintF(unsigned int level, const char* format, ...) = 0;
  [[gnu::format(printf, 2, 3)]] virtual void PrintExceptionF(const char* format, ...) = 0;
  // Whether records of the level are written at once; false above 3. One relaxed load.
  virtual bool IsEnabled(unsigned int level) = 0;
  virtual std::string GetName() = 0;
  virtual ~TEDebugInterface();
};

// A text command of an operator.
class BASIC_UTIL_EXPORT TEDebugCommand {
 public:
  virtual std::string GetName() = 0;
  virtual std::string GetHelp() = 0;
  // `args[0]` is the command word; the result is the reply to the operator. Called without any lock held.
  virtual std::string Execute(const std::vector<std::string>& args) = 0;
  virtual ~TEDebugCommand();
};

// Starts the process' logging, once and early. "-f FILE" on the command line names a file below the process'
// conf folder whose key ProcHandle numbers this instance in the log names. 0, -1 (no process name, or the
// platform refused), or the debug manager's result.
BASIC_UTIL_EXPORT int InitDebugLog(int argc, char** argv);
// Makes the task that flushes the log once a minute. 0, or -1 when the task manager is unknown.
BASIC_UTIL_EXPORT int InitDebugTask(unsigned char taskMgrID);
// Ends what InitDebugLog started. Tracing goes on working, with the default switches.
BASIC_UTIL_EXPORT void FiniDebugLog();

// The interface of the free functions below, and the one of alarms (written whatever the switches say). The
// process ends with status 1 when they cannot be had.
BASIC_UTIL_EXPORT TEDebugInterface& GetDefaultDebugInterface();
BASIC_UTIL_EXPORT TEDebugInterface& GetAlmDebugInterface();
// A module's interface, made on first request; null when the debug manager cannot be had.
BASIC_UTIL_EXPORT TEDebugInterface* GetDebugInterface(const char* name);

BASIC_UTIL_EXPORT void WriteLog(const char* text);                                         // level 3
BASIC_UTIL_EXPORT void WriteException(const char* text);                                   // level 0
[[gnu::format(printf, 1, 2)]] BASIC_UTIL_EXPORT void TETrace(const char* format, ...);     // level 3
[[gnu::format(printf, 1, 2)]] BASIC_UTIL_EXPORT void TEAlmTrace(const char* format, ...);  // alarm log

// To standard output, whole: never mixed with each other.
[[gnu::format(printf, 1, 2)]] BASIC_UTIL_EXPORT void TEMmlTrace(const char* format, ...);
BASIC_UTIL_EXPORT void PrintToScreen(const char* text);  // when bEnablePrint is on
extern BASIC_UTIL_EXPORT std::atomic<bool> g_bEnableMmlTrace;

// Writes the message at level 2: its type's name, or its whole text where the print configuration
// (conf/asnprint.cfg) says so. Texts of nMaxSizeOfAsnTrace bytes and more are cut and marked. With
// bEnableAsnLog off whole texts are rendered, but not written. Renderings are serialised.
BASIC_UTIL_EXPORT void AsnTrace(const AsnType& msg, TEDebugInterface& out);
// The message's text, cut at nMaxSizeOfAsnTrace bytes; empty when there is no memory for it.
BASIC_UTIL_EXPORT std::string toString(const AsnType& msg);

// A random number from 0 to RAND_MAX.
BASIC_UTIL_EXPORT int TERand();

// User configuration TRANS/slotModeflg; read until it was found once, 0 until then.
BASIC_UTIL_EXPORT int GetSlotMode();
extern BASIC_UTIL_EXPORT std::atomic<int> g_SlotMode;

// Commands are not owned; they must live until they are removed. 0, or -1 when the name is taken (or the
// pointer is null).
BASIC_UTIL_EXPORT int AddDebugCommand(TEDebugCommand* command);
BASIC_UTIL_EXPORT void RemoveDebugCommand(TEDebugCommand* command);
BASIC_UTIL_EXPORT void RemoveDebugCommand(const std::string& name);
// For a command's Execute that could not do what it was asked to: `return FailedReply(text)` gives the text
// to the operator as it is, and tells scripts that the command failed.
BASIC_UTIL_EXPORT std::string FailedReply(std::string text);

}  // namespace NSTE_util
