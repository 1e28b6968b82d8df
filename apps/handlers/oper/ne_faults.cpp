#include "apps/handlers/oper/ne_faults.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <iterator>
#include <optional>

#include "apps/asn1/ne_oper_codes.h"
#include "apps/common/entries.h"
#include "apps/common/ne_list.h"
#include "apps/common/texts.h"
#include "util/basicutil/stringutil.h"

namespace velad {
namespace {

enum class Level { ne, board, port };

struct Kind {
  std::string_view name;
  Level level;
  std::uint32_t code;
  bool detail;
};
constexpr Kind kKinds[] = {{"lost", Level::ne, NE_ERR_LOST, false},
                           {"missing", Level::board, BOARD_ERR_MISSING, false},
                           {"memory", Level::board, BOARD_ERR_MEMORY, false},
                           {"busy", Level::port, PORT_ERR_BUSY, true},
                           {"silent", Level::port, PORT_ERR_SILENT, false}};

// Cuts the part before `mark` off the front of `rest`.
std::string_view NextPart(std::string_view& rest, char mark) {
  const std::size_t at = rest.find(mark);
  const std::string_view part = rest.substr(0, at);
  rest = at == std::string_view::npos ? std::string_view{} : rest.substr(at + 1);
  return part;
}

std::optional<std::uint32_t> Number(std::string_view text, std::uint32_t most) {
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value == 0 || value > most)
    return std::nullopt;
  return value;
}

std::optional<NEPlace> ParsePlace(std::string_view text) {
  const auto parts = std::count(text.begin(), text.end(), '/');
  const auto ne = apps::ParseNE(NextPart(text, '/'));
  if (!ne || parts > 2) return std::nullopt;
  NEPlace place{.ne = *ne};
  if (parts >= 1) {
    const auto slot = Number(NextPart(text, '/'), NEFaults::kSlots);
    if (!slot) return std::nullopt;
    place.slot = *slot;
  }
  if (parts == 2) {
    const auto port = Number(text, NEFaults::kMostPorts);
    if (!port) return std::nullopt;
    place.port = *port;
  }
  return place;
}

Level LevelOf(const NEPlace& place) {
  if (place.port != 0) return Level::port;
  return place.slot != 0 ? Level::board : Level::ne;
}

}  // namespace

std::string PlaceText(const NEPlace& place) {
  const std::string ne = NSTE_util::TENEID2Str(place.ne);
  switch (LevelOf(place)) {
    case Level::ne:
      return ne;
    case Level::board:
      return apps::Text("PLACE_BOARD", {ne, std::to_string(place.slot)});
    case Level::port:
      break;
  }
  return apps::Text("PLACE_PORT", {ne, std::to_string(place.slot), std::to_string(place.port)});
}

bool NEFaults::Add(std::string_view place, std::string_view fault) {
  const auto where = ParsePlace(place);
  if (!where) return false;
  NEFault what;
  what.once = fault.starts_with("once ");
  if (what.once) NextPart(fault, ' ');
  const std::string_view name = NextPart(fault, ' ');
  const auto* kind =
      std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& k) { return k.name == name; });
  if (kind == std::end(kKinds) || kind->level != LevelOf(*where) || kind->detail == fault.empty())
    return false;
  if (what.once && kind->level == Level::ne) return false;
  what.code = kind->code;
  what.detail = fault;
  return m_faults.try_emplace(*where, what).second;
}

const NEFault* NEFaults::OfNE(std::uint32_t ne) const {
  const auto found = m_faults.find({ne, 0, 0});
  return found == m_faults.end() ? nullptr : &found->second;
}

bool LoadNEFaults(const std::string& file, NEFaults& faults, std::string& reason) {
  const int line =
      apps::ReadEntries(file, [&](const char* place, const char* fault) { return faults.Add(place, fault); });
  if (line == 0 || (line < 0 && errno == ENOENT)) return true;
  reason = line < 0 ? file + ": " + std::strerror(errno)
                    : apps::Text("FAULTS_BAD_LINE", {file, std::to_string(line)});
  return false;
}

}  // namespace velad
