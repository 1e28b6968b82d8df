#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "util/basicutil/assert_report.h"
#include "util/basicutil/stringutil_internal.h"
#include "util/basicutil/timeutil.h"
#include "util/basicutil/timeutil_internal.h"

namespace NSTE_util {
namespace {

// A zone text: the zero offset is spelled out, since it has a sign of its own.
std::string ZoneText(const char* zero, const char* format) {
  const __int64 zone = GetNMTimeZone();
  if (zone == 0) return zero;
  const int minutes = static_cast<int>(std::abs(zone) / 60);
  char text[32];
  std::snprintf(text, sizeof(text), format, zone < 0 ? '+' : '-', minutes / 60, minutes % 60);
  return text;
}

constexpr std::string_view kSeparators = "-- ::-";

// The numbers of a text: each ends at its separator, in the fixed order, or at the end of the text.
struct Fields {
  std::array<int, kSeparators.size()> numbers{};
  std::size_t count = 0;
};

std::optional<Fields> Cut(std::string_view text) {
  Fields fields;
  while (!text.empty()) {
    if (fields.count == kSeparators.size()) return std::nullopt;
    const std::size_t end = text.find(kSeparators[fields.count]);
    if (!ReadDigits(text.substr(0, end), fields.numbers[fields.count++])) return std::nullopt;
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return fields;
}

bool InRange(const Fields& fields) {
  static constexpr Fields lowest{{1900, 1, 1, 0, 0, 0}};
  static constexpr Fields highest{{3000, 12, 31, 23, 59, 59}};
  for (std::size_t i = 0; i < fields.count; ++i) {
    if (fields.numbers[i] < lowest.numbers[i] || fields.numbers[i] > highest.numbers[i]) return false;
  }
  return true;
}

bool IsComplete(const Fields& fields, bool needTime) {
  return fields.count == 6 || (fields.count == 3 && !needTime);
}

// Both conversions are made for the traces that they leave of a time that does not exist.
bool Exists(const std::tm& t) {
  __int64 longTime = 0;
  const bool counted = UTC2LongTime(t, longTime);
  std::tm utc;
  TELOCAL2UTC(t, utc);
  return counted;
}

int ToInt(const std::string& digits) {
  return std::atoi(digits.c_str());  // NOLINT(cert-err34-c): what is no number counts as 0
}

}  // namespace

void GetSysTime(std::string& text) {
  std::tm utc;
  GetSysTime(utc);
  TEUTC2Text(utc, text);
}

std::string GetCurrTimeStr() {
  __int64 now = 0;
  GetSysTime(now);
  std::tm local;
  TEUTC2LOCAL(now, local);
  char text[100];
  return {text, std::strftime(text, sizeof(text), "%Y/%m/%d/ %H:%M:%S", &local)};
}

void GetSysTimeForFileName(std::string& text) {
  __int64 now = 0;
  GetSysTime(now);
  std::tm local;
  TEUTC2LOCAL(now, local);
  char stamp[96];
  // The raw fields of the record, year and month too: readers of these names expect them so.
  std::snprintf(stamp, sizeof(stamp), "%04d%02d%02d_%02d%02d%02d", local.tm_year, local.tm_mon, local.tm_mday,
                local.tm_hour, local.tm_min, local.tm_sec);
  text = stamp + ZoneText("+0000", "%c%02d%02d");
  if (local.tm_isdst > 0) text += "DST";
}

void GetNMTimeZone(std::string& text) {
  text = ZoneText("GMT+00:00", "GMT%c%02d:%02d");
}

__int64 GetTimeZone(const std::string& text) {
  if (text.size() != 9 || (text[3] != '+' && text[3] != '-')) return GetNMTimeZone();
  const __int64 minutes = ToInt(text.substr(4, 2)) * 60 + ToInt(text.substr(7, 2));
  return (text[3] == '+' ? -60 : 60) * minutes;
}

std::string DateTime2TEStr(const std::tm& t) {
  char text[96];
  std::snprintf(text, sizeof(text), "%04lld-%02lld-%02d %02d:%02d:%02d", t.tm_year + 1900LL, t.tm_mon + 1LL,
                t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
  return text;
}

void TEUTC2Text(std::tm utc, std::string& text) {
  __int64 t = 0;
  TEUTC2UTC(utc, t);
  std::tm local;
  TEUTC2LOCAL(t, local);
  text = DateTime2TEStr(local) + ZoneText("+00:00", "%c%02d:%02d");
  if (local.tm_isdst > 0) text += " DST";
}

void TEText2UTC(std::string text, std::tm& utc) {
  const std::size_t plus = text.find('+');
  std::tm local;
  // A text that is no time is converted like the cleared time that the parser leaves.
  TEStr2DateTime(text.substr(0, plus).c_str(), local, false);
  __int64 zone = 0;
  if (plus == std::string::npos) {
    zone = GetNMTimeZone();
  } else if (text.find(':', plus) != std::string::npos) {
    zone = GetTimeZone("GMT+" + text.substr(plus + 1, 5));
  }
  TELocalTimeAndZoneToUTC(zone, local, utc);
}

bool TEStr2DateTime(const char* text, std::tm& t, bool needTime) {
  t = {};
  if (!Check(text != nullptr, "stringutil", "NULL != text")) return false;
  const std::string_view whole(text);
  t.tm_isdst = whole.find("DST") != std::string_view::npos ? 1 : 0;
  const std::optional<Fields> fields = Cut(whole);
  if (!fields || !IsComplete(*fields, needTime) || !InRange(*fields)) return false;

  std::tm parsed = t;
  parsed.tm_year = fields->numbers[0] - 1900;
  parsed.tm_mon = fields->numbers[1] - 1;
  parsed.tm_mday = fields->numbers[2];
  parsed.tm_hour = fields->numbers[3];
  parsed.tm_min = fields->numbers[4];
  parsed.tm_sec = fields->numbers[5];
  if (!Exists(parsed)) return false;
  t = parsed;
  return true;
}

}  // namespace NSTE_util
