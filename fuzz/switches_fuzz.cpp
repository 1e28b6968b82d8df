// Switch files, and print configurations, of any bytes: the first byte says which. What is switched on, and
// printed, must be what a slow reader finds that looks at one module, or type, at a time.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/config/vela_config.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/common_manager.h"
#include "util/basicutil/stringutil.h"

using namespace NSTE_util;

namespace {

constexpr std::size_t kLongestName = 2;  // of a module: its logger lives as long as the process

using Entries = std::vector<std::pair<std::string, std::string>>;

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

Entries Read(const std::string& path) {
  Entries entries;
  std::FILE* const file = VELA_OS::fopen(path.c_str(), "r");
  char key[VELA_LINE_TEXT], value[VELA_LINE_TEXT];
  while (const int kind = VelaGetLine(file, key, value))
    if (kind == VELA_LINE_ENTRY) entries.emplace_back(key, value);
  VELA_OS::fclose(file);
  return entries;
}

// The entries that count, and whether that is all of them.
bool CutAtWrongLength(Entries& entries) {
  for (std::size_t i = 0; i < entries.size(); ++i) {
    std::vector<int> numbers;
    if (!StrToNumList(entries[i].second, numbers) || numbers.size() == 4) continue;
    entries.resize(i);
    return false;
  }
  return true;
}

bool IsOn(const Entries& entries, const std::string& module, unsigned level) {
  bool on = level < 2;
  for (const auto& [key, value] : entries) {
    std::vector<int> numbers;
    if (key == module && StrToNumList(value, numbers)) on = numbers[level] != 0;
  }
  return on;
}

int CheckSwitches(const std::string& path) {
  Entries entries = Read(path);
  for (const auto& [key, value] : entries)
    if (key.size() > kLongestName) return -1;
  const Entries all = entries;
  const bool good = CutAtWrongLength(entries);
  TEDebugMgrImpl::Destroy();  // all switches as they were
  TEDebugMgrImpl& manager = *TEDebugMgrImpl::Instance();
  manager.Init("", "", "", path);
  Require((manager.Reload() == 0) == good, "the result");
  for (const auto& [module, value] : all)
    for (unsigned level = 0; level < 4; ++level)
      Require(manager.GetDebugInterface(module)->IsEnabled(level) == IsOn(entries, module, level),
              "a switch");
  return 0;
}

std::vector<std::string> Cut(const std::string& text, const char* ends) {
  std::vector<std::string> pieces(1);
  for (const char c : text) {
    if (std::string(ends).find(c) != std::string::npos)
      pieces.emplace_back();
    else
      pieces.back() += c;
  }
  std::erase(pieces, "");
  return pieces;
}

int CheckPrints(const std::string& text) {
  const std::vector<std::string> lines = Cut(text, "\n");
  if (lines.empty()) return 0;
  TEDebugMgrImpl& manager = *TEDebugMgrImpl::Instance();
  manager.ReadAsnConfig(lines);
  std::set<std::string> types, kept;
  for (const std::string& line : lines) {
    const std::vector<std::string> words = Cut(line, std::string(" \t\r\n=,").c_str());
    types.insert(words.begin(), words.end());
    if (!words.empty() && words[0] == "NotPrint") kept.insert(words.begin() + 1, words.end());
  }
  for (const std::string& type : types)
    Require(manager.IsPrintAsn(type) == !kept.contains(type), "whether a type is printed");
  return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool logs = (LogProcess::InitEnv("switches_fuzz", 0), true);
  if (!logs || size == 0) return -1;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (data[0] == 'p') return CheckPrints(text);
  const int file = ::memfd_create("switches", MFD_CLOEXEC);
  Require(file >= 0 && ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "file");
  const int result = CheckSwitches("/proc/self/fd/" + std::to_string(file));
  ::close(file);
  return result;
}
