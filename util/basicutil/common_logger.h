#pragma once
#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/os/mutex.h"
#include "util/basicutil/common.h"
#include "util/basicutil/common_format.h"

// The loggers behind the debug interfaces, and the store of the records that their switches held back.
namespace NSTE_util {

constexpr unsigned kDebugLevels = 4;

constexpr unsigned DebugLevel(unsigned level) {
  return level < kDebugLevels ? level : kDebugLevels - 1;
}

struct DebugLogRecord {
  std::uint32_t level = 0;
  std::int64_t seconds = 0;
  std::int32_t microseconds = 0;
  std::uint32_t threadId = 0;
  const std::string* module = nullptr;  // a logger's name, which lives as long as the process
  std::string text;
};

// The newest records that were held back. The records are reused: holding one back allocates nothing once
// texts of its length have been seen. Thread-safe.
class FilteredLogCache {
 public:
  static constexpr std::size_t kCapacity = 128;

  void Append(unsigned level, const std::string& module, std::string_view text) VELA_EXCLUDES(m_mutex);
  // Writes all records, oldest first, as one entry of level 0, and forgets them. The lock is held meanwhile.
  void Dump() VELA_EXCLUDES(m_mutex);

 private:
  std::string DumpText() const VELA_REQUIRES(m_mutex);

  vela::Mutex m_mutex;
  std::array<DebugLogRecord, kCapacity> m_records VELA_GUARDED_BY(m_mutex);
  std::size_t m_next VELA_GUARDED_BY(m_mutex) = 0;  // where the next record goes
  std::size_t m_count VELA_GUARDED_BY(m_mutex) = 0;
};

// The store that all loggers share; never destroyed.
FilteredLogCache& CommonLogCache();

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
  std::atomic<unsigned> m_switches{kDefaultSwitches};  // bit n = level n
  FilteredLogCache& m_cache;
};

// Hands "module text" to the platform log, whatever the module's switches say; level 0 dumps the common cache
// behind it.
void WriteRecord(unsigned level, const std::string& module, std::string_view text);

}  // namespace NSTE_util
