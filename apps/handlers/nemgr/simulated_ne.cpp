#include "apps/handlers/nemgr/simulated_ne.h"

#include <cstdio>
#include <iterator>
#include <utility>

#include "platform/os/vela_os.h"
#include "util/basicutil/cvelaappfile.h"
#include "util/basicutil/stringutil.h"

namespace velad {
namespace {

constexpr const char* kFolder = "var/simulation/";
constexpr const char* kBoardTypes[] = {"SCC", "XCS", "OTU2", "OTU4", "GE16", "STM64", "MUX40", "AUX"};
constexpr const char* kServices[] = {"", "VC4", "ODU2", "ETH", "VC12"};
constexpr const char* kAlarms[] = {"LOS", "AIS", "POWER_LOW", "TEMP_HIGH"};
constexpr std::uint32_t kMostAlarms = 3;

std::uint32_t Salt(std::uint32_t slot, std::uint32_t port) {
  return slot << 16 | port;
}

}  // namespace

SimulatedNE::SimulatedNE(const Network& network, const NetworkNE& ne, const NEFaults& faults, Pause pause)
    : m_network(network), m_ne(ne), m_faults(faults), m_pause(std::move(pause)) {}

std::uint32_t SimulatedNE::Connect() {
  m_pause(m_network.NETime());
  return 0;
}

std::uint32_t SimulatedNE::Disconnect() {
  const NEFault* lost = m_faults.OfNE(m_ne.ne);
  return lost == nullptr ? 0 : lost->code;
}

std::string SimulatedNE::SoftwareVersion() {
  return m_ne.version;
}

std::vector<NEBoard> SimulatedNE::Boards() {
  std::vector<NEBoard> boards;
  for (std::uint32_t slot = 1; slot <= NEFaults::kSlots; ++slot) {
    const std::size_t type = slot <= 2 ? slot - 1 : Imagined(m_ne.ne, slot) % std::size(kBoardTypes);
    boards.push_back({slot, kBoardTypes[type]});
  }
  return boards;
}

std::vector<NEPort> SimulatedNE::Ports(const NEBoard& board) {
  std::vector<NEPort> ports;
  const std::uint32_t count = 2 + Imagined(m_ne.ne, Salt(board.slot, 0)) % 7 * 2;
  for (std::uint32_t port = 1; port <= count; ++port) {
    const std::uint32_t chance = Imagined(m_ne.ne, Salt(board.slot, port));
    std::string service = kServices[chance % std::size(kServices)];
    if (!service.empty()) service += "-" + std::to_string(chance % 64 + 1);
    ports.push_back({port, std::move(service)});
  }
  return ports;
}

std::vector<NEAlarm> SimulatedNE::Alarms() {
  std::vector<NEAlarm> alarms;
  struct stat info {};
  if (VELA_OS::stat(ResetFile().c_str(), &info) == 0) return alarms;
  const std::uint32_t count = Imagined(m_ne.ne, 4) % (kMostAlarms + 1);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t chance = Imagined(m_ne.ne, 5 + i);
    alarms.push_back({{.ne = m_ne.ne, .slot = chance % NEFaults::kSlots + 1},
                      kAlarms[chance / NEFaults::kSlots % std::size(kAlarms)]});
  }
  return alarms;
}

std::string SimulatedNE::Configuration(const NEBoard& board) {
  std::string text = "board " + board.type + "\n";
  for (const NEPort& port : Ports(board))
    text +=
        "port " + std::to_string(port.number) + (port.service.empty() ? " free" : " " + port.service) + "\n";
  return text;
}

std::vector<NEError> SimulatedNE::AskBoard(const NEBoard& board) {
  m_pause(m_network.BoardTime());
  const bool again = !m_asked.insert(board.slot).second;
  std::vector<NEError> errors;
  m_faults.OfBoard(m_ne.ne, board.slot, [&](const NEPlace& place, const NEFault& fault) {
    if (!again || !fault.once) errors.push_back({place, fault.code, fault.detail});
  });
  return errors;
}

std::uint32_t SimulatedNE::Reset() {
  m_pause(m_network.NETime());
  NSTE_util::CVelaAppFile::CreateFolder(vela::InstallRoot() + kFolder);
  // Without the file it keeps its alarms, as an NE may that has the same fault again.
  if (std::FILE* file = VELA_OS::fopen(ResetFile().c_str(), "w")) VELA_OS::fclose(file);
  return 0;
}

std::string SimulatedNE::ResetFile() const {
  return vela::InstallRoot() + kFolder + NSTE_util::TENEID2Str(m_ne.ne) + ".reset";
}

}  // namespace velad
