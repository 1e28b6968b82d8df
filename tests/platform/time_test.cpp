#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "platform/time/rw_db_date_time.h"
#include "platform/time/vela_tzone.h"
#include "tests/test_base.h"

namespace {

VELATime Record(const char* text, std::int32_t zone = 0, std::int32_t dst = 0) {
  VELATime t{1900, 1, 1, 0, 0, 0, zone, dst};
  std::sscanf(text, "%d-%d-%d %d:%d:%d", &t.year, &t.month, &t.day, &t.hour, &t.minute, &t.second);
  return t;
}

std::string Text(const VELATime& t) {
  std::string text;
  for (const auto part : {t.year, t.month, t.day, t.hour, t.minute, t.second, t.zone, t.dst}) {
    text += std::to_string(part) + " ";
  }
  return text;
}

TEST(Time, LongTimesOfRecords) {
  const std::map<long, const char*> rows = {{-2, "1969-12-31 23:59:58"},
                                            {951'782'400, "2000-02-29"},
                                            {1'709'210'096, "2024-02-29 12:34:56"},
                                            {INT32_MAX, "2038-01-19 03:14:07"},
                                            {INT32_MIN, "1901-12-13 20:45:52"}};
  for (const auto& [seconds, text] : rows) {
    EXPECT_EQ(VELATZone::toLongTime(Record(text, 3600, 1)), seconds) << "zone and flag do not count";
    EXPECT_EQ(Text(VELATZone::toVELATime(seconds)), Text(Record(text)));
  }
  for (const char* text :
       {"2038-01-19 03:14:08", "1901-12-13 20:45:51", "2024-02-30", "2023-02-29", "2024-04-31", "2024-01-32",
        "2024-01-257", "2024-00-01", "2024-13-01", "2024-01-00", "67560-01-01", "2024-01-01 24:00:00",
        "2024-01-01 00:60:00", "2024-01-01 00:00:60", "2024-01-01 -1:00:00", ""}) {
    EXPECT_EQ(VELATZone::toLongTime(Record(text)), -1) << text;
  }
  for (const long t : {2147483648L, INT64_MIN}) EXPECT_EQ(Text(VELATZone::toVELATime(t)), Text({}));
}

// Every two days, against the C library, and back.
TEST(Time, LocalTimesAreThoseOfTheSystem) {
  for (const char* name : {"UTC", "Asia/Kolkata", "America/New_York", "Europe/Dublin", "Australia/Lord_Howe",
                           "Africa/Monrovia", "Europe/Amsterdam", "Europe/Istanbul", "Pacific/Apia"}) {
    ASSERT_EQ(::setenv("TZ", name, 1), 0);
    ::tzset();
    const testkit::Zone zone(name);
    testkit::Clock clock(0);
    int wrong = 0;
    for (std::time_t time = -2'147'400'000; time < 2'145'916'800; time += 2 * 86'400 + 1801) {
      clock.Set(time);
      VELATime now;
      EXPECT_EQ(VELATZone::getServerLocalTime(now), 0);
      std::tm t{};
      ::localtime_r(&time, &t);
      const auto offset = static_cast<std::int32_t>(t.tm_gmtoff);
      const VELATime expected{t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour,
                              t.tm_min,         t.tm_sec,     offset,    t.tm_isdst};
      if (Text(now) != Text(expected)) ++wrong;
      EXPECT_EQ(VELATZone::instance()->getUTCTime(now, now), 0);
      if (VELATZone::toLongTime(now) != time) ++wrong;
    }
    EXPECT_EQ(wrong, 0) << name;
  }
}

TEST(Time, ReadingsOfLocalRecords) {
  constexpr long est = -18'000, edt = -14'400, winter = 1'705'314'605, summer = 1'719'829'805;
  const std::tuple<const char*, std::int64_t, VELATime, std::string, const char*> rows[] = {
      {"America/New_York", winter, Record("2024-07-01 14:00:00", est), "2024-07-01 18:00:00", "other season"},
      {"America/New_York", summer, Record("2024-01-01 14:00:00", edt, 1), "2024-01-01 19:00:00", "and back"},
      {"America/New_York", summer, Record("2024-07-01 14:00:00", edt, 0), "2024-07-01 19:00:00", "flag: no"},
      {"America/New_York", summer, Record("2024-11-03 01:30:00", edt, 1), "2024-11-03 05:30:00", "first"},
      {"America/New_York", summer, Record("2024-11-03 01:30:00", est, 0), "2024-11-03 06:30:00", "second"},
      {"America/New_York", summer, Record("2024-03-10 02:00:00", edt, 1), "2024-03-10 07:00:00", "skipped"},
      {"America/New_York", summer, Record("2024-07-01 14:00:00", 3600, 1), "2024-07-01 13:00:00", "fixed"},
      {"Asia/Kolkata", summer, Record("2024-07-01 14:00:00", 19'800, 1), "2024-07-01 08:30:00", "never now"},
      {"Europe/Istanbul", summer, Record("2015-07-01 14:00:00", 10'800), "2015-07-01 11:00:00", "now's pair"},
      {"UTC", summer, Record("2024-02-20 12:00:00", 86'400), "", "no zone"},
      {"UTC", summer, Record("2038-01-19 03:14:07", -1), "", "beyond the long times"},
  };
  for (const auto& [name, now, local, expected, why] : rows) {
    const testkit::Zone zone(name);
    const testkit::Clock clock(now);
    VELATime utc = local;  // input and output may be the same record
    EXPECT_EQ(VELATZone::instance()->getUTCTime(utc, utc), expected.empty() ? -1 : 0) << why;
    EXPECT_EQ(Text(utc), Text(expected.empty() ? local : Record(expected.c_str()))) << name << ": " << why;
  }
}

TEST(Time, LocalTimeOfTheRecordsZone) {
  const testkit::Zone zone("Europe/Berlin");
  const std::pair<VELATime, VELATime> rows[] = {
      {Record("2024-07-01 12:00:00", 3600), Record("2024-07-01 14:00:00", 7200, 1)},
      {Record("2024-07-01 12:00:00", 19'800, 1), Record("2024-07-01 17:30:00", 19'800)}};
  VELATime local;
  for (const auto& [utc, expected] : rows) {
    EXPECT_EQ(VELATZone::instance()->getLocalTime(utc, local), 0);
    EXPECT_EQ(Text(local), Text(expected));
  }
  EXPECT_EQ(VELATZone::instance()->getLocalTime(Record("2038-01-19 03:14:08", 3600), local), -1);
  const testkit::Clock clock(std::int64_t{INT32_MAX} + 1);
  EXPECT_EQ(VELATZone::getServerUTCTime(local), -1);
  EXPECT_EQ(VELATZone::getServerLocalTime(local), -1);
}

TEST(Time, ConfiguredZone) {
  const std::string host = vela::ServerZoneName();
  const testkit::LogCapture log;
  for (const std::string configured : {"Asia/Kolkata", "No/Such", "../Rome"}) {
    files::Write("etc/conf/vela.cfg", "TimeZone = " + configured + "\n");
    vela::SetServerZone("");
    const bool known = configured == "Asia/Kolkata";
    EXPECT_EQ(vela::ServerZoneName() + vela::ServerZoneName(), known ? configured + configured : host + host);
    EXPECT_EQ(log.Count(configured), known ? 0 : 1) << "reported once";
  }
}

// The zone is replaced while others convert: each result is whole, of one zone or the other.
TEST(TimeThreaded, ZonesAreReplacedUnderway) {
  const testkit::Zone utc("UTC");
  const std::int64_t noon = RWDBDateTime(2024, 7, 1, 12).seconds();
  InThreads(4, [noon](int thread) {
    for (int round = 0; round < 500; ++round) {
      if (thread == 0) vela::SetServerZone(round % 2 == 0 ? "Asia/Kolkata" : "America/New_York");
      const std::int64_t offset = noon - RWDBDateTime(2024, 7, 1, 12).seconds();
      EXPECT_TRUE(offset == 0 || offset == 19'800 || offset == -14'400) << offset;
    }
  });
}

}  // namespace
