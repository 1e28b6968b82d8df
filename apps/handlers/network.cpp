#include "apps/handlers/network.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <set>

#include "apps/common/entries.h"
#include "apps/common/inventory.h"
#include "apps/common/ne_list.h"
#include "platform/log/log_process.h"
#include "platform/os/clock.h"
#include "platform/os/vela_os.h"

namespace velad {
namespace {

constexpr std::uint32_t kFirstSubnet = 9;
constexpr std::uint32_t kNEsEach = 100;  // in a subnet
constexpr int kLongestLatency = 3600000;
constexpr std::size_t kMostLogged = 20;  // rows of an inventory that are left out
constexpr const char* kSites[] = {"North Harbour", "Kingsfield", "Mill Lane", "East Ridge",
                                  "Old Town",      "Airport",    "Lakeside",  "University"};

std::optional<int> Number(std::string_view text, int low, int high) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value < low || value > high)
    return std::nullopt;
  return value;
}

bool IsType(std::string_view key) {
  return std::any_of(key.begin(), key.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// So long in milliseconds of configured seconds.
std::chrono::microseconds Scaled(int milliseconds) {
  return std::chrono::microseconds(vela::ScaledSeconds(1).count() * milliseconds);
}

}  // namespace

struct Network::Keys {
  std::optional<int> nes;
  std::string inventory;
  int neMilliseconds = 50;
  int boardMilliseconds = 20;
};

bool Network::Load(const std::string& file, std::string& reason) {
  *this = Network();
  Keys keys;
  bool good = Read(file, keys, reason);
  if (good && m_types.empty()) reason = file + ": no type of NE has a manager";
  if (good && keys.nes && !keys.inventory.empty()) reason = file + ": give NEs or Inventory, not both";
  good = good && reason.empty();
  if (good) {
    m_neTime = Scaled(keys.neMilliseconds);
    m_boardTime = Scaled(keys.boardMilliseconds);
    if (keys.inventory.empty())
      MakeUp(static_cast<std::size_t>(keys.nes.value_or(kDefaultNEs)));
    else
      good = ReadInventory(keys.inventory, reason);
  }
  if (!good) *this = Network();
  return good;
}

bool Network::Read(const std::string& file, Keys& keys, std::string& reason) {
  const int line =
      apps::ReadEntries(file, [&](const char* key, const char* value) { return AddEntry(key, value, keys); });
  if (line == 0) return true;
  reason = line < 0 ? file + ": " + std::strerror(errno)
                    : file + ":" + std::to_string(line) +
                          ": no such key, a bad value, or a type that stands there already";
  return false;
}

bool Network::AddEntry(std::string_view key, const std::string& value, Keys& keys) {
  if (key == "Inventory") {
    keys.inventory = value.empty() || value.front() == '/' ? value : vela::InstallRoot() + value;
    return !value.empty();
  }
  if (key == "NEs") {
    keys.nes = Number(value, 1, kMostNEs);
    return keys.nes.has_value();
  }
  if (key == "NEMilliseconds" || key == "BoardMilliseconds") {
    const auto latency = Number(value, 0, kLongestLatency);
    (key == "NEMilliseconds" ? keys.neMilliseconds : keys.boardMilliseconds) = latency.value_or(0);
    return latency.has_value();
  }
  const auto process = Number(value, 1, 65535);
  if (!IsType(key) || !process || m_managers.contains(key)) return false;
  m_managers.emplace(key, static_cast<std::uint16_t>(*process));
  m_types.emplace_back(key);
  return true;
}

void Network::MakeUp(std::size_t count) {
  m_nes.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    NetworkNE ne;
    ne.ne = ((kFirstSubnet + i / kNEsEach) << 16) | (i % kNEsEach + 1);
    ne.name = std::string(kSites[Imagined(ne.ne, 1) % std::size(kSites)]) + " " + std::to_string(i + 1);
    ne.type = m_types[i % m_types.size()];
    ne.version =
        "5." + std::to_string(Imagined(ne.ne, 2) % 40) + "." + std::to_string(Imagined(ne.ne, 3) % 20);
    ne.manager = m_managers.find(ne.type)->second;
    m_nes.push_back(std::move(ne));
  }
}

bool Network::ReadInventory(const std::string& file, std::string& reason) {
  std::vector<apps::InventoryRow> rows;
  if (!apps::ReadInventory(file, rows, reason)) return false;
  std::set<std::uint32_t> known;
  std::size_t omitted = 0;
  const auto omit = [&](const apps::InventoryRow& row, const std::string& why) {
    if (++omitted <= kMostLogged)
      LogProcess::Error(file + ":" + std::to_string(row.line) + ": left out: " + vela::EscapeControls(why));
  };
  for (apps::InventoryRow& row : rows) {
    const auto id = apps::ParseNE(row.identifier);
    const auto manager = m_managers.find(row.type);
    if (!id)
      omit(row, "'" + row.identifier + "' is no NE");
    else if (manager == m_managers.end())
      omit(row, "no process manages NEs of type '" + row.type + "'");
    else if (!known.insert(*id).second)
      omit(row, "NE " + row.identifier + " stands there already");
    else
      m_nes.push_back(
          {*id, std::move(row.name), std::move(row.type), std::move(row.version), manager->second});
  }
  std::sort(m_nes.begin(), m_nes.end(), [](const NetworkNE& a, const NetworkNE& b) { return a.ne < b.ne; });
  if (omitted != 0)
    LogProcess::Error(file + ": " + std::to_string(omitted) + " of " + std::to_string(rows.size()) +
                      " rows are left out");
  return true;
}

const NetworkNE* Network::Find(std::uint32_t ne) const {
  const auto found = std::lower_bound(m_nes.begin(), m_nes.end(), ne,
                                      [](const NetworkNE& one, std::uint32_t id) { return one.ne < id; });
  return found != m_nes.end() && found->ne == ne ? &*found : nullptr;
}

const Network* ProcessNetwork() {
  // Lives to the end: abandoned handlers may still use it.
  static const Network* const network = []() -> const Network* {
    auto loaded = std::make_unique<Network>();
    std::string reason;
    if (loaded->Load(vela::InstallRoot() + "conf/network.cfg", reason)) return loaded.release();
    LogProcess::Error(reason);
    return nullptr;
  }();
  return network;
}

std::uint32_t Imagined(std::uint32_t ne, std::uint32_t salt) {
  std::uint64_t x = (std::uint64_t{salt} << 32 | ne) * 0x9E3779B97F4A7C15U;
  x = (x ^ x >> 31) * 0xBF58476D1CE4E5B9U;
  return static_cast<std::uint32_t>(x >> 33);
}

}  // namespace velad
