// The mutex file on any bytes. Which operation keeps which from starting, and with what code, must be what a
// slow reader says that goes through the whole text by the letter of the format.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "util/basicutil/mutex.h"

using namespace NSTE_util;

namespace {

constexpr long kMostNumbers = 2000;  // in all ranges of an input: more says nothing new, and takes long
constexpr std::size_t kMostCodes = 12;

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

std::string Without(const char* ends, std::string text) {
  text.erase(0, text.find_first_not_of(ends));
  const std::size_t last = text.find_last_not_of(ends);
  return text.erase(last == std::string::npos ? 0 : last + 1);
}

std::vector<std::string> Cut(const std::string& text, char at) {
  std::vector<std::string> pieces(1);
  for (const char c : text) {
    if (c == at)
      pieces.emplace_back();
    else
      pieces.back() += c;
  }
  return pieces;
}

std::optional<int> Number(const std::string& field) {
  std::string digits = Without(" ", field);
  digits.erase(0, digits.find_first_not_of(" \t\n\v\f\r"));
  const bool negative = digits.starts_with('-');
  if (negative || digits.starts_with('+')) digits.erase(0, 1);
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size() - 1));
  if (digits.size() > 10) return std::nullopt;
  const long value = negative ? -std::stol(digits) : std::stol(digits);
  if (value < INT_MIN || value > INT_MAX) return std::nullopt;
  return static_cast<int>(value);
}

class SlowReader {
 public:
  explicit SlowReader(const std::string& text) {
    std::vector<std::string> lines = Cut(text, '\n');
    if (lines.front().starts_with("\xEF\xBB\xBF")) lines.front().erase(0, 3);
    for (const std::string& line : lines) Read(Without(" \t\n\r", line.substr(0, 1022)));
  }

  bool TooLong() const { return m_numbers > kMostNumbers; }
  bool Good() const { return m_good; }
  std::set<int> Codes() const { return m_codes; }

  unsigned long Result(int running, int starting) const {
    const auto entry = m_stoppedBy.find(starting);
    const bool stopped = m_global.contains(starting) || m_global.contains(running) ||
                         (entry != m_stoppedBy.end() && entry->second.contains(running));
    if (!stopped) return 0;
    const auto code = m_errorCodes.find(running);
    return code != m_errorCodes.end() ? code->second : OPER_REFUSED;
  }

 private:
  void Read(const std::string& line) {
    if (line.empty() || line[0] == '#') return;
    if (line == "[MUTEX_TABLE]" || line == "[MUTEX_ERRORCODE]") {
      m_section = line;
      return;
    }
    const std::vector<std::string> fields = Cut(line, ':');
    const bool good = m_section == "[MUTEX_TABLE]"       ? fields.size() == 3 && ReadMutex(fields)
                      : m_section == "[MUTEX_ERRORCODE]" ? fields.size() == 2 && ReadErrorCode(fields)
                                                         : false;
    m_good = m_good && good;
  }

  bool ReadMutex(const std::vector<std::string>& fields) {
    const std::optional<int> running = Number(fields[0]);
    const std::optional<int> both = Number(fields[2]);
    std::vector<int> stopped;
    if (!ReadList(fields[1], stopped) || !running || !both) return false;
    for (const int code : stopped) Register(*running, code, *both != 0);
    return true;
  }

  bool ReadList(const std::string& list, std::vector<int>& codes) {
    for (const std::string& piece : Cut(list, ',')) {
      const std::string item = Without(" ", piece);
      if (item.empty()) continue;
      const std::size_t dash = item.find('-');
      const std::optional<int> from = Number(item.substr(0, dash));
      const std::optional<int> to = dash == std::string::npos ? from : Number(item.substr(dash + 1));
      if (!from || !to || *from < 0 || *to < *from) return false;
      m_numbers += static_cast<long>(*to) - *from + 1;
      if (TooLong()) return false;
      for (long code = *from; code <= *to; ++code) codes.push_back(static_cast<int>(code));
    }
    return true;
  }

  void Register(int running, int stopped, bool both) {
    m_codes.insert({running, stopped});
    if (running == 0 && stopped == 0) return;
    if (running == 0 || stopped == 0) {
      m_global.insert(running == 0 ? stopped : running);
      return;
    }
    m_stoppedBy[stopped].insert(running);
    if (both) m_stoppedBy[running].insert(stopped);
  }

  bool ReadErrorCode(const std::vector<std::string>& fields) {
    const std::optional<int> code = Number(fields[0]);
    const std::optional<int> error = Number(fields[1]);
    if (!code || !error || *error == 0) return false;
    m_codes.insert(*code);
    m_errorCodes.emplace(*code, static_cast<std::uint32_t>(*error));
    return true;
  }

  std::string m_section;
  bool m_good = true;
  long m_numbers = 0;
  std::set<int> m_codes;
  std::set<int> m_global;
  std::map<int, std::set<int>> m_stoppedBy;
  std::map<int, std::uint32_t> m_errorCodes;
};

bool Load(const std::string& text) {
  const int file = ::memfd_create("mutex", MFD_CLOEXEC);
  Require(file >= 0 && ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "file");
  const bool good = TEMutexOperMgr::Instance()->LoadMutexFile("/proc/self/fd/" + std::to_string(file));
  ::close(file);
  return good;
}

// A few of the codes, from both ends, and one that the file most likely does not name.
std::vector<int> Sample(const std::set<int>& codes) {
  std::vector<int> sample(codes.begin(), codes.end());
  if (sample.size() > kMostCodes)
    sample.erase(sample.begin() + kMostCodes / 2, sample.end() - kMostCodes / 2);
  sample.push_back(-77);
  return sample;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const SlowReader expected(text);
  if (expected.TooLong()) return -1;
  Require(Load(text) == expected.Good(), "the result of loading");
  TEMutexOperMgr& manager = *TEMutexOperMgr::Instance();
  const TEOperObject held(1, 2, 3);
  const TEOperObject wanted(1, 2, 0);
  const std::vector<int> codes = Sample(expected.Codes());
  for (const int running : codes) {
    Require(manager.LockOper(running, held) == 0, "nothing runs, nothing is refused");
    for (const int starting : codes) {
      const unsigned long result = manager.LockOper(starting, wanted);
      Require(result == expected.Result(running, starting), "who keeps whom from starting");
      if (result == 0) manager.UnlockOper(starting, wanted);
    }
    manager.UnlockOper(running, held);
  }
  Require(!manager.HasRunningOper(), "all is given back");
  TEMutexOperMgr::Destroy();
  return 0;
}
