#include "platform/log/time_formatter.h"

#include <cstdio>
#include <ctime>

namespace {

constexpr std::size_t kToSeconds = sizeof("2026-11-21 15:04:05") - 1;

// The text of a second, kept per thread: records come many in a second.
struct SecondText {
  std::int64_t second = INT64_MIN;
  char text[48] = {};
};

void Render(std::int64_t second, SecondText& out) {
  const std::time_t time = second;
  std::tm parts{};
  if (::localtime_r(&time, &parts) == nullptr ||
      std::strftime(out.text, sizeof(out.text), "%Y-%m-%d %H:%M:%S", &parts) != kToSeconds) {
    std::snprintf(out.text, sizeof(out.text), "%lld", static_cast<long long>(second));
  }
  out.second = second;
}

}  // namespace

std::string TimeFormatter::getFormatTime(std::int64_t seconds, std::int32_t microseconds) {
  thread_local SecondText cached;
  if (cached.second != seconds) Render(seconds, cached);
  std::string out = cached.text;
  out.push_back('.');
  const std::uint32_t fraction = microseconds < 0 ? 0 : static_cast<std::uint32_t>(microseconds) % 1'000'000;
  for (std::uint32_t unit = 100'000; unit != 0; unit /= 10) {
    out.push_back(static_cast<char>('0' + fraction / unit % 10));
  }
  return out;
}
