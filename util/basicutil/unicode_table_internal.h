#pragma once
#include <array>
#include <atomic>
#include <cstdint>
#include <string_view>

#include "platform/os/vela_os.h"

namespace NSTE_util {

// The GB2312 table of the process, flat in both directions. Read-only once it is made.
class GbTable {
 public:
  // Loads the table on the first call and keeps it for good. Null when the static-object lock is gone.
  static const GbTable* Instance();

  GbTable();

  std::uint16_t Unicode(std::uint16_t code) const { return m_unicode[code]; }
  std::uint16_t Code(std::uint16_t unit) const { return m_code[unit]; }

 private:
  static constexpr std::uint16_t kMissing = 0xFFFF;
  using Map = std::array<std::uint16_t, 0x10000>;

  void Load();
  void Read(UTF8_ifstream& file);
  void Enter(std::string_view line);
  void ReportOnce();

  Map m_unicode;                                    // by row-column code
  Map m_code;                                       // by code unit
  std::atomic<const char*> m_failedCheck{nullptr};  // to be reported
};

}  // namespace NSTE_util
