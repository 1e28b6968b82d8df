// What UTC to local time costs, with the zone asked for each time and with a zone at hand.
#include <date/tz.h>

#include <ctime>
#include <random>

#include "bench/bench_util.h"
#include "platform/time/server_zone.h"
#include "platform/time/vela_tzone.h"
#include "util/basicutil/timeutil.h"

namespace {

constexpr const char* kZone = "America/New_York";

// Times from 2000 to 2037 in no order.
std::vector<__int64> Moments() {
  std::mt19937 random(1);
  std::uniform_int_distribution<__int64> between(946'684'800, 2'145'916'800);
  std::vector<__int64> moments(4096);
  for (__int64& moment : moments) moment = between(random);
  return moments;
}

std::tm BrokenDown(date::local_seconds local, bool dst) {
  const auto day = date::floor<date::days>(local);
  const date::year_month_day ymd(day);
  const date::hh_mm_ss<std::chrono::seconds> time(local - day);
  std::tm out{};
  out.tm_year = static_cast<int>(ymd.year()) - 1900;
  out.tm_mon = static_cast<int>(static_cast<unsigned>(ymd.month())) - 1;
  out.tm_mday = static_cast<int>(static_cast<unsigned>(ymd.day()));
  out.tm_hour = static_cast<int>(time.hours().count());
  out.tm_min = static_cast<int>(time.minutes().count());
  out.tm_sec = static_cast<int>(time.seconds().count());
  out.tm_isdst = dst ? 1 : 0;
  return out;
}

template <class Convert>
bench::Side Each(const bench::Options& options, const std::vector<__int64>& moments, Convert convert) {
  return [&options, &moments, convert] {
    return bench::NanosecondsEach(options.Operations(1'000'000), [&](long count) {
      for (long i = 0; i < count; ++i) convert(moments[static_cast<std::size_t>(i) % moments.size()]);
    });
  };
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  const std::vector<__int64> moments = Moments();
  if (!vela::SetServerZone(kZone)) return 1;
  const date::time_zone* const zone = date::locate_zone(kZone);
  VELATime now;
  VELATZone::getServerLocalTime(now);

  const std::vector<bench::Sample> samples = bench::Interleaved(
      options, {Each(options, moments,
                     [](__int64 t) {
                       std::tm local;
                       NSTE_util::TEUTC2LOCAL(t, local);
                       bench::Keep(local);
                     }),
                Each(options, moments,
                     [now](__int64 t) {
                       VELATime utc = VELATZone::toVELATime(t);
                       utc.zone = now.zone;
                       VELATime local;
                       VELATZone::instance()->getLocalTime(utc, local);
                       bench::Keep(local);
                     }),
                Each(options, moments,
                     [zone](__int64 t) {
                       const date::sys_seconds utc{std::chrono::seconds(t)};
                       const date::sys_info info = zone->get_info(utc);
                       bench::Keep(BrokenDown(date::local_seconds(utc.time_since_epoch() + info.offset),
                                              info.save.count() != 0));
                     }),
                Each(options, moments, [](__int64 t) {
                  std::tm utc;
                  const std::time_t time = t;
                  ::gmtime_r(&time, &utc);
                  bench::Keep(utc);
                })});
  bench::Print(options, {{"UTC to local, zone asked for, ns", samples[0], samples[2], samples[3], 1.3},
                         {"UTC to local, zone at hand, ns", samples[1], samples[2], samples[3], 1.3}});
}
