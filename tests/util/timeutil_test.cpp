#include "util/basicutil/timeutil.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>

#include "asn1/datetime.h"
#include "platform/testkit/testkit.h"
#include "util/basicutil/common.h"

using namespace NSTE_util;

namespace {

const char* const kCleared = "1900-01-01 00:00:00";

std::tm Tm(const std::string& text, int dst = 0) {
  std::tm t{};
  EXPECT_EQ(std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &t.tm_year, &t.tm_mon, &t.tm_mday, &t.tm_hour,
                        &t.tm_min, &t.tm_sec),
            6);
  t.tm_year -= 1900;
  t.tm_mon -= 1;
  t.tm_isdst = dst;
  return t;
}

__int64 Seconds(const std::string& text) {
  std::tm t = Tm(text);
  return ::timegm(&t);
}

std::string Text(const std::tm& t) {
  EXPECT_EQ(t.tm_wday, 0);
  EXPECT_EQ(t.tm_yday, 0);
  return DateTime2TEStr(t) + (t.tm_isdst != 0 ? " DST" : "");
}

// Switches the default module to write everything, so that a capture sees its traces.
class TimeTraces {
 public:
  TimeTraces() { TETrace("first"); }
  // The written and the held-back records.
  int Count(const std::string& text) {
    WriteException("dump");
    return m_log.Count(text);
  }

 private:
  testkit::LogCapture m_log;
};

TEST(TimeUtil, OneMomentInManyZones) {
  const struct {
    const char* zone;
    const char* now;
    const char* utc;
    const char* local;
    const char* text;   // TEUTC2Text
    const char* stamp;  // of now
    __int64 west;
    const char* gmt;
  } rows[] = {
      {"UTC", "2024-07-01 10:30:05", "2024-07-01 10:30:00", "2024-07-01 10:30:00",
       "2024-07-01 10:30:00+00:00", "01240601_103005+0000", 0, "GMT+00:00"},
      {"Asia/Shanghai", "2024-07-01 10:30:05", "2024-07-01 10:30:00", "2024-07-01 18:30:00",
       "2024-07-01 18:30:00+08:00", "01240601_183005+0800", -28'800, "GMT+08:00"},
      {"Asia/Kolkata", "2024-07-01 10:30:05", "2023-12-31 18:30:00", "2024-01-01 00:00:00",
       "2024-01-01 00:00:00+05:30", "01240601_160005+0530", -19'800, "GMT+05:30"},
      {"America/Argentina/Buenos_Aires", "2024-01-01 02:59:59", "2024-07-01 10:30:00", "2024-07-01 07:30:00",
       "2024-07-01 07:30:00-03:00", "01231131_235959-0300", 10'800, "GMT-03:00"},
      {"Africa/Monrovia", "1971-07-01 00:00:00", "1971-07-01 10:30:00", "1971-07-01 09:45:30",
       "1971-07-01 09:45:30-00:44", "00710530_231530-0044", 2670, "GMT-00:44"},
      {"America/New_York", "2024-07-01 10:30:05", "2024-03-10 06:59:59", "2024-03-10 01:59:59",
       "2024-03-10 01:59:59-04:00", "01240601_063005-0400DST", 14'400, "GMT-04:00"},
      {"America/New_York", "2024-01-01 10:30:05", "2024-03-10 07:00:00", "2024-03-10 03:00:00 DST",
       "2024-03-10 03:00:00-05:00 DST", "01240001_053005-0500", 18'000, "GMT-05:00"},
      {"America/New_York", "2024-07-01 10:30:05", "2024-11-03 05:59:59", "2024-11-03 01:59:59 DST",
       "2024-11-03 01:59:59-04:00 DST", "01240601_063005-0400DST", 14'400, "GMT-04:00"},
      {"America/New_York", "2024-01-01 10:30:05", "2024-11-03 06:00:00", "2024-11-03 01:00:00",
       "2024-11-03 01:00:00-05:00", "01240001_053005-0500", 18'000, "GMT-05:00"},
      {"Europe/Berlin", "2024-01-01 10:30:05", "2024-07-01 10:30:00", "2024-07-01 12:30:00 DST",
       "2024-07-01 12:30:00+01:00 DST", "01240001_113005+0100", -3600, "GMT+01:00"},
      {"Europe/Berlin", "2024-07-01 10:30:05", "2024-01-01 10:30:00", "2024-01-01 11:30:00",
       "2024-01-01 11:30:00+02:00", "01240601_123005+0200DST", -7200, "GMT+02:00"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.zone) + " " + row.utc);
    const testkit::Zone zone(row.zone);
    const testkit::Clock clock(Seconds(row.now));
    std::tm t = Tm("2000-01-01 01:01:01", 5);
    std::string text;
    TEUTC2LOCAL(Seconds(row.utc), t);
    EXPECT_EQ(Text(t), row.local);
    TELOCAL2UTC(t, t);
    EXPECT_EQ(Text(t), row.utc);
    TEUTC2Text(Tm(row.utc), text);
    EXPECT_EQ(text, row.text);
    TEText2UTC(row.west <= 0 ? text : text.substr(0, 19), t);
    EXPECT_EQ(Text(t), row.utc);
    GetSysTimeForFileName(text);
    EXPECT_EQ(text, row.stamp);
    EXPECT_EQ(GetNMTimeZone(), row.west);
    GetNMTimeZone(text);
    EXPECT_EQ(text, row.gmt);
    EXPECT_EQ(NMDstFlag(), std::string(row.stamp).ends_with("DST") ? 1 : 0);
  }
}

TEST(TimeUtil, Now) {
  const testkit::Zone zone("America/New_York");
  const testkit::Clock clock(Seconds("2024-07-01 22:30:05"), 999'999);
  std::tm t;
  GetNMUTCTime(t);
  EXPECT_EQ(Text(t), "2024-07-01 22:30:05");
  __int64 seconds = 0;
  GetSysTime(seconds);
  EXPECT_EQ(seconds, Seconds("2024-07-01 22:30:05"));
  std::string text;
  GetSysTime(text);
  EXPECT_EQ(text, "2024-07-01 18:30:05-04:00 DST");
  EXPECT_EQ(GetCurrTimeStr(), "2024/07/01/ 18:30:05");
}

TEST(TimeUtil, DaylightSavingMinutes) {
  const struct {
    const char* zone;
    const char* now;
    int isDst;
    long minutes;
  } rows[] = {
      {"America/New_York", "2024-07-01 12:00:00", 1, 60},
      {"America/New_York", "2024-01-01 12:00:00", 0, 0},
      {"America/New_York", "2024-11-03 05:30:00", 1, 60},  // first of the two
      {"Australia/Lord_Howe", "2024-01-01 12:00:00", 1, 30},
      {"Europe/Dublin", "2024-01-01 12:00:00", 1, -60},
      {"UTC", "2024-07-01 12:00:00", 0, 0},
  };
  for (const auto& row : rows) {
    const testkit::Zone zone(row.zone);
    const testkit::Clock clock(Seconds(row.now));
    int isDst = 7;
    long minutes = 7;
    NMDstInformation(isDst, minutes);
    EXPECT_EQ(isDst, row.isDst) << row.zone;
    EXPECT_EQ(minutes, row.minutes) << row.zone << row.now;
  }
}

TEST(TimeUtil, OffsetsOfZoneTexts) {
  const testkit::Zone zone("Asia/Kolkata");
  const std::map<std::string, __int64> rows = {
      {"GMT+08:00", -28'800}, {"GMT-03:00", 10'800},  {"GMT+05x45", -20'700},  {"GMT+ab:cd", 0},
      {"GMT+8", -19'800},     {"GMT*08:00", -19'800}, {"GMT+08:000", -19'800}, {"", -19'800},
  };
  for (const auto& [text, west] : rows) EXPECT_EQ(GetTimeZone(text), west) << text;

  std::tm local = Tm("2024-07-01 14:00:00", 1);
  std::tm utc;
  TELocalTimeAndZoneToUTC(18'000, local, utc);
  EXPECT_EQ(Text(utc), "2024-07-01 19:00:00");
  EXPECT_EQ(TELocalTimeAndZoneToUTC(LLONG_MAX, local), 0);
}

TEST(TimeUtil, TextsToUtc) {
  const testkit::Zone zone("Asia/Kolkata");
  const std::map<std::string, std::string> rows = {
      {"2024-07-01 18:30:00", "2024-07-01 13:00:00"},
      {"2024-07-01", "2024-06-30 18:30:00"},
      {"2024-07-01 18:30:00+08:00", "2024-07-01 10:30:00"},
      {"2024-07-01 18:30:00 +08:00 DST", "2024-07-01 10:30:00"},
      {"2024-07-01 18:30:00+0800", "2024-07-01 18:30:00"},
      {"2024-07-01 18:30:00+8:00", "2024-07-01 13:00:00"},  // no zone text: the server's own
      {"2024-07-01 18:30:00+08:00+:", "2024-07-01 10:30:00"},
      {"2024-07-01 18:30:00-04:00", "1970-01-01 00:00:00"},
      {"", "1970-01-01 00:00:00"},
  };
  for (const auto& [text, expected] : rows) {
    std::tm utc;
    TEText2UTC(text, utc);
    EXPECT_EQ(Text(utc), expected) << text;
  }
}

TEST(TimeUtil, TextsOfDates) {
  const struct {
    const char* text;
    const char* expected;  // "" = refused
    bool needTime = false;
  } rows[] = {
      {"2024-01-02", "2024-01-02 00:00:00"},
      {"2024-01-02 03:04:05", "2024-01-02 03:04:05", true},
      {" 2024 - 01-2  3: 04 : 05 ", "2024-01-02 03:04:05", true},
      {"0002024-02-29 23:59:59", "2024-02-29 23:59:59"},
      {"2024-01-02 03:04:05-", "2024-01-02 03:04:05"},
      {"2024-01-02 ", "2024-01-02 00:00:00"},
      {"2024-01-02", "", true},
      {"2024-01-02 03:04", ""},
      {"2024-01-02 03", ""},
      {"2024-01", ""},
      {"", ""},
      {"2024-01-02 03:04:05-6", ""},
      {"2024-01-02 03:04:05 DST", ""},
      {"2024/01/02", ""},
      {"2024--02", ""},
      {"-2024-01-02", ""},
      {"2024-01- 02", ""},
      {"2024-+1-02", ""},
      {"2024-\t1-02", ""},
      {"4294969320-01-02", ""},
      {"99999999999999999999-01-02", ""},
      {"1899-01-01", ""},
      {"3001-01-01", ""},
      {"2024-00-01", ""},
      {"2024-13-01", ""},
      {"2024-01-00", ""},
      {"2024-01-32", ""},
      {"2024-02-30", ""},
      {"2024-01-02 24:00:00", ""},
      {"2024-01-02 00:60:00", ""},
      {"2024-01-02 00:00:60", ""},
      {"2050-01-01", ""},  // beyond the long times
      {"1969-12-31 23:59:59", ""},
      {"1969-12-31 23:59:58", "1969-12-31 23:59:58"},
  };
  for (const auto& row : rows) {
    std::tm t = Tm("2000-01-01 01:01:01", 5);
    EXPECT_EQ(TEStr2DateTime(row.text, t, row.needTime), *row.expected != '\0') << row.text;
    const bool dst = std::string(row.text).find("DST") != std::string::npos;
    const std::string refused = dst ? "1900-01-00 00:00:00 DST" : "1900-01-00 00:00:00";
    EXPECT_EQ(Text(t), *row.expected != '\0' ? row.expected : refused) << row.text;
  }
  std::tm t;
  TimeTraces traces;
  EXPECT_FALSE(TEStr2DateTime(nullptr, t, false));
  EXPECT_EQ(traces.Count("ASSERT: file util/basicutil/stringutil, line "), 1);
}

TEST(TimeUtil, WhatAFailingServiceLeaves) {
  const testkit::Zone zone("America/New_York");
  const testkit::Clock clock(Seconds("2024-07-01 10:30:05"));
  const std::string traced = "2024/7/1/10:30:5/";
  const struct {
    vela::ZoneCall fails;
    void (*call)(std::string& result);
    std::string left;
    std::string trace;
  } rows[] = {
      {vela::ZONE_SERVER_UTC,
       [](std::string& out) {
         std::tm t;
         GetSysTime(t);
         out = Text(t);
       },
       kCleared, ""},
      {vela::ZONE_SERVER_LOCAL, [](std::string& out) { GetNMTimeZone(out); }, "GMT+00:00",
       "GetNMTimeZone::GetNMTimeZone is fail!: 1900/1/1/0:0:0/zone=0/isdst=0/longtime=0"},
      {vela::ZONE_TO_LONG,
       [](std::string& out) {
         __int64 n = 5;
         TEUTC2UTC(Tm("2024-07-01 10:30:05", 1), n);
         out = std::to_string(n);
       },
       "0", "TEUTC2UTC::toLongTime is fail!: " + traced + "zone=0/isdst=0/longtime=-1"},
      {vela::ZONE_SERVER_LOCAL,
       [](std::string& out) {
         std::tm t;
         TELOCAL2UTC(Tm("2024-07-01 10:30:05"), t);
         out = Text(t);
       },
       kCleared, "TELOCAL2UTC::getServerLocalTime is fail!: " + traced + "zone=0/isdst=0/longtime=0"},
      {vela::ZONE_TO_UTC,
       [](std::string& out) {
         std::tm t;
         TELOCAL2UTC(Tm("2024-07-01 10:30:05"), t);
         out = Text(t);
       },
       kCleared, "TELOCAL2UTC::getUTCTime is fail!: " + traced + "zone=-14400/isdst=1/longtime=0"},
      {vela::ZONE_SERVER_LOCAL,
       [](std::string& out) {
         std::tm t;
         TEUTC2LOCAL(Seconds("2024-07-01 10:30:05"), t);
         out = Text(t);
       },
       kCleared,
       "TEUTC2LOCAL::getServerLocalTime is fail!: " + traced + "zone=0/isdst=0/longtime=1719829805"},
      {vela::ZONE_TO_LOCAL,
       [](std::string& out) {
         std::tm t;
         TEUTC2LOCAL(Seconds("2024-07-01 10:30:05"), t);
         out = Text(t);
       },
       kCleared, "TEUTC2LOCAL::getLocalTime is fail!: " + traced + "zone=-14400/isdst=1/longtime=1719829805"},
      {vela::ZONE_TO_UTC,
       [](std::string& out) {
         int dst;
         long min;
         NMDstInformation(dst, min);
         out = std::to_string(dst) + std::to_string(min);
       },
       "10",
       "NMDstInformation::getUTCTime is fail!: 2024/7/1/6:30:5/zone=-14400/isdst=0/longtime=1719829805"},
      {vela::ZONE_ALL, [](std::string& out) { GetSysTime(out); }, "1900-01-01 00:00:00+00:00",
       "TEUTC2UTC::toLongTime is fail!"},
      {vela::ZONE_ALL, [](std::string& out) { out = GetCurrTimeStr(); }, "1900/01/01/ 00:00:00", ""},
      {vela::ZONE_ALL, [](std::string& out) { GetSysTimeForFileName(out); }, "00000001_000000+0000", ""},
  };
  for (const auto& row : rows) {
    const testkit::ZoneFaults faults(row.fails);
    TimeTraces traces;
    std::string left;
    row.call(left);
    EXPECT_EQ(left, row.left) << row.trace;
    EXPECT_GE(traces.Count(row.trace), 1) << row.trace;
  }
  __int64 seconds = 5;
  std::tm t = Tm("2024-01-01 00:00:00");
  t.tm_year = t.tm_mon = INT_MAX;
  TEUTC2UTC(t, seconds);
  EXPECT_EQ(seconds, 0);
  EXPECT_EQ(Text(t), "2147485547-2147483648-01 00:00:00");
  TEUTC2LOCAL(4'294'967'296, t);
  EXPECT_EQ(Text(t), kCleared);
}

TEST(TimeUtil, DatabaseTimes) {
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
  EXPECT_EQ(std::vector<long>({message.year, message.month, message.day, message.hour}),
            std::vector<long>(4));
  TimeTraces traces;
  TETranDateTime(&time, nullptr);
  EXPECT_EQ(traces.Count("ASSERT: file util/basicutil/stringutil, line "), 1);
}

}  // namespace
