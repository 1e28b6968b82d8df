// What a trace record costs its caller: held back by its module's switch, and accepted for writing.
#include <spdlog/async.h>
#include <spdlog/async_logger.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <mutex>

#include "bench/bench_util.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/common.h"
#include "util/basicutil/common_manager.h"

namespace {

// 64 characters with the integer's six digits.
#define RECORD_BEGIN "The request of network element "
#define RECORD_END " is queued for its worker.."
constexpr int kFirst = 100'000;
constexpr std::size_t kQueue = 8192;

[[gnu::format(printf, 1, 2)]] void FloorRecord(const char* format, ...) {
  struct Slot {
    std::chrono::system_clock::time_point time;
    char text[128];
  };
  static std::mutex mutex;
  static std::array<Slot, 128> ring;
  static std::size_t next = 0;
  char text[4096];
  std::va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(text, sizeof(text), format, args);
  va_end(args);
  const auto now = std::chrono::system_clock::now();
  const std::lock_guard<std::mutex> lock(mutex);
  Slot& slot = ring[next++ % ring.size()];
  slot.time = now;
  std::memcpy(slot.text, text, std::min(static_cast<std::size_t>(length), sizeof(slot.text)));
}

bench::Row HeldBack(const bench::Options& options, int threads) {
  const long operations = options.Operations(400'000 / threads);
  const auto ring = std::make_shared<spdlog::logger>("ring", std::make_shared<spdlog::sinks::null_sink_mt>());
  ring->set_level(spdlog::level::warn);
  ring->enable_backtrace(128);
  const auto each = [&](auto record) {
    return [=] {
      return bench::NanosecondsEach(threads, operations, [record](long count) {
        for (long i = 0; i < count; ++i) record(static_cast<int>(kFirst + i % kFirst));
      });
    };
  };
  const std::vector<bench::Sample> samples =
      bench::Interleaved(options, {each([](int i) { NSTE_util::TETrace(RECORD_BEGIN "%d" RECORD_END, i); }),
                                   each([ring](int i) { ring->debug(RECORD_BEGIN "{}" RECORD_END, i); }),
                                   each([](int i) { FloorRecord(RECORD_BEGIN "%d" RECORD_END, i); })});
  return {"held-back record, " + std::to_string(threads) + " threads, ns", samples[0], samples[1], samples[2],
          0.9};
}

// The caller's cost alone: bursts that the queue holds, each written out before the next begins.
template <class Record, class Drain>
double CallerCost(int threads, long bursts, const Record& record, const Drain& drain) {
  const long burst = static_cast<long>(kQueue) / 2 / threads;
  double sum = 0;
  for (long i = 0; i < bursts; ++i) {
    sum += bench::NanosecondsEach(threads, burst, [&record](long count) {
      for (long n = 0; n < count; ++n) record(static_cast<int>(kFirst + n));
    });
    drain();
  }
  return sum / static_cast<double>(bursts);
}

bench::Row Written(const bench::Options& options, int threads) {
  const long bursts = options.Operations(100);
  NSTE_util::TEDebugInterface& ours = *NSTE_util::GetDebugInterface("bench");
  const auto pool = std::make_shared<spdlog::details::thread_pool>(kQueue, 1);
  const auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
      vela::InstallRoot() + "var/logs/peer.log", 10240 * 1024, 5);
  const auto peer = std::make_shared<spdlog::async_logger>("peer", sink, pool,
                                                           spdlog::async_overflow_policy::overrun_oldest);
  const auto drainPeer = [&] {
    while (pool->queue_size() != 0) ::usleep(100);
  };
  const std::vector<bench::Sample> samples = bench::Interleaved(
      options, {[&] {
                  return CallerCost(
                      threads, bursts, [&ours](int i) { ours.PrintF(2, RECORD_BEGIN "%d" RECORD_END, i); },
                      [] { LogProcess::Flush(60'000); });
                },
                [&] {
                  return CallerCost(
                      threads, bursts, [&peer](int i) { peer->info(RECORD_BEGIN "{}" RECORD_END, i); },
                      drainPeer);
                },
                [&] {
                  return CallerCost(
                      threads, bursts, [](int i) { FloorRecord(RECORD_BEGIN "%d" RECORD_END, i); }, [] {});
                }});
  return {"written record, caller, " + std::to_string(threads) + " threads, ns", samples[0], samples[1],
          samples[2], 1.1};
}

// Changes the switches of a module, as an operator's command does, again and again while it lives, and a bare
// number with them.
class Operator {
 public:
  Operator(const std::string& module, std::atomic<unsigned>& number)
      : m_number(number), m_thread([this, module] { Run(module); }) {}
  ~Operator() {
    m_stop = true;
    m_thread.join();
  }
  Operator(const Operator&) = delete;
  Operator& operator=(const Operator&) = delete;

 private:
  void Run(const std::string& module) {
    NSTE_util::TEDebugMgrImpl& manager = *NSTE_util::TEDebugMgrImpl::Instance();
    for (bool on = true; !m_stop; on = !on) {
      manager.Excute("setswitch " + module + (on ? " 1111" : " 1110"));
      m_number.store(on ? 0b1111 : 0b0111, std::memory_order_relaxed);
    }
  }

  std::atomic<bool> m_stop = false;
  std::atomic<unsigned>& m_number;
  std::thread m_thread;
};

// Beside the same while the other thread changes the switches of another module. The floor reads a bare
// number that changes as often: what it costs when another core has written, which no reader can avoid.
template <class Body, class Floor>
bench::Row WhileSwitchesChange(const bench::Options& options, const char* figure, const Body& body,
                               const Floor& floor) {
  alignas(64) static std::atomic<unsigned> number{0b1111};
  const auto beside = [](const char* module, const auto& work) {
    return [&work, module] {
      const Operator changes(module, number);
      return work();
    };
  };
  const auto floorBody = [&floor] { return floor(number); };
  const std::vector<bench::Sample> samples =
      bench::Interleaved(options, {beside("bench", body), beside("other", body), beside("other", floorBody)});
  return {figure, samples[0], samples[1], samples[2], 1.1};
}

std::vector<bench::Row> SwitchRows(const bench::Options& options) {
  NSTE_util::TEDebugInterface& ours = *NSTE_util::GetDebugInterface("bench");
  NSTE_util::GetDebugInterface("other");
  const long asks = options.Operations(20'000'000);
  const long bursts = options.Operations(100);
  const auto ask = [asks](const auto& isOn) {
    return bench::NanosecondsEach(asks, [&isOn](long count) {
      for (long i = 0; i < count; ++i) bench::Keep(isOn());
    });
  };
  const auto write = [bursts](const auto& record) {
    return CallerCost(1, bursts, record, [] { LogProcess::Flush(60'000); });
  };
  using Number = const std::atomic<unsigned>&;
  return {WhileSwitchesChange(
              options, "IsEnabled while switches change, ns",
              [&] { return ask([&ours] { return ours.IsEnabled(2); }); },
              [&](Number number) {
                return ask([&number] { return (number.load(std::memory_order_relaxed) >> 2 & 1) != 0; });
              }),
          WhileSwitchesChange(
              options, "written record, caller, while switches change, ns",
              [&] { return write([&ours](int i) { ours.PrintF(2, RECORD_BEGIN "%d" RECORD_END, i); }); },
              [&](Number number) {
                return write([&](int i) {
                  if (number.load(std::memory_order_relaxed) != 0)
                    FloorRecord(RECORD_BEGIN "%d" RECORD_END, i);
                });
              })};
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  std::vector<bench::Row> rows;
  for (const int threads : {1, 4}) rows.push_back(HeldBack(options, threads));
  LogProcess::InitEnv("trace_bench", 0);
  NSTE_util::GetDebugInterface("bench");
  NSTE_util::TEDebugMgrImpl::Instance()->Excute("setswitch bench 1111");
  for (const int threads : {1, 4}) rows.push_back(Written(options, threads));
  for (const bench::Row& row : SwitchRows(options)) rows.push_back(row);
  bench::Print(options, rows);
  if (LogProcess::DroppedRecords() != 0) std::printf("records were lost: the bursts do not fit the queue\n");
}
