#pragma once
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <utility>

#include "util/basicutil/client_records.h"

// Look-ups of mission keys with their wildcard in ordered containers. The containers are ordered by
// ClientMissionIDExactLess, in which all keys that may be equal lie side by side.
namespace NSTE_util {

template <class Value>
using MissionMap = std::map<ClientMissionID, Value, ClientMissionIDExactLess>;
template <class Value>
using MissionMultimap = std::multimap<ClientMissionID, Value, ClientMissionIDExactLess>;
using MissionSet = std::set<ClientMissionID, ClientMissionIDExactLess>;

// All six fields, for the hashed index of exact keys.
struct ExactHash {
  std::size_t operator()(const ClientMissionID& key) const {
    constexpr std::uint64_t odd = 0x9E3779B97F4A7C15;
    std::uint64_t hash =
        (std::uint64_t{key.m_nClientNo} << 32) | static_cast<std::uint32_t>(key.m_nMissionNo);
    hash = (hash ^ (hash >> 29)) * odd;
    hash ^= (std::uint64_t{key.m_wProcID} << 48) | (std::uint64_t{key.m_wProcHandle} << 32) |
            (std::uint64_t{key.m_wDeskNo} << 16) | key.m_wReplyAttr;
    hash = (hash ^ (hash >> 32)) * odd;
    return hash ^ (hash >> 29);
  }
};

struct ExactEqual {
  bool operator()(const ClientMissionID& left, const ClientMissionID& right) const {
    return left == right && left.m_wReplyAttr == right.m_wReplyAttr;
  }
};

inline const ClientMissionID& KeyOf(const ClientMissionID& entry) {
  return entry;
}
template <class Value>
const ClientMissionID& KeyOf(const std::pair<const ClientMissionID, Value>& entry) {
  return entry.first;
}

inline ClientMissionID WithAnyReply(ClientMissionID key) {
  key.m_wReplyAttr = 0;
  return key;
}

// The exact key; else the one with reply attribute 0; else, when that is the key's own, the lowest.
template <class Container>
auto FindMission(Container& entries, const ClientMissionID& key) {
  auto it = entries.find(key);
  if (it != entries.end()) return it;
  it = entries.lower_bound(WithAnyReply(key));
  return it != entries.end() && KeyOf(*it) == key ? it : entries.end();
}

// Takes everything that equals the key out of the container.
template <class Container>
Container TakeMissions(Container& entries, const ClientMissionID& key) {
  Container taken;
  const ClientMissionID anyReply = WithAnyReply(key);
  auto it = entries.lower_bound(anyReply);
  while (it != entries.end() && KeyOf(*it) == anyReply) {
    const auto entry = it++;
    if (KeyOf(*entry) == key) taken.insert(entries.extract(entry));
  }
  return taken;
}

}  // namespace NSTE_util
