#include "apps/handlers/spread/spread_config.h"

#include <algorithm>
#include <charconv>

#include "platform/config/vela_config.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"

namespace velad {
namespace {

constexpr int kMostPieces = 100;
constexpr int kLongestSilence = 86400;
constexpr int kLongestPause = 100000000;  // microseconds

bool TakeNumber(std::string_view text, unsigned high, std::uint16_t& number) {
  unsigned value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value < 1 || value > high) return false;
  number = static_cast<std::uint16_t>(value);
  return true;
}

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool ParseProcess(std::string_view text, CProcID& process) {
  const std::size_t slash = text.find('/');
  std::uint16_t number = 0;
  std::uint16_t handle = 0;
  if (slash == std::string_view::npos || !TakeNumber(text.substr(0, slash), 65535, number) ||
      !TakeNumber(text.substr(slash + 1), 10000, handle))
    return false;
  process = CProcID(number, handle);
  return true;
}

int Number(const std::string& file, const char* key, int missing, int low, int high) {
  int value = missing;
  VelaGetRegInt(file.c_str(), key, value);
  return std::clamp(value, low, high);
}

}  // namespace

bool ParseProcesses(std::string_view text, std::vector<CProcID>& processes) {
  while (!text.empty()) {
    const std::size_t comma = std::min(text.find(','), text.size());
    CProcID process;
    if (!ParseProcess(Trimmed(text.substr(0, comma)), process) ||
        std::find(processes.begin(), processes.end(), process) != processes.end())
      return false;
    processes.push_back(process);
    text.remove_prefix(std::min(comma + 1, text.size()));
  }
  return true;
}

SpreadConfig LoadSpreadConfig(const std::string& file) {
  SpreadConfig config;
  std::string processes;
  VelaGetRegString(file.c_str(), "SpreadProcesses", processes);
  if (!ParseProcesses(processes, config.processes)) {
    LogProcess::Error(file + ": SpreadProcesses = " + vela::EscapeControls(processes) +
                      " is not a list of processes as in 101/1, 102/1");
    config.processes.clear();
  }
  config.piecesEach = static_cast<unsigned>(Number(file, "SpreadPieces", 2, 1, kMostPieces));
  config.silenceSeconds = Number(file, "SpreadSilenceSeconds", 120, 1, kLongestSilence);
  config.recordMicroseconds =
      static_cast<unsigned>(Number(file, "SpreadRecordMicroseconds", 0, 0, kLongestPause));
  config.answerMicroseconds =
      static_cast<unsigned>(Number(file, "SpreadAnswerMicroseconds", 0, 0, kLongestPause));
  return config;
}

std::vector<Cut> CutRecords(std::size_t records, const std::vector<CProcID>& processes, unsigned piecesEach) {
  const std::size_t wanted = processes.size() * piecesEach;
  const std::size_t pieces = std::min(wanted, records);
  std::vector<Cut> cuts;
  cuts.reserve(pieces);
  for (std::size_t i = 0; i < pieces; ++i)
    cuts.push_back(
        {processes[i * processes.size() / pieces], records * i / pieces, records * (i + 1) / pieces});
  return cuts;
}

}  // namespace velad
