#include "platform/time/rw_db_date_time.h"

#include "platform/time/civil_internal.h"
#include "platform/time/zone_rules_internal.h"

namespace {

const vela::ZoneRules& RulesOf(bool local) {
  return local ? vela::ServerZone() : *vela::ZoneRules::Find("UTC");
}

}  // namespace

const RWZone& RWZone::local() {
  static constinit RWZone zone(true);
  return zone;
}

const RWZone& RWZone::utc() {
  static constinit RWZone zone(false);
  return zone;
}

std::int32_t RWZone::offsetAt(std::int64_t moment) const {
  return RulesOf(m_local).At(moment).offset;
}

bool RWZone::isDaylightAt(std::int64_t moment) const {
  return RulesOf(m_local).At(moment).dst;
}

std::int64_t RWZone::momentOf(std::int64_t wall) const {
  return wall - RulesOf(m_local).AtWall(wall).Plain().offset;
}

RWDBDateTime::RWDBDateTime(int year, int month, int day, int hour, int minute, int second,
                           const RWZone& zone) {
  const VELATime t{year, month, day, hour, minute, second};
  m_valid = year >= 1 && year <= 9999 && vela::IsTime(t);
  if (m_valid) m_seconds = zone.momentOf(vela::CivilSeconds(t));
}

bool RWDBDateTime::extract(std::tm& out, const RWZone& zone) const {
  out = {};
  out.tm_mday = 1;
  if (!m_valid) return false;
  VELATime t;
  const std::int32_t offset = zone.offsetAt(m_seconds);
  vela::SetTime(t, m_seconds + offset, offset, zone.isDaylightAt(m_seconds));
  out.tm_year = t.year - 1900;
  out.tm_mon = t.month - 1;
  out.tm_mday = t.day;
  out.tm_hour = t.hour;
  out.tm_min = t.minute;
  out.tm_sec = t.second;
  out.tm_isdst = t.dst;
  return true;
}
