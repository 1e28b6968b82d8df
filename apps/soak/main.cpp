// Drives the small network-management server with many clients at once, kills and replaces an NE manager
// again and again, and compares what was sent with what was answered, and what the processes hold at the end
// with what they held when they were warm. Exit code 0 only if every difference is zero.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "apps/common/texts.h"
#include "apps/soak/census.h"
#include "apps/soak/clients.h"
#include "apps/soak/system.h"
#include "apps/velactl/client_process.h"
#include "platform/task/vela_app_mgr.h"

namespace soak {
namespace {

constexpr unsigned kClients = 12;
constexpr int kReplaceSeconds = 10;
constexpr int kIdleSeconds = 60;
// The allocator keeps what it once needed for a while: so much more than when warm is no growth.
constexpr std::int64_t kMemoryTolerance = 4096;  // KiB, and an eighth

int g_failures = 0;

void Row(const char* what, std::int64_t expected, std::int64_t found) {
  const std::int64_t difference = found - expected;
  if (difference != 0) ++g_failures;
  std::printf("%-44s %12lld %12lld %12lld%s\n", what, static_cast<long long>(expected),
              static_cast<long long>(found), static_cast<long long>(difference),
              difference != 0 ? "  <--" : "");
}

std::int64_t Growth(const Facts& warm, const Facts& now) {
  return std::max<std::int64_t>(0, now.memory - warm.memory - kMemoryTolerance - warm.memory / 8);
}

void Compare(const Facts& warm, const Facts& now) {
  std::printf("%s: resident %lld KiB when warm, %lld at the end\n", VelaAddressText(now.process).c_str(),
              static_cast<long long>(warm.memory), static_cast<long long>(now.memory));
  Row("  answers when asked for its state", 2, (warm.answered ? 1 : 0) + (now.answered ? 1 : 0));
  Row("  memory beyond the tolerance, KiB", 0, Growth(warm, now));
  Row("  descriptors", warm.descriptors, now.descriptors);
  Row("  threads", warm.threads, now.threads);
  Row("  requests, locks, frames, missions left", 0, now.busy);
  Row("  log records: made = written + dropped", now.produced, now.written + now.dropped);
}

// Replaces a manager every ten seconds of them.
bool Drive(System& system, Tally& tally, int seconds, std::string& error) {
  Clients clients(kClients, tally);
  for (int second = 1; second <= seconds; ++second) {
    sleep(1);
    if (second % kReplaceSeconds == 0 && !system.Replace(error)) return false;
  }
  return true;
}

void Report(const Tally& tally, int ended) {
  const auto count = [](const std::atomic<std::uint64_t>& number) {
    return static_cast<std::int64_t>(number.load());
  };
  std::printf("%lld missions, of these %lld refused and %lld cancelled\n",
              static_cast<long long>(count(tally.missions)), static_cast<long long>(count(tally.refused)),
              static_cast<long long>(count(tally.cancelled)));
  Row("requests, answered once", count(tally.sent), count(tally.answered));
  Row("requests answered twice or too late", 0,
      static_cast<std::int64_t>(VelaAppMgr::Instance()->Stats().lateAnswers));
  Row("processes that did not end with 0", 0, ended);
}

int Fail(const std::string& reason) {
  std::fprintf(stderr, "vela_soak: %s\n", reason.c_str());
  return EXIT_FAILURE;
}

int Run(const std::string& programs, int seconds, char* argv0) {
  System system(programs);
  std::string error;
  velactl::ClientProcess self;
  if (!system.Start(error) || !self.Start(argv0, error)) return Fail(error);
  Tally tally;
  if (!Drive(system, tally, std::max(seconds / 3, 1), error)) return Fail(error);
  const std::vector<Facts> warm = TakeCensus(system.Survivors(), kIdleSeconds);
  if (!Drive(system, tally, std::max(seconds - seconds / 3, 1), error)) return Fail(error);
  const std::vector<Facts> now = TakeCensus(system.Survivors(), kIdleSeconds);

  std::printf("%-44s %12s %12s %12s\n", "", "expected", "found", "difference");
  for (std::size_t i = 0; i < now.size(); ++i) Compare(warm[i], now[i]);
  Report(tally, system.Stop());
  std::printf(g_failures == 0 ? "all differences are zero\n" : "%d differences\n", g_failures);
  return g_failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace soak

int main(int argc, char** argv) {
  signal(SIGPIPE, SIG_IGN);
  apps::LoadTexts();
  const std::string_view text = argc == 2 ? argv[1] : "";
  int seconds = 0;
  std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (seconds < 1) return soak::Fail("usage: vela_soak SECONDS, in an installation root");
  const std::string self = argv[0];
  return soak::Run(self.substr(0, self.rfind('/')), seconds, argv[0]);
}
