#include <algorithm>
#include <charconv>
#include <limits>
#include <string>

#include "platform/os/singleton.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/unicode_table_internal.h"

namespace NSTE_util {
namespace {

constexpr std::size_t kLineRoom = 1024;
constexpr std::size_t kPrefix = 2;  // of the Unicode value, whatever it is

constinit vela::SingletonSlot<GbTable> g_slot;

std::string_view WithoutBlanks(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\v\f\r"), text.size()));
  return text;
}

// Takes a hexadecimal number of 16 bits off the front; otherwise false, and `value` is untouched.
bool TakeHex(std::string_view& text, std::uint16_t& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (error != std::errc{}) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

}  // namespace

const GbTable* GbTable::Instance() {
  GbTable* const table = g_slot.Instance<GbTable>();
  if (table != nullptr) table->ReportOnce();
  return table;
}

GbTable::GbTable() {
  m_unicode.fill(kMissing);
  m_code.fill(kMissing);
  Load();
}

void GbTable::Load() {
  std::string name;
  if (!VelaGetEnv("VELA_ROOT", name) || VelaTrim(name).empty()) {
    m_failedCheck = "0 != pRootPath";
    return;
  }
  name += name.ends_with('/') ? "conf/gb2312.txt" : "/conf/gb2312.txt";
  UTF8_ifstream file(name.c_str());
  Read(file);
  if (!file.is_open()) m_failedCheck = "file.is_open()";
  if (file.bad()) m_failedCheck = "!file.bad()";
}

void GbTable::Read(UTF8_ifstream& file) {
  char line[kLineRoom];
  while (file.getline(line, sizeof(line)), file.gcount() > 0) {
    if (line[0] != '#') Enter(line);
    if (!file.fail()) continue;
    file.clear(file.rdstate() & ~std::ios_base::failbit);
    file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  }
}

void GbTable::Enter(std::string_view line) {
  std::uint16_t code = kMissing;
  std::uint16_t unit = kMissing;
  line = WithoutBlanks(line);
  if (line.starts_with("0x") || line.starts_with("0X")) line.remove_prefix(kPrefix);
  if (TakeHex(line, code)) {
    std::string_view value = WithoutBlanks(line);
    if (value.size() < line.size() && value.size() > kPrefix) {
      value.remove_prefix(kPrefix);
      TakeHex(value, unit);
    }
  }
  m_unicode[code] = unit;
  m_code[unit] = code;
}

// Not while the lock is held under which the table is made: a report takes locks of its own.
void GbTable::ReportOnce() {
  if (m_failedCheck.load(std::memory_order_relaxed) == nullptr) return;
  if (const char* failed = m_failedCheck.exchange(nullptr)) Check(false, "unicode", failed);
}

}  // namespace NSTE_util
