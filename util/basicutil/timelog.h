#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/os/clock.h"
#include "util/basicutil/export.h"

// How long the work of a request takes, and how the time divides among NE, EMS and NMS operations. Written
// at level 3 to the module "timelog". Times are milliseconds in 32 bits: a sum that passes 2^32 wraps, and
// one above 2^31 - 1 is written as a negative number.
namespace NSTE_util {

// Operation types; any other value is a type that is written by its number.
constexpr long TIME_STEP = 0;  // one timed step, kept as a line of its own
constexpr long TIME_NE_OPER = 1;
constexpr long TIME_EMS_OPER = 2;
constexpr long TIME_NMS_OPER = 3;

// An NE operation that began and has not ended.
struct TEPendingNEOper {
  std::uint32_t m_nOperCode = 0;
  long m_nType = 0;
  std::string m_strText;
  std::uint32_t m_nCount = 0;  // begins that have not ended
  std::uint32_t m_nAge = 0;    // milliseconds since the first begin
};

// The log of a thread as an operator sees it.
struct TEOpenTimeLog {
  std::uint32_t m_nThreadID = 0;  // of the operating system
  std::string m_strName;          // of the outermost TETimeLogGuard; empty without one
  vela::WallTime m_since;         // by the clock of the day
  std::uint32_t m_nAge = 0;       // milliseconds since then
  std::uint32_t m_nDepth = 0;
  std::vector<TEPendingNEOper> m_pending;  // begun by the thread, by operation code
  std::string m_strSummary;                // what it would print now, at most 16384 bytes of it
};

// The logs of all threads. Thread-safe: one mutex is held for the whole of each operation but WriteLine, also
// while a summary is handed to the debug log. What memory does not suffice for is left out, and reported.
//
//   the thread has | BeginThreadLog | EndThreadLog                  | AddTime, BeginNEOper
//   ---------------+----------------+-------------------------------+---------------------
//   no log         | opens one      | nothing                       | nothing
//   a log          | nests          | leaves a level; the outermost | recorded
//                  |                | prints the summary and drops  |
//                  |                | the log and the thread's      |
//                  |                | pending operations            |
//
// A log keeps every step and every text until it is closed, without a bound, and a thread that ends leaves
// its log open to the next thread of its id: close it on the thread that opened it (TETimeLogGuard does).
class BASIC_UTIL_EXPORT TETimeLog {
 public:
  // Null only when the process ends, or without memory for the first call.
  static TETimeLog* Instance();
  static void Destroy();  // prints nothing
  // What is open now, by thread. Makes no time log where there is none.
  static std::vector<TEOpenTimeLog> OpenLogs();

  virtual ~TETimeLog();
  // A code is pending once in the process, for the thread that began it first; begun again, by any thread
  // that has a log, it counts once more.
  virtual void BeginNEOper(unsigned long operCode, long type, const std::string& text) = 0;
  // By any thread. The last end adds the sum of all durations to the log of the thread that began first, with
  // the type and the text of that begin.
  virtual void EndNEOper(unsigned long operCode) = 0;
  // TIME_STEP: a line of its own. Another type: added to the type's sum, its text to the type's text.
  virtual void AddTime(long type, unsigned long ms, const std::string& text) = 0;
  virtual void WriteLine(const std::string& text) = 0;  // at once; needs no log, takes no lock
  virtual void BeginThreadLog() = 0;
  virtual void EndThreadLog() = 0;
  // One record of the calling thread's steps, sums and pending operations. None when there is nothing to say
  // and no operation is pending in any thread.
  virtual void PrintSummary() = 0;
};

// The guards are local objects. Copies carry the start times on and report like their originals.

// Adds the time of its life to the thread's log.
class BASIC_UTIL_EXPORT TETimeGuard {
 public:
  TETimeGuard(long type, const std::string& name);
  TETimeGuard(const TETimeGuard&) = default;
  TETimeGuard& operator=(const TETimeGuard&) = default;
  virtual ~TETimeGuard();

 private:
  static void* operator new(std::size_t size);
  static void operator delete(void*) {}

  long m_nType;
  std::string m_strName;
  std::uint32_t m_nStart;
};

// Writes one line with the time of its life, if that was `minMs` or more. Needs no open log.
class BASIC_UTIL_EXPORT TESimpleTimeGuard {
 public:
  explicit TESimpleTimeGuard(const std::string& name);
  TESimpleTimeGuard(const std::string& name, unsigned long minMs);
  TESimpleTimeGuard(const TESimpleTimeGuard&) = default;
  TESimpleTimeGuard& operator=(const TESimpleTimeGuard&) = default;
  ~TESimpleTimeGuard();

 private:
  static void* operator new(std::size_t size);
  static void operator delete(void*) {}

  std::string m_strName;
  std::uint32_t m_nStart;
  std::uint32_t m_nMin;
};

// Opens the thread's log, around a whole request. At its end it writes its own time at once, closes the log,
// and only then ends as a TETimeGuard of a step without text: the outermost guard's step comes too late for
// any log, a nested guard's is a step of the log around it. A copy closes a level that it has not opened.
class BASIC_UTIL_EXPORT TETimeLogGuard : public TETimeGuard {
 public:
  explicit TETimeLogGuard(const std::string& name);
  TETimeLogGuard(const TETimeLogGuard&) = default;
  TETimeLogGuard& operator=(const TETimeLogGuard&) = default;
  ~TETimeLogGuard() override;

 private:
  static void* operator new(std::size_t size);
  static void operator delete(void*) {}

  std::string m_strName;
  std::uint32_t m_nStart;
};

}  // namespace NSTE_util
