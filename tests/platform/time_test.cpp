#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <map>
#include <thread>

#include "platform/os/clock.h"
#include "platform/testkit/testkit.h"
#include "platform/time/rw_db_date_time.h"
#include "platform/time/server_zone.h"
#include "platform/time/vela_tzone.h"
#include "tests/files.h"

namespace {

constexpr std::int64_t kDay = 86'400;

// "2024-07-01 18:30:00"
VELATime Record(const std::string& text, std::int32_t zone = 0, std::int32_t dst = 0) {
  VELATime t;
  EXPECT_EQ(std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &t.year, &t.month, &t.day, &t.hour, &t.minute,
                        &t.second),
            6);
  t.zone = zone;
  t.dst = dst;
  return t;
}

std::string Text(const VELATime& t) {
  char text[128];
  std::snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d:%02d %d %d", t.year, t.month, t.day, t.hour,
                t.minute, t.second, t.zone, t.dst);
  return text;
}

std::string Utc(const std::string& text) {
  return Text(Record(text));
}

long Moment(const std::string& text) {
  return VELATZone::toLongTime(Record(text));
}

TEST(Time, LongTimesOfRecords) {
  const struct {
    VELATime record;
    long expected;
    const char* why;
  } rows[] = {
      {{1970, 1, 1}, 0, "epoch"},
      {{2024, 2, 29, 12, 34, 56}, 1709210096, "leap day"},
      {{2000, 2, 29, 0, 0, 0}, 951782400, "leap century"},
      {{2024, 7, 1, 0, 0, 0, 3600, 1}, 1719792000, "the zone does not count"},
      {{2038, 1, 19, 3, 14, 7}, 2147483647, "last"},
      {{2038, 1, 19, 3, 14, 8}, -1, "one later"},
      {{1901, 12, 13, 20, 45, 52}, -2147483647L - 1, "first"},
      {{1901, 12, 13, 20, 45, 51}, -1, "one earlier"},
      {{1969, 12, 31, 23, 59, 58}, -2, "before the epoch"},
      {{2024, 2, 30}, -1, "February 30"},
      {{2023, 2, 29}, -1, "no leap year"},
      {{2024, 4, 31}, -1, "April 31"},
      {{2024, 1, 32}, -1, "day 32"},
      {{2024, 1, 285}, -1, "a day of more than 8 bits"},
      {{2024, 0, 1}, -1, "month 0"},
      {{2024, 13, 1}, -1, "month 13"},
      {{2024, 1, 0}, -1, "day 0"},
      {{2024, 1, 1, 24}, -1, "hour 24"},
      {{2024, 1, 1, 0, 60}, -1, "minute 60"},
      {{2024, 1, 1, 0, 0, 60}, -1, "leap second"},
      {{2024, 1, 1, -1, 0, 0}, -1, "negative"},
      {{67560, 1, 1}, -1, "a year of more than 16 bits"},
      {{}, -1, "a new record"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(VELATZone::toLongTime(row.record), row.expected) << row.why;
    if (row.expected == -1) continue;
    VELATime plain = row.record;
    plain.zone = plain.dst = 0;
    EXPECT_EQ(Text(VELATZone::toVELATime(row.expected)), Text(plain)) << row.why;
  }
  for (const long t : {2147483648L, -2147483649L, std::numeric_limits<long>::min()}) {
    EXPECT_EQ(Text(VELATZone::toVELATime(t)), Text({})) << t;
  }
}

// Every four days and on both sides of each hour of change, against the C library.
TEST(Time, LocalTimesAreThoseOfTheSystem) {
  for (const char* name : {"UTC", "Asia/Kolkata", "America/New_York", "Europe/Dublin", "Australia/Lord_Howe",
                           "Africa/Monrovia", "Europe/Amsterdam", "Europe/Istanbul", "Pacific/Apia"}) {
    ASSERT_EQ(::setenv("TZ", name, 1), 0);
    ::tzset();
    const testkit::Zone zone(name);
    testkit::Clock clock(0);
    int wrong = 0;
    for (std::int64_t t = -2'147'400'000; t < 2'145'916'800; t += 2 * kDay + 1801) {
      clock.Set(t);
      VELATime now;
      ASSERT_EQ(VELATZone::getServerLocalTime(now), 0);
      std::tm expected{};
      const std::time_t time = t;
      ::localtime_r(&time, &expected);
      const VELATime reference{expected.tm_year + 1900,
                               expected.tm_mon + 1,
                               expected.tm_mday,
                               expected.tm_hour,
                               expected.tm_min,
                               expected.tm_sec,
                               static_cast<std::int32_t>(expected.tm_gmtoff),
                               expected.tm_isdst};
      VELATime back;
      ASSERT_EQ(VELATZone::instance()->getUTCTime(now, back), 0);
      if (Text(now) != Text(reference) || VELATZone::toLongTime(back) != t) ++wrong;
    }
    EXPECT_EQ(wrong, 0) << name;
  }
}

TEST(Time, ReadingsOfLocalRecords) {
  constexpr std::int32_t est = -18'000, edt = -14'400;
  const char* const summer = "2024-07-01 12:00:00";
  const char* const winter = "2024-01-15 12:00:00";
  const struct {
    const char* zone;
    const char* now;
    VELATime local;
    const char* expected;  // "" = refused
    const char* why;
  } rows[] = {
      {"America/New_York", winter, Record("2024-07-01 14:00:00", est), "2024-07-01 18:00:00", "other season"},
      {"America/New_York", summer, Record("2024-01-01 14:00:00", edt, 1), "2024-01-01 19:00:00", "and back"},
      {"America/New_York", summer, Record("2024-07-01 14:00:00", edt, 0), "2024-07-01 19:00:00",
       "flag says no"},
      {"America/New_York", winter, Record("2024-01-01 14:00:00", est, 1), "2024-01-01 18:00:00",
       "flag says yes"},
      {"America/New_York", summer, Record("2024-11-03 01:30:00", edt, 1), "2024-11-03 05:30:00",
       "twice, first"},
      {"America/New_York", summer, Record("2024-11-03 01:30:00", est, 0), "2024-11-03 06:30:00",
       "twice, second"},
      {"America/New_York", summer, Record("2024-03-10 02:30:00", edt, 1), "2024-03-10 07:30:00", "skipped"},
      {"America/New_York", summer, Record("2024-07-01 14:00:00", 3600, 1), "2024-07-01 13:00:00",
       "fixed zone"},
      {"America/New_York", summer, Record("1883-11-18 12:00:00", est), "", "before the long times"},
      {"Europe/London", winter, Record("1970-07-01 14:00:00", 3600, 1), "1970-07-01 13:00:00",
       "no winter near"},
      {"Europe/London", summer, Record("1971-12-24 14:00:00", 3600, 1), "1971-12-24 14:00:00",
       "back to winter"},
      {"Europe/Istanbul", summer, Record("2015-07-01 14:00:00", 10800), "2015-07-01 11:00:00", "what is now"},
      {"Asia/Kolkata", summer, Record("2024-07-01 14:00:00", 19'800, 1), "2024-07-01 08:30:00",
       "no summer near"},
      {"Australia/Lord_Howe", winter, Record("2024-01-15 23:00:00", 39600, 0), "2024-01-15 12:30:00",
       "half hour"},
      {"Europe/Dublin", winter, Record("2024-01-15 12:00:00", 0, 0), "2024-01-15 11:00:00", "flag in winter"},
      {"UTC", summer, Record("2024-02-30 12:00:00"), "", "no date"},
      {"UTC", summer, Record("2024-02-20 12:00:00", 86400), "", "no zone"},
      {"UTC", summer, Record("2038-01-19 03:14:07", -1), "", "beyond the long times"},
  };
  for (const auto& row : rows) {
    const testkit::Zone zone(row.zone);
    const testkit::Clock clock(Moment(row.now));
    VELATime utc = row.local;  // input and output may be the same record
    const int result = VELATZone::instance()->getUTCTime(utc, utc);
    EXPECT_EQ(result, *row.expected == '\0' ? -1 : 0) << row.zone << ": " << row.why;
    EXPECT_EQ(Text(utc), result == 0 ? Utc(row.expected) : Text(row.local)) << row.zone << ": " << row.why;
  }
}

TEST(Time, LocalTimeOfTheRecordsZone) {
  const testkit::Zone zone("Europe/Berlin");
  const struct {
    VELATime utc;
    const char* expected;  // with offset and flag
  } rows[] = {
      {Record("2024-07-01 12:00:00", 3600), "2024-07-01 14:00:00 7200 1"},
      {Record("2024-01-01 12:00:00", 7200, 1), "2024-01-01 13:00:00 3600 0"},
      {Record("2024-07-01 12:00:00", 19'800, 1), "2024-07-01 17:30:00 19800 0"},
  };
  for (const auto& row : rows) {
    VELATime local;
    EXPECT_EQ(VELATZone::instance()->getLocalTime(row.utc, local), 0);
    EXPECT_EQ(Text(local), row.expected);
  }
  VELATime local;
  EXPECT_EQ(VELATZone::instance()->getLocalTime(Record("2038-01-19 03:14:08", 3600), local), -1);
  EXPECT_EQ(VELATZone::instance()->getLocalTime(Record("2024-01-01 00:00:00", -86'400), local), -1);
}

TEST(Time, AClockBeyondTheLongTimesFails) {
  const testkit::Clock clock(2'147'483'648);
  VELATime now;
  EXPECT_EQ(VELATZone::getServerUTCTime(now), -1);
  EXPECT_EQ(VELATZone::getServerLocalTime(now), -1);
}

TEST(Time, ConfiguredZone) {
  const std::string host = vela::ServerZoneName();
  const testkit::LogCapture log;
  for (const auto& [configured, expected] : std::map<std::string, std::string>{
           {"Asia/Kolkata", "Asia/Kolkata"}, {"No/Such", host}, {"../Rome", host}}) {
    files::Write("etc/conf/vela.cfg", "TimeZone = " + configured + "\n");
    vela::SetServerZone("");
    EXPECT_EQ(vela::ServerZoneName(), expected);
    EXPECT_EQ(vela::ServerZoneName(), expected);
    EXPECT_EQ(log.Count(configured), configured == expected ? 0 : 1) << "reported once";
  }
  EXPECT_FALSE(vela::SetServerZone("No/Such"));
  EXPECT_EQ(vela::ServerZoneName(), host);
}

TEST(Time, DatabaseTimes) {
  const testkit::Zone zone("America/New_York");
  const RWDBDateTime none;
  EXPECT_FALSE(none.isValid());
  EXPECT_FALSE(RWDBDateTime(2023, 2, 29).isValid());
  EXPECT_FALSE(RWDBDateTime(10000, 1, 1).isValid());
  const RWDBDateTime summer(2024, 7, 1, 14, 30, 0);
  EXPECT_EQ(summer, RWDBDateTime(2024, 7, 1, 18, 30, 0, RWZone::utc()));
  EXPECT_LT(none, RWDBDateTime(1, 1, 1));
  EXPECT_LT(RWDBDateTime(9999, 12, 31), RWDBDateTime(9999, 12, 31, 0, 0, 1));
  std::tm t{};
  EXPECT_TRUE(summer.extract(t, RWZone::utc()));
  EXPECT_EQ(std::vector<int>({t.tm_hour, t.tm_isdst}), std::vector<int>({18, 0}));
  EXPECT_TRUE(summer.extract(t));
  EXPECT_EQ(std::vector<int>({t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min, t.tm_isdst}),
            std::vector<int>({124, 6, 1, 14, 30, 1}));
  EXPECT_FALSE(none.extract(t));
  EXPECT_EQ(std::vector<int>({t.tm_year, t.tm_mday, t.tm_hour}), std::vector<int>({0, 1, 0}));
}

// The zone is read, and replaced, while others convert: each result is whole, of one zone or the other.
TEST(TimeThreaded, ZonesAreReadAndReplacedUnderway) {
  const VELATime utc = Record("2024-07-01 12:00:00");
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 500; ++round) {
        if (i == 0) vela::SetServerZone(round % 2 == 0 ? "Asia/Kolkata" : "America/New_York");
        const RWDBDateTime time(2024, 7, 1, 12, 0, 0, RWZone::local());
        const std::int64_t offset = VELATZone::toLongTime(utc) - time.seconds();
        if (offset != 0 && offset != 19'800 && offset != -14'400) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
