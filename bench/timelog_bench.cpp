// What it costs to time a piece of work on a thread with an open log. Peer: the least that it takes, two
// clock reads and one look-up of the thread in a map under a lock.
#include <map>
#include <mutex>
#include <string>

#include "bench/bench_util.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/timelog.h"

using namespace NSTE_util;

namespace {

constexpr int kOpenLogs = 32;
constexpr long kStepsInALog = 1000;

// As many logs open as a server has busy threads: each opened by a thread that waits for the end.
class BusyThreads {
 public:
  BusyThreads() {
    for (int i = 0; i < kOpenLogs; ++i)
      m_threads.emplace_back([this] {
        const TETimeLogGuard log("busy");
        TETimeLog::Instance()->BeginNEOper(GetCurrentThreadId(), TIME_NE_OPER, "waits for its board");
        const std::lock_guard<std::mutex> wait(m_end);
      });
    while (TETimeLog::OpenLogs().size() < kOpenLogs) std::this_thread::yield();
  }
  ~BusyThreads() {
    m_end.unlock();
    for (std::thread& thread : m_threads) thread.join();
  }
  BusyThreads(const BusyThreads&) = delete;
  BusyThreads& operator=(const BusyThreads&) = delete;

 private:
  struct Locked : std::mutex {
    Locked() { lock(); }
  };
  Locked m_end;
  std::vector<std::thread> m_threads;
};

double Guards(int threads, long operations, long type) {
  return bench::NanosecondsEach(threads, operations, [type](long count) {
    const std::string name = "query board";
    for (long done = 0; done < count; done += kStepsInALog) {
      const TETimeLogGuard log("request");
      for (long i = 0; i < kStepsInALog; ++i) const TETimeGuard guard(type, name);
    }
  });
}

// Of one begin with its end, beside the operations that other requests wait for.
double Operations(int threads, long operations) {
  return bench::NanosecondsEach(threads, operations, [](long count) {
    const TETimeLogGuard log("request");
    TETimeLog& timeLog = *TETimeLog::Instance();
    const unsigned long operCode = GetCurrentThreadId();
    const std::string none;
    for (long i = 0; i < count; ++i) {
      timeLog.BeginNEOper(operCode, TIME_NE_OPER, none);
      timeLog.EndNEOper(operCode);
    }
  });
}

struct Peer {
  std::mutex mutex;
  std::map<std::uint32_t, std::uint64_t> logs;
};

double LookUps(int threads, long operations) {
  static Peer& peer = *new Peer;
  return bench::NanosecondsEach(threads, operations, [](long count) {
    const std::uint32_t thread = GetCurrentThreadId();
    {
      const std::lock_guard<std::mutex> lock(peer.mutex);
      for (std::uint32_t i = 0; i <= kOpenLogs; ++i) peer.logs.try_emplace(thread - i);
    }
    for (long i = 0; i < count; ++i) {
      const std::uint32_t start = VelaGetTickCount();
      const std::uint32_t elapsed = VelaGetTickCount() - start;
      const std::lock_guard<std::mutex> lock(peer.mutex);
      peer.logs.find(thread)->second += elapsed;
    }
  });
}

std::string Named(const char* what, int threads) {
  return std::string(what) + ", " + std::to_string(threads) + " threads, ns";
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  const BusyThreads busy;
  std::vector<bench::Row> rows;
  for (const int threads : {1, 4}) {
    const long operations = options.Operations(400'000 / threads);
    const auto samples =
        bench::Interleaved(options, {[=] { return Guards(threads, operations, TIME_STEP); },
                                     [=] { return Guards(threads, operations, TIME_NE_OPER); },
                                     [=] { return LookUps(threads, operations); },
                                     [=] { return Operations(threads, operations); }});
    rows.push_back({Named("timed step", threads), samples[0], samples[2], {}, 3});
    rows.push_back({Named("timed NE operation", threads), samples[1], samples[2], {}, 3});
    rows.push_back({Named("NE operation begun and ended", threads), samples[3], samples[2], {}, 0});
  }
  bench::Print(options, rows);
  return 0;
}
