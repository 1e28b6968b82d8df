#include "util/basicutil/timeutil.h"

#include <climits>
#include <sstream>

#include "asn1/datetime.h"
#include "tests/util/util_test.h"

using namespace vela;

namespace {

constexpr __int64 kNow = 1'719'829'805;  // kSummer
const std::string kSummer = "2024-07-01 10:30:05";
const std::string kWinter = "2024-01-15 10:30:05";
const std::string kCleared = "1900-01-01 00:00:00";

std::tm Tm(const std::string& text) {
  std::tm t{};
  EXPECT_NE(::strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &t), nullptr);
  t.tm_wday = t.tm_yday = 0;
  return t;
}

__int64 Seconds(const std::string& text) {
  std::tm t = Tm(text);
  return ::timegm(&t);
}

std::string Text(const std::tm& t) {
  EXPECT_EQ(t.tm_wday + t.tm_yday, 0);
  return DateTime2TEStr(t) + (t.tm_isdst != 0 ? " DST" : "");
}

std::string ToLocal(__int64 moment) {
  std::tm t = Tm("2000-01-01 01:01:01");
  TEUTC2LOCAL(moment, t);
  return Text(t);
}

std::string ToUtc(std::tm local) {
  local.tm_isdst = 1;  // does not count
  TELOCAL2UTC(local, local);
  return Text(local);
}

std::string FromText(const std::string& text) {
  std::tm utc;
  TEText2UTC(text, utc);
  return Text(utc);
}

// The result of a function with one output.
template <class Out>
Out Made(void (*make)(Out&)) {
  Out out{};
  make(out);
  return out;
}

std::string DstInformation() {
  int isDst = 7;
  long minutes = 7;
  NMDstInformation(isDst, minutes);
  return std::to_string(isDst) + ", " + std::to_string(minutes);
}

using TimeUtil = LogTest;

TEST_F(TimeUtil, OneMomentInManyZones) {
  // Zone, now, a moment, its text, the zone's offset now.
  const std::tuple<const char*, std::string, std::string, std::string, __int64> rows[] = {
      {"UTC", kSummer, "2024-07-01 10:30:00", "2024-07-01 10:30:00+00:00", 0},
      {"Asia/Kolkata", kSummer, "2023-12-31 18:30:00", "2024-01-01 00:00:00+05:30", -19'800},
      {"America/Sao_Paulo", kWinter, "2024-07-01 10:30:00", "2024-07-01 07:30:00-03:00", 10'800},
      {"Africa/Monrovia", "1971-07-01 00:00:00", "1971-07-01 10:30:00", "1971-07-01 09:45:30-00:44", 2670},
      {"America/New_York", kSummer, "2024-03-10 06:59:59", "2024-03-10 01:59:59-04:00", 14'400},
      {"America/New_York", kWinter, "2024-03-10 07:00:00", "2024-03-10 03:00:00-05:00 DST", 18'000},
      {"America/New_York", kSummer, "2024-11-03 05:59:59", "2024-11-03 01:59:59-04:00 DST", 14'400},
      {"America/New_York", kWinter, "2024-11-03 06:00:00", "2024-11-03 01:00:00-05:00", 18'000},
      {"Europe/Berlin", kWinter, kSummer, "2024-07-01 12:30:05+01:00 DST", -3600},
  };
  for (const auto& [name, now, utc, expected, west] : rows) {
    const testkit::Zone zone(name);
    const testkit::Clock clock(Seconds(now));
    const std::string local = expected.substr(0, 19);
    EXPECT_EQ(ToLocal(Seconds(utc)), local + expected.substr(25)) << name;
    EXPECT_EQ(ToUtc(Tm(local)), utc) << name;
    std::string text;
    TEUTC2Text(Tm(utc), text);
    EXPECT_EQ(text, expected);
    EXPECT_EQ(FromText(west <= 0 ? text : local), utc) << name;
    EXPECT_EQ(GetNMTimeZone(), west);
    EXPECT_EQ(Made<std::string>(GetNMTimeZone), "GMT" + expected.substr(19, 6));
  }
}

TEST_F(TimeUtil, NowAndDaylightSaving) {
  const testkit::Zone kolkata("Asia/Kolkata");
  testkit::Clock clock(kNow, 999'999);
  EXPECT_EQ(Text(Made<std::tm>(GetNMUTCTime)), kSummer);
  EXPECT_EQ(Made<__int64>(GetSysTime), kNow);
  EXPECT_EQ(Made<std::string>(GetSysTime), "2024-07-01 16:00:05+05:30");
  EXPECT_EQ(GetCurrTimeStr(), "2024/07/01/ 16:00:05");
  const std::tuple<const char*, std::string, std::string, std::string> rows[] = {
      {"UTC", kSummer, "01240601_103005+0000", "0, 0"},
      {"America/New_York", "2024-11-03 05:30:00", "01241003_013000-0400DST", "1, 60"},  // first of two
      {"Australia/Lord_Howe", kWinter, "01240015_213005+1100DST", "1, 30"},
      {"Europe/Dublin", kWinter, "01240015_103005+0000DST", "1, -60"},
  };
  for (const auto& [name, now, stamp, dst] : rows) {
    const testkit::Zone zone(name);
    clock.Set(Seconds(now));
    EXPECT_EQ(Made<std::string>(GetSysTimeForFileName), stamp);
    EXPECT_EQ(DstInformation(), dst) << name;
    EXPECT_EQ(NMDstFlag(), dst[0] - '0');
  }
}

TEST_F(TimeUtil, TextsWithZones) {
  const testkit::Zone zone("Asia/Kolkata");
  const std::map<std::string, __int64> zones = {
      {"GMT+08:00", -28'800}, {"GMT-03:00", 10'800},  {"GMT+05x45", -20'700},  {"GMT+ab:cd", 0},
      {"GMT+8", -19'800},     {"GMT*08:00", -19'800}, {"GMT+08:000", -19'800}, {"", -19'800}};
  for (const auto& [text, west] : zones) EXPECT_EQ(GetTimeZone(text), west) << text;
  const std::map<std::string, std::string> rows = {
      {"2024-07-01", "2024-06-30 18:30:00"},
      {"2024-07-01 18:30:00 +08:00 DST", "2024-07-01 10:30:00"},
      {"2024-07-01 18:30:00+0800", "2024-07-01 18:30:00"},
      {"2024-07-01 18:30:00+8:00", "2024-07-01 13:00:00"},  // no zone text: the server's own
      {"2024-07-01 18:30:00-04:00", "1970-01-01 00:00:00"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(FromText(text), expected) << text;
  std::tm local = Tm("2024-07-01 14:00:00");
  EXPECT_EQ(TELocalTimeAndZoneToUTC(18'000, local), Seconds("2024-07-01 19:00:00"));
  EXPECT_EQ(TELocalTimeAndZoneToUTC(LLONG_MAX, local), 0);
}

TEST_F(TimeUtil, TextsOfDates) {
  const std::map<std::string, std::string> accepted = {
      {"2024-01-02", "2024-01-02 00:00:00"},
      {"2024-01-02 ", "2024-01-02 00:00:00"},
      {" 02024 - 02-29  3: 04 : 05 -", "2024-02-29 03:04:05"},
      {"1969-12-31 23:59:58", "1969-12-31 23:59:58"},
  };
  for (const auto& [text, expected] : accepted) {
    std::tm t = Tm(kSummer);
    EXPECT_TRUE(TEStr2DateTime(text.c_str(), t, false)) << text;
    EXPECT_EQ(Text(t), expected);
    EXPECT_EQ(TEStr2DateTime(text.c_str(), t, true), text.find(':') != std::string::npos) << text;
  }
  std::istringstream refused(
      "2024-01-02 03:04|2024-01-02 03|2024-01||2024-01-02 03:04:05-6|2024-01-02 03:04:05 DST|2024/01/02|"
      "2024--02|-2024-01-02|2024-01- 02|2024-+1-02|2024-\t1-02|4294969320-01-02|9999999999999999999-01-02|"
      "1899-12-31|3001-01-01|2024-00-01|2024-13-01|2024-01-00|2024-01-32|2024-02-30|2024-01-02 24:00:00|"
      "2024-01-02 00:60:00|2024-01-02 00:00:60|2050-01-01|1969-12-31 23:59:59");
  for (std::string text; std::getline(refused, text, '|');) {
    std::tm t = Tm(kSummer);
    EXPECT_FALSE(TEStr2DateTime(text.c_str(), t, false)) << text;
    EXPECT_EQ(Text(t), text.ends_with("DST") ? "1900-01-00 00:00:00 DST" : "1900-01-00 00:00:00") << text;
  }
}

TEST_F(TimeUtil, WhatAFailingServiceLeaves) {
  const testkit::Zone zone("America/New_York");
  const testkit::Clock clock(kNow);
  const std::string utc = " is fail!: 2024/7/1/10:30:5/zone=0/isdst=0/longtime=";
  const std::string now = " is fail!: 2024/7/1/10:30:5/zone=-14400/isdst=1/longtime=";
  const std::string moment = std::to_string(kNow);
  const std::tuple<unsigned, std::string (*)(), std::string, std::string> rows[] = {
      {ZONE_SERVER_UTC, [] { return Text(Made<std::tm>(GetSysTime)); }, kCleared, ""},
      {ZONE_SERVER_LOCAL, [] { return Made<std::string>(GetNMTimeZone); }, "GMT+00:00",
       "GetNMTimeZone::GetNMTimeZone is fail!: 1900/1/1/0:0:0/zone=0/isdst=0/longtime=0"},
      {ZONE_TO_LONG, [] { return std::to_string(Made<__int64>(GetSysTime)); }, "0",
       "TEUTC2UTC::toLongTime" + utc + "-1"},
      {ZONE_SERVER_LOCAL, [] { return ToUtc(Tm(kSummer)); }, kCleared,
       "TELOCAL2UTC::getServerLocalTime" + utc + "0"},
      {ZONE_TO_UTC, [] { return ToUtc(Tm(kSummer)); }, kCleared, "TELOCAL2UTC::getUTCTime" + now + "0"},
      {ZONE_SERVER_LOCAL, [] { return ToLocal(kNow); }, kCleared,
       "TEUTC2LOCAL::getServerLocalTime" + utc + moment},
      {ZONE_TO_LOCAL, [] { return ToLocal(kNow); }, kCleared, "TEUTC2LOCAL::getLocalTime" + now + moment},
      {ZONE_TO_UTC, DstInformation, "1, 0",
       "NMDstInformation::getUTCTime is fail!: 2024/7/1/6:30:5/zone=-14400/isdst=0/longtime=1719829805"},
      {ZONE_ALL, [] { return Made<std::string>(GetSysTimeForFileName); }, "00000001_000000+0000", ""},
      {0, [] { return ToLocal(4'294'967'296); }, kCleared, "TEUTC2LOCAL::getLocalTime is fail!: 1900/1/1/"},
  };
  for (const auto& [fails, call, left, trace] : rows) {
    const testkit::ZoneFaults faults(fails);
    m_log.Clear();
    EXPECT_EQ(call(), left) << trace;
    EXPECT_GE(Traced(trace), 1) << trace;
  }
  std::tm hostile{};
  hostile.tm_year = hostile.tm_mon = hostile.tm_mday = INT_MAX;
  EXPECT_EQ(ToUtc(hostile), kCleared);
  EXPECT_EQ(Text(hostile), "2147485547-2147483648-2147483647 00:00:00");
}

TEST_F(TimeUtil, DatabaseTimes) {
  const testkit::Zone zone("America/New_York");
  AsnDateTimeType message;
  RWDBDateTime time;
  TETranDateTime(RWDBDateTime(2050, 1, 31, 23, 59, 58), message);
  TETranDateTime(message, time);
  EXPECT_EQ(time, RWDBDateTime(2050, 2, 1, 4, 59, 58, RWZone::utc()));
  message.month = 13;
  TETranDateTime(message, time);
  EXPECT_FALSE(time.isValid());
  TETranDateTime(time, message);
  EXPECT_EQ(message.year + message.month + message.day + message.hour, 0);
  TETranDateTime(&time, nullptr);
  EXPECT_EQ(Traced("ASSERT: file util/basicutil/stringutil, line "), 1);
}

}  // namespace
