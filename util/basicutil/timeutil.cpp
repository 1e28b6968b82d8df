#include "util/basicutil/timeutil.h"

#include <algorithm>
#include <limits>

#include "platform/time/vela_tzone.h"
#include "util/basicutil/common.h"
#include "util/basicutil/timeutil_internal.h"

namespace NSTE_util {
namespace {

// A number of a tm record in the counting of the time record; out of range it stays out of range.
std::int32_t Shifted(int value, int by) {
  return value > std::numeric_limits<int>::max() - by ? value : value + by;
}

VELATime RecordOf(const std::tm& t) {
  return {Shifted(t.tm_year, 1900), Shifted(t.tm_mon, 1), t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec};
}

// `out` is cleared. Read field by field (hence volatile): the service has just written these fields, and a
// wider read would have to wait for them.
void SetFields(std::tm& out, const VELATime& record) {
  const volatile VELATime& t = record;
  out.tm_year = t.year - 1900;
  out.tm_mon = t.month - 1;
  out.tm_mday = t.day;
  out.tm_hour = t.hour;
  out.tm_min = t.minute;
  out.tm_sec = t.second;
}

void TraceFailure(const char* message, const VELATime& t, long longTime) {
  TETrace("%s: %d/%d/%d/%d:%d:%d/zone=%d/isdst=%d/longtime=%ld", message, t.year, t.month, t.day, t.hour,
          t.minute, t.second, t.zone, t.dst, longTime);
}

// 0 when the sum cannot be counted.
__int64 Sum(__int64 a, __int64 b) {
  __int64 sum = 0;
  return __builtin_add_overflow(a, b, &sum) ? 0 : sum;
}

std::tm LocalNow() {
  __int64 now = 0;
  GetSysTime(now);
  std::tm local;
  TEUTC2LOCAL(now, local);
  return local;
}

}  // namespace

void GetSysTime(std::tm& utc) {
  utc = ClearedTime();
  VELATime now;
  if (VELATZone::getServerUTCTime(now) == 0) SetFields(utc, now);
}

void GetSysTime(__int64& t) {
  std::tm utc;
  GetSysTime(utc);
  TEUTC2UTC(utc, t);
}

void GetNMUTCTime(std::tm& utc) {
  GetSysTime(utc);
}

__int64 GetNMTimeZone() {
  VELATime now;
  if (VELATZone::getServerLocalTime(now) == 0) return -static_cast<__int64>(now.zone);
  TraceFailure("GetNMTimeZone::GetNMTimeZone is fail!", now, 0);
  return 0;
}

int NMDstFlag() {
  return LocalNow().tm_isdst;
}

void NMDstInformation(int& isDst, long& dstMinutes) {
  isDst = 0;
  dstMinutes = 0;
  __int64 now = 0;
  GetSysTime(now);
  std::tm local;
  TEUTC2LOCAL(now, local);
  isDst = local.tm_isdst;
  if (isDst <= 0) return;

  VELATime standard = RecordOf(local);
  VELATime server;
  if (VELATZone::getServerLocalTime(server) != 0) {
    TraceFailure("NMDstInformation::getServerLocalTime is fail!", standard, now);
    return;
  }
  standard.zone = server.zone;
  VELATime utc;
  if (VELATZone::instance()->getUTCTime(standard, utc) != 0) {
    TraceFailure("NMDstInformation::getUTCTime is fail!", standard, now);
    return;
  }
  const long standardTime = VELATZone::toLongTime(utc);
  if (standardTime == -1) {
    TETrace("NMDstInformation::toLongTime is fail! \n");
    return;
  }
  dstMinutes = (standardTime - now) / 60;
}

bool UTC2LongTime(const std::tm& utc, __int64& t) {
  const VELATime record = RecordOf(utc);
  const long longTime = VELATZone::toLongTime(record);
  const bool counted = longTime != -1;
  if (!counted) TraceFailure("TEUTC2UTC::toLongTime is fail!", record, longTime);
  t = counted ? longTime : 0;
  return counted;
}

void TEUTC2UTC(std::tm utc, __int64& t) {
  UTC2LongTime(utc, t);
}

void TEUTC2UTC(__int64 t, std::tm& utc) {
  utc = ClearedTime();
  SetFields(utc, VELATZone::toVELATime(t));
}

void TELOCAL2UTC(std::tm local, std::tm& utc) {
  utc = ClearedTime();
  VELATime record = RecordOf(local);
  VELATime now;
  if (VELATZone::getServerLocalTime(now) != 0) {
    TraceFailure("TELOCAL2UTC::getServerLocalTime is fail!", record, 0);
    return;
  }
  record.zone = now.zone;
  record.dst = now.dst;
  VELATime converted;
  if (VELATZone::instance()->getUTCTime(record, converted) != 0) {
    TraceFailure("TELOCAL2UTC::getUTCTime is fail!", record, 0);
    return;
  }
  SetFields(utc, converted);
}

void TEUTC2LOCAL(__int64 t, std::tm& local) {
  local = ClearedTime();
  VELATime record = VELATZone::toVELATime(t);
  VELATime now;
  if (VELATZone::getServerLocalTime(now) != 0) {
    TraceFailure("TEUTC2LOCAL::getServerLocalTime is fail!", record, t);
    return;
  }
  record.zone = now.zone;
  record.dst = now.dst;
  VELATime converted;
  if (VELATZone::instance()->getLocalTime(record, converted) != 0) {
    TraceFailure("TEUTC2LOCAL::getLocalTime is fail!", record, t);
    return;
  }
  SetFields(local, converted);
  local.tm_isdst = converted.dst;
}

__int64 TELocalTimeAndZoneToUTC(__int64 zone, std::tm& local) {
  std::tm utc;
  TELOCAL2UTC(local, utc);
  __int64 asServers = 0;
  TEUTC2UTC(utc, asServers);
  return Sum(Sum(asServers, -GetNMTimeZone()), zone);
}

void TELocalTimeAndZoneToUTC(__int64 zone, std::tm& local, std::tm& utc) {
  TEUTC2UTC(TELocalTimeAndZoneToUTC(zone, local), utc);
}

}  // namespace NSTE_util
