#include <date/tz.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <map>
#include <memory>

#include "platform/os/mutex.h"
#include "platform/time/zone_rules_internal.h"

namespace vela {
namespace {

constexpr std::int64_t kBeginning = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kYear = 366 * std::int64_t{86'400};

// Rules that go on for ever are followed until here.
constexpr date::sys_seconds kLastChange{date::sys_days(date::year(2100) / 1 / 1)};

std::vector<ZoneRules::Span> SpansOf(const date::time_zone& zone) {
  std::vector<ZoneRules::Span> spans;
  date::sys_info info = zone.get_info(date::sys_days(date::year(1800) / 1 / 1));
  spans.push_back({kBeginning, static_cast<std::int32_t>(info.offset.count()), info.save.count() != 0});
  while (info.end < kLastChange) {
    info = zone.get_info(info.end);
    const ZoneRules::Span span{info.begin.time_since_epoch().count(),
                               static_cast<std::int32_t>(info.offset.count()), info.save.count() != 0};
    const ZoneRules::Span& last = spans.back();
    if (span.offset != last.offset || span.dst != last.dst) spans.push_back(span);
  }
  return spans;
}

// Zones are few and are kept: no caller has to own one.
class ZoneShelf {
 public:
  const ZoneRules* Find(const std::string& name) VELA_EXCLUDES(m_mutex) {
    const MutexLock lock(m_mutex);
    const auto known = m_zones.find(name);
    if (known != m_zones.end()) return known->second.get();
    std::unique_ptr<const ZoneRules> rules = Load(name);
    if (!rules) return nullptr;
    return m_zones.emplace(name, std::move(rules)).first->second.get();
  }

 private:
  static std::unique_ptr<const ZoneRules> Load(const std::string& name) {
    if (name == "UTC") {
      return std::make_unique<ZoneRules>(name, std::vector<ZoneRules::Span>{{kBeginning, 0, false}});
    }
    try {
      return std::make_unique<ZoneRules>(name, SpansOf(*date::locate_zone(name)));
    } catch (const std::exception&) {
      return nullptr;  // no such zone, or no zone database
    }
  }

  Mutex m_mutex;
  std::map<std::string, std::unique_ptr<const ZoneRules>> m_zones VELA_GUARDED_BY(m_mutex);
};

}  // namespace

ZoneRules::ZoneRules(std::string name, std::vector<Span> spans)
    : m_name(std::move(name)), m_spans(std::move(spans)) {
  for (const Span& span : m_spans) {
    if (!Uses(span.offset)) m_offsets.push_back(span.offset);
  }
  std::sort(m_offsets.begin(), m_offsets.end());
  for (std::size_t slot = 0; slot < m_slots.size(); ++slot) {
    const std::int64_t begin = (static_cast<std::int64_t>(slot) << kSlotBits) + INT32_MIN;
    m_slots[slot] = static_cast<std::uint16_t>(Search(begin));
  }
}

const ZoneRules* ZoneRules::Find(const std::string& name) {
  static ZoneShelf& shelf = *new ZoneShelf;  // never destroyed: threads may ask until the process is gone
  return shelf.Find(name);
}

const ZoneRules* ZoneRules::OfHost() {
  try {
    return Find(date::current_zone()->name());
  } catch (const std::exception&) {
    return nullptr;
  }
}

std::size_t ZoneRules::Search(std::int64_t utc) const {
  const auto next = std::upper_bound(m_spans.begin() + 1, m_spans.end(), utc,
                                     [](std::int64_t time, const Span& span) { return time < span.begin; });
  return static_cast<std::size_t>(next - m_spans.begin()) - 1;
}

std::int64_t ZoneRules::EndOf(std::size_t index) const {
  return index + 1 < m_spans.size() ? m_spans[index + 1].begin : std::numeric_limits<std::int64_t>::max();
}

ZoneRules::Shown ZoneRules::AtWall(std::int64_t wall) const {
  Shown shown;
  const std::size_t last = Index(wall - m_offsets.front());
  for (std::size_t i = Index(wall - m_offsets.back()); i <= last; ++i) {
    const Span& span = m_spans[i];
    const std::int64_t utc = wall - span.offset;
    if (utc >= EndOf(i)) shown.before = &span;
    if (utc < span.begin || utc >= EndOf(i)) continue;
    (shown.first == nullptr ? shown.first : shown.second) = &span;
  }
  return shown;
}

const ZoneRules::Span* ZoneRules::Nearest(std::int64_t utc, bool dst) const {
  const std::size_t here = Index(utc);
  for (std::size_t i = here; i-- > 0 && utc - EndOf(i) <= kYear;) {
    if (m_spans[i].dst == dst) return &m_spans[i];
  }
  for (std::size_t i = here + 1; i < m_spans.size() && m_spans[i].begin - utc <= kYear; ++i) {
    if (m_spans[i].dst == dst) return &m_spans[i];
  }
  return nullptr;
}

}  // namespace vela
