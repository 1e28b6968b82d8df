// Time texts and conversions on any bytes. The date parser must agree with a slow reading of the same text;
// texts with zones must never do harm; a moment must come back from local time and from its text, unless the
// clock shows it twice. Input: zone (1 byte), now and a moment (4 bytes each), a text.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "platform/os/clock.h"
#include "platform/time/server_zone.h"
#include "platform/time/vela_tzone.h"
#include "util/basicutil/timeutil.h"

namespace {

constexpr std::size_t kHead = 9;
constexpr const char* kZones[] = {"UTC",           "Asia/Kolkata",       "America/New_York",
                                  "Europe/Berlin", "Africa/Monrovia",    "America/Sao_Paulo",
                                  "Europe/Dublin", "Australia/Lord_Howe"};

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

bool SameClock(const std::tm& a, const std::tm& b) {
  return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday && a.tm_hour == b.tm_hour &&
         a.tm_min == b.tm_min && a.tm_sec == b.tm_sec;
}

// One character at a time: the fields that the separators end, in their order, and what is left at the end.
bool SlowCut(const std::string& text, std::vector<std::string>& fields) {
  const std::string separators = "-- ::-";
  std::string field;
  for (const char c : text) {
    if (fields.size() == separators.size()) return false;
    if (c == separators[fields.size()]) {
      fields.push_back(field);
      field.clear();
    } else {
      field += c;
    }
  }
  if (!field.empty()) fields.push_back(field);
  return true;
}

// -1 when the field is no number, or one that is no part of any date.
int SlowNumber(std::string field) {
  while (!field.empty() && field.back() == ' ') field.pop_back();
  while (!field.empty() && field.front() == ' ') field.erase(field.begin());
  if (field.empty() || field.find_first_not_of("0123456789") != std::string::npos) return -1;
  while (field.size() > 1 && field.front() == '0') field.erase(field.begin());
  return field.size() > 4 ? -1 : std::stoi(field);
}

bool SlowParse(const std::string& text, bool needTime, std::tm& t) {
  std::vector<std::string> fields;
  if (!SlowCut(text, fields) || !(fields.size() == 6 || (fields.size() == 3 && !needTime))) return false;
  for (const std::string& field : fields) {
    if (SlowNumber(field) < 0) return false;
  }
  fields.resize(6, "0");
  t = {};
  t.tm_year = SlowNumber(fields[0]) - 1900;
  t.tm_mon = SlowNumber(fields[1]) - 1;
  t.tm_mday = SlowNumber(fields[2]);
  t.tm_hour = SlowNumber(fields[3]);
  t.tm_min = SlowNumber(fields[4]);
  t.tm_sec = SlowNumber(fields[5]);
  if (t.tm_year < 0 || t.tm_year > 1100) return false;
  std::tm normal = t;
  const std::time_t seconds = ::timegm(&normal);  // what does not exist becomes another date
  return SameClock(normal, t) && seconds == static_cast<std::int32_t>(seconds) && seconds != -1;
}

void CheckParser(const std::string& text) {
  for (const bool needTime : {false, true}) {
    std::tm slow{};
    std::tm fast{};
    const bool parsed = NSTE_util::TEStr2DateTime(text.c_str(), fast, needTime);
    Require(parsed == SlowParse(text, needTime, slow), "the slow reading accepts the same dates");
    Require(SameClock(fast, parsed ? slow : std::tm{}), "the slow reading gives the same date");
    Require(fast.tm_isdst == (text.find("DST") != std::string::npos ? 1 : 0), "DST mark");
  }
}

void CheckZoneText(const std::string& text) {
  std::tm utc{};
  NSTE_util::TEText2UTC(text, utc);
  __int64 seconds = 0;
  NSTE_util::TEUTC2UTC(utc, seconds);
  std::tm again{};
  NSTE_util::TEUTC2UTC(seconds, again);
  Require(seconds == 0 || SameClock(utc, again), "any text becomes a time");
}

void CheckMoment(std::int32_t moment) {
  if (moment == -1) return;  // the service's mark of a failure
  std::tm local{};
  NSTE_util::TEUTC2LOCAL(moment, local);
  std::tm utc{};
  NSTE_util::TELOCAL2UTC(local, utc);
  const __int64 back = ::timegm(&utc);
  std::tm shown{};
  NSTE_util::TEUTC2LOCAL(back, shown);
  Require(SameClock(shown, local), "local time becomes a moment that it shows");

  VELATime record = VELATZone::toVELATime(moment);
  VELATime now;
  VELATZone::getServerLocalTime(now);
  record.zone = now.zone;
  Require(VELATZone::instance()->getLocalTime(record, record) == 0, "local record");
  const bool readable = VELATZone::toLongTime(record) != -1;  // as the parser of dates counts
  Require(VELATZone::instance()->getUTCTime(record, record) == 0, "record back");
  Require(VELATZone::toLongTime(record) == moment, "a local record is that very moment");

  std::string text;
  NSTE_util::TEUTC2UTC(moment, utc);
  NSTE_util::TEUTC2Text(utc, text);
  const bool zoneKept = text.find('+') != std::string::npos && now.zone % 60 == 0;
  if (!readable || !zoneKept) return;
  std::tm fromText{};
  NSTE_util::TEText2UTC(text, fromText);
  Require(::timegm(&fromText) == back, "the text is the same moment");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < kHead) return 0;
  std::int32_t now = 0;
  std::int32_t moment = 0;
  std::memcpy(&now, data + 1, sizeof(now));
  std::memcpy(&moment, data + 5, sizeof(moment));
  vela::SetWallClock([now] { return vela::WallTime(std::chrono::seconds(now)); });
  Require(vela::SetServerZone(kZones[data[0] % std::size(kZones)]), "zone");
  const std::string text(reinterpret_cast<const char*>(data) + kHead, size - kHead);
  CheckParser(text.c_str());
  CheckZoneText(text);
  CheckMoment(moment);
  return 0;
}
