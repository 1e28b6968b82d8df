#pragma once
#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/os/mutex.h"
#include "util/basicutil/common.h"
#include "util/basicutil/common_format.h"

// The loggers behind the debug interfaces, and the store of the records that their switches held back.
namespace NSTE_util {

constexpr unsigned kDebugLevels = 4;

constexpr unsigned DebugLevel(unsigned level) {
  return level < kDebugLevels ? level : kDebugLevels - 1;
}

constexpr std::size_t kCacheLine = 64;

// Fills a cache line: records of several threads follow each other in one store.
struct alignas(kCacheLine) DebugLogRecord {
  std::uint32_t level = 0;
  std::uint16_t taskId = 0;  // that was current; 0: none
  std::int64_t time = 0;     // microseconds since 1970-01-01 UTC
  std::uint32_t threadId = 0;
  std::uint32_t osThreadId = 0;
  const std::string* module = nullptr;  // a logger's name, which lives as long as the process
  std::string text;
};
static_assert(sizeof(DebugLogRecord) == kCacheLine);

// What the store holds now, and what it has lost since the process began.
struct HeldBackStats {
  std::size_t records = 0;
  std::size_t bytes = 0;  // of texts
  std::size_t byteLimit = 0;
  std::uint64_t droppedForNumber = 0;  // 128 newer ones came
  std::uint64_t droppedForBytes = 0;   // newer ones needed their bytes, or they alone exceeded the limit
};

// The newest records that were held back. The records are reused: holding one back allocates nothing once
// texts of its length have been seen. Thread-safe.
class BASIC_UTIL_EXPORT FilteredLogCache {
 public:
  static constexpr std::size_t kCapacity = 128;
  static constexpr std::size_t kDefaultByteLimit = std::size_t{16} << 20;  // holds the largest ASN.1 text

  void Append(unsigned level, const std::string& module, std::string_view text) VELA_EXCLUDES(m_mutex);
  // Writes all records, oldest first, as one entry of level 0, and forgets them. The lock is held meanwhile.
  void Dump() VELA_EXCLUDES(m_mutex);

  // Of the texts; the oldest records go at once when they hold more.
  void SetByteLimit(std::size_t bytes) VELA_EXCLUDES(m_mutex);
  HeldBackStats Stats() const VELA_EXCLUDES(m_mutex);
  // A copy, oldest first.
  std::vector<DebugLogRecord> Records() const VELA_EXCLUDES(m_mutex);

 private:
  std::string DumpText() const VELA_REQUIRES(m_mutex);
  const DebugLogRecord& At(std::size_t i) const VELA_REQUIRES(m_mutex);  // 0 is the oldest
  std::string& DropOldest() VELA_REQUIRES(m_mutex);  // its text, to be reused or given back
  void MakeRoom(std::size_t bytes) VELA_REQUIRES(m_mutex);

  // What every record changes lies beside the mutex, in its cache line.
  alignas(kCacheLine) mutable vela::Mutex m_mutex;
  std::uint32_t m_next VELA_GUARDED_BY(m_mutex) = 0;  // where the next record goes
  std::uint32_t m_count VELA_GUARDED_BY(m_mutex) = 0;
  std::size_t m_bytes VELA_GUARDED_BY(m_mutex) = 0;
  std::uint64_t m_droppedForNumber VELA_GUARDED_BY(m_mutex) = 0;
  std::size_t m_byteLimit VELA_GUARDED_BY(m_mutex) = kDefaultByteLimit;
  std::uint64_t m_droppedForBytes VELA_GUARDED_BY(m_mutex) = 0;
  std::array<DebugLogRecord, kCapacity> m_records VELA_GUARDED_BY(m_mutex);
};

// One record as dumps show it, its line end in front.
void AppendRecord(std::string& out, const DebugLogRecord& record);

// The store that all loggers share; never destroyed.
BASIC_UTIL_EXPORT FilteredLogCache& CommonLogCache();

class TEDebugLogger final : public TEDebugInterface {
 public:
  static constexpr unsigned kDefaultSwitches = 0b0011;

  // `cache` must outlive the logger.
  TEDebugLogger(std::string name, FilteredLogCache& cache);

  void Print(unsigned int level, const char* text) override;
  void PrintException(const char* text) override;
  [[gnu::format(printf, 3, 4)]] void PrintF(unsigned int level, const char* format, ...) override;
  [[gnu::format(printf, 2, 3)]] void PrintExceptionF(const char* format, ...) override;
  bool IsEnabled(unsigned int level) override;
  std::string GetName() override;

  void PrintText(unsigned level, std::string_view text);
  unsigned Switches() const { return m_switches.load(std::memory_order_relaxed); }
  void SetSwitches(unsigned switches) { m_switches.store(switches, std::memory_order_relaxed); }

 private:
  const std::string m_name;
  const bool m_isAlarm;
  FilteredLogCache& m_cache;
  // Bit n = level n. In a cache line of its own: a change holds up nobody who reads the name.
  alignas(kCacheLine) std::atomic<unsigned> m_switches{kDefaultSwitches};
};

// Hands "module text" to the platform log, whatever the module's switches say; level 0 dumps the common cache
// behind it.
void WriteRecord(unsigned level, const std::string& module, std::string_view text);

}  // namespace NSTE_util
