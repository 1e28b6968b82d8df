#pragma once
#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace vela {

// The offsets of one zone over all time. Immutable, so safe in any thread; lives as long as the process.
class ZoneRules {
 public:
  // From `begin` (seconds since 1970, UTC) until the next span begins.
  struct Span {
    std::int64_t begin;
    std::int32_t offset;  // seconds east of UTC
    bool dst;
  };

  // What a wall clock's time can stand for: the spans in which it is shown, in their order; none when the
  // clock skips it. `before` then ends where the clock skips.
  struct Shown {
    const Span* first = nullptr;
    const Span* second = nullptr;
    const Span* before = nullptr;

    // How a time is read when nothing else is known.
    const Span& Plain() const { return first != nullptr ? *first : *before; }
  };

  ZoneRules(std::string name, std::vector<Span> spans);

  // Null when the zone database has no such zone. "UTC" needs no database. Takes a lock.
  static const ZoneRules* Find(const std::string& name);
  // The zone of the host; null when it cannot be told.
  static const ZoneRules* OfHost();

  const std::string& Name() const { return m_name; }
  const Span& At(std::int64_t utc) const { return m_spans[Index(utc)]; }
  // Whether the zone has the offset at any time.
  bool Uses(std::int32_t offset) const {
    return std::find(m_offsets.begin(), m_offsets.end(), offset) != m_offsets.end();
  }
  // `wall`: the clock's time as if it were UTC.
  Shown AtWall(std::int64_t wall) const;
  // Of the spans with the flag, the one that ended last before `utc`, else the one that begins next; at most
  // a year from it. Null if none.
  const Span* Nearest(std::int64_t utc, bool dst) const;

 private:
  // Long times fall into slots of 12 days each; the few changes inside one are walked.
  static constexpr int kSlotBits = 20;
  static std::size_t SlotOf(std::int32_t utc) {
    return (static_cast<std::uint32_t>(utc) ^ 0x8000'0000U) >> kSlotBits;
  }

  std::size_t Index(std::int64_t utc) const {
    if (utc != static_cast<std::int32_t>(utc)) return Search(utc);
    std::size_t index = m_slots[SlotOf(static_cast<std::int32_t>(utc))];
    while (index + 1 < m_spans.size() && m_spans[index + 1].begin <= utc) ++index;
    return index;
  }
  std::size_t Search(std::int64_t utc) const;
  std::int64_t EndOf(std::size_t index) const;

  std::string m_name;
  std::vector<Span> m_spans;                                   // ordered; the first begins before all time
  std::array<std::uint16_t, 1 << (32 - kSlotBits)> m_slots{};  // the span at the slot's begin
  std::vector<std::int32_t> m_offsets;                         // ordered, each once
};

// The server's zone: read from the configuration on first use. A problem of that is logged by the next call
// of the first form; the second, which the log itself uses, leaves it to that call.
const ZoneRules& ServerZone();
const ZoneRules& ServerZoneUnreported();

}  // namespace vela
