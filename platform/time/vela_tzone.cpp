#include "platform/time/vela_tzone.h"

#include <atomic>

#include "platform/os/clock.h"
#include "platform/time/civil_internal.h"
#include "platform/time/server_zone.h"
#include "platform/time/zone_rules_internal.h"

namespace {

std::atomic<unsigned> g_faults{0};

bool Fails(vela::ZoneCall call) {
  return (g_faults.load(std::memory_order_relaxed) & call) != 0;
}

bool FitsLongTime(std::int64_t seconds) {
  return seconds == static_cast<std::int32_t>(seconds);
}

bool IsZone(std::int32_t offset) {
  return offset > -vela::kDaySeconds && offset < vela::kDaySeconds;
}

// The record of a second of a zone, kept per thread: now is asked for many times in a second.
const VELATime& LocalSecond(const vela::ZoneRules& rules, std::int64_t utc) {
  struct Kept {
    const vela::ZoneRules* rules;
    std::int64_t utc;
    VELATime local;
  };
  static constinit thread_local Kept kept{};
  if (kept.rules == &rules && kept.utc == utc) return kept.local;
  const vela::ZoneRules::Span& span = rules.At(utc);
  kept.rules = &rules;
  kept.utc = utc;
  vela::SetTime(kept.local, utc + span.offset, span.offset, span.dst);
  return kept.local;
}

// Of the spans that show the clock's time, the one with that offset.
const vela::ZoneRules::Span* WithOffset(const vela::ZoneRules::Shown& shown, std::int32_t offset) {
  for (const auto* span : {shown.first, shown.second}) {
    if (span != nullptr && span->offset == offset) return span;
  }
  return nullptr;
}

bool IsServersNow(const vela::ZoneRules& rules, const VELATime& local) {
  const vela::ZoneRules::Span& now = rules.At(vela::NowSeconds());
  return now.offset == local.zone && now.dst == (local.dst != 0);
}

// The offset with which a local record is to be read; `wall` is its time as if it were UTC.
std::int32_t OffsetOf(const vela::ZoneRules& rules, const VELATime& local, std::int64_t wall) {
  if (!rules.Uses(local.zone)) return local.zone;
  const vela::ZoneRules::Shown shown = rules.AtWall(wall);
  const vela::ZoneRules::Span* const fitting = WithOffset(shown, local.zone);
  if (fitting == nullptr) return shown.Plain().offset;
  const bool dst = local.dst != 0;
  if (fitting->dst == dst || IsServersNow(rules, local)) return local.zone;
  const vela::ZoneRules::Span* const meant = rules.Nearest(wall - local.zone, dst);
  return meant != nullptr ? meant->offset : local.zone;
}

}  // namespace

void vela::SetZoneFaults(unsigned calls) {
  g_faults.store(calls, std::memory_order_relaxed);
}

VELATZone* VELATZone::instance() {
  static constinit VELATZone service;
  return &service;
}

int VELATZone::getServerUTCTime(VELATime& now) {
  const std::int64_t utc = vela::NowSeconds();
  if (Fails(vela::ZONE_SERVER_UTC) || !FitsLongTime(utc)) return -1;
  vela::SetTime(now, utc, 0, false);
  return 0;
}

int VELATZone::getServerLocalTime(VELATime& now) {
  const std::int64_t utc = vela::NowSeconds();
  if (Fails(vela::ZONE_SERVER_LOCAL) || !FitsLongTime(utc)) return -1;
  now = LocalSecond(vela::ServerZone(), utc);
  return 0;
}

int VELATZone::getUTCTime(const VELATime& local, VELATime& utc) const {
  if (Fails(vela::ZONE_TO_UTC) || !vela::IsTime(local) || !IsZone(local.zone)) return -1;
  const std::int64_t wall = vela::CivilSeconds(local);
  const std::int64_t seconds = wall - OffsetOf(vela::ServerZone(), local, wall);
  if (!FitsLongTime(seconds)) return -1;
  vela::SetTime(utc, seconds, 0, false);
  return 0;
}

int VELATZone::getLocalTime(const VELATime& utc, VELATime& local) const {
  if (Fails(vela::ZONE_TO_LOCAL) || !vela::IsTime(utc) || !IsZone(utc.zone)) return -1;
  const std::int64_t seconds = vela::CivilSeconds(utc);
  if (!FitsLongTime(seconds)) return -1;
  const vela::ZoneRules& rules = vela::ServerZone();
  const vela::ZoneRules::Span& span = rules.At(seconds);
  const bool servers = rules.Uses(utc.zone);
  const std::int32_t offset = servers ? span.offset : utc.zone;
  vela::SetTime(local, seconds + offset, offset, servers && span.dst);
  return 0;
}

long VELATZone::toLongTime(const VELATime& t) {
  if (Fails(vela::ZONE_TO_LONG) || !vela::IsTime(t)) return -1;
  const std::int64_t seconds = vela::CivilSeconds(t);
  return FitsLongTime(seconds) ? seconds : -1;
}

VELATime VELATZone::toVELATime(long t) {
  VELATime utc;
  if (FitsLongTime(t)) vela::SetTime(utc, t, 0, false);
  return utc;
}
