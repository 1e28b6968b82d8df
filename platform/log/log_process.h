#pragma once
#include <bitset>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/export.h"

// The logging service: rotating files under the root, written by one background thread. One record is one
// line; control bytes are escaped, further lines of a multi-line text are indented. A call never blocks for
// the disk, never throws and never fails: what the disk or a full queue refused is counted, and reported once
// in the log. Before InitEnv, records go to standard error. All functions are safe in any thread.
//
// A line: "[2026-11-21 15:04:05.123456],Error,[H<thread>] <text>".
class VELA_EXPORT LogProcess {
 public:
  // Opens the log: directory and file names come from OverrideDirectory and SetFiles (without them: var/logs/
  // under the root, and the program's name followed by "_" and the handle unless that is 0), sizes and levels
  // from etc/conf/log.cfg. Called again, it closes the open log and opens anew.
  static void InitEnv(const char* program, int handle);
  // Names that the files take; called before InitEnv. The files are `<directory>/<name>.log`, without a "_"
  // at the end of the name. An empty alarm name sends the alarm log to the module log.
  static void SetFiles(const std::string& directory, const std::string& moduleName,
                       const std::string& alarmName);
  // Another directory, whatever SetFiles says before or later; empty takes it back. Called before InitEnv.
  static void OverrideDirectory(const std::string& directory);
  // The directory that InitEnv uses.
  static std::string Directory();

  static void Fixme(std::string_view text);
  static void Error(std::string_view text);
  static void Info(std::string_view text);
  static void Debug(std::string_view text);

  // The cost of a switched-off level: one relaxed load.
  static bool isErrorEnabled();
  static bool isInfoEnabled();
  static bool isDebugEnabled();

  // The levels (bit n = level n) that are written, further narrowed by "Level" of log.cfg; level 0 always is.
  // `toScreen`: written records go to standard error too.
  static void SetLevels(std::bitset<32> levels, bool toScreen);

  // Writes to the named log ("alarm", anything else is the module log) whatever the levels say.
  static void ForceLog(const char* name, int level, std::string_view text);

  // Waits until all accepted records are in the file, at most `milliseconds`; false when that took longer.
  static bool Flush(int milliseconds);
  // Flushes and closes the files; later records go to standard error. Done by itself when the process exits.
  static void Shutdown();

  // Records since InitEnv: written, dropped, or still in the queue.
  static std::uint64_t ProducedRecords();
  // Records lost since InitEnv: the queue was full (the oldest record goes first), or the sink (disk)
  // refused.
  static std::uint64_t DroppedRecords();
  static std::uint64_t FailedWrites();
  // Records that were handed to the files since InitEnv, those of FailedWrites included.
  static std::uint64_t WrittenRecords();
};
