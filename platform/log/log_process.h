#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/export.h"

// The logging service: rotating files under the root, written by one background thread. One record is one
// line; control bytes are escaped, further lines of a multi-line text are indented. A call never blocks for
// the disk, never throws and never fails: what the disk or a full queue refused is counted, and reported once
// in the log. Before InitEnv, records go to standard error. All functions are safe in any thread.
class VELA_EXPORT LogProcess {
 public:
  // Opens the log: directory, file name, sizes and levels come from SetFiles and etc/conf/log.cfg.
  static void InitEnv(const char* program, int handle);
  // Names that the files take; called before InitEnv. An empty alarm name sends the alarm log to the module
  // log.
  static void SetFiles(const std::string& directory, const std::string& moduleName,
                       const std::string& alarmName);

  static void Fixme(std::string_view text);
  static void Error(std::string_view text);
  static void Info(std::string_view text);
  static void Debug(std::string_view text);

  // The cost of a switched-off level: one relaxed load.
  static bool isErrorEnabled();
  static bool isInfoEnabled();
  static bool isDebugEnabled();

  // Writes to the named log ("alarm" or the module log) whatever the levels say.
  static void ForceLog(const char* name, int level, std::string_view text);

  // Waits until all accepted records are in the file, at most `milliseconds`; false when that took longer.
  static bool Flush(int milliseconds);
  // Flushes and closes the files; later records go to standard error.
  static void Shutdown();

  // Records lost since InitEnv: the queue was full, or the sink (disk) refused.
  static std::uint64_t DroppedRecords();
  static std::uint64_t FailedWrites();
};
