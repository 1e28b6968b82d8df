// What a lock costs while much is held, and what a refusal costs. Peer: comparing the lists pair by pair.
// Floor: four look-ups in hash sets, the least that a test at every level takes. "per object" figures lock
// and unlock.
#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <list>
#include <string>
#include <unordered_set>
#include <vector>

#include "bench/bench_util.h"
#include "util/basicutil/mutex.h"

using namespace NSTE_util;

namespace {

constexpr int kRunning = 11;
constexpr int kStarting = 12;
constexpr int kWantedAtOnce = 10;

// The i-th of many boards' ports: 16 ports on a board, 16 boards in an NE.
TEOperObject Port(std::uint32_t i) {
  return {1 + i / 256, 1 + i / 16 % 16, 1 + i % 16};
}

// Ports spread over everything that is held, so that no look-up finds its line in the cache by luck.
std::uint32_t Scattered(long i, std::uint32_t count) {
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(i) * 2654435761U % count);
}

void LoadRules() {
  const std::filesystem::path file = std::filesystem::temp_directory_path() / "mutex_bench.cfg";
  std::ofstream(file) << "[MUTEX_TABLE]\n11:12:1\n12:12:0\n[MUTEX_ERRORCODE]\n11:77\n";
  TEMutexOperMgr::Instance()->LoadMutexFile(file);
  std::filesystem::remove(file);
}

// Holds `count` ports, of which the even ones are free to be locked by others.
class Held {
 public:
  explicit Held(std::uint32_t count) : m_count(count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      const TEOperObject port = Port(2 * i + 1);
      m_list.push_back(port);
      TEMutexOperMgr::Instance()->LockOper(kRunning, port);
      m_firsts.insert(port.m_nFirst);
      m_seconds.insert(Key(port.m_nFirst, port.m_nSecond, 0));
      m_thirds.insert(Key(port.m_nFirst, port.m_nSecond, port.m_nThird));
    }
  }
  ~Held() { TEMutexOperMgr::Instance()->UnlockOper(kRunning, m_list); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;

  // Of one lock and unlock, of one port.
  double Single(long operations) const {
    TEMutexOperMgr& manager = *TEMutexOperMgr::Instance();
    return bench::NanosecondsEach(operations, [&](long rounds) {
      for (long i = 0; i < rounds; ++i) {
        const TEOperObject port = Port(2 * Scattered(i, m_count));
        bench::Keep(manager.LockOper(kStarting, port));
        manager.UnlockOper(kStarting, port);
      }
    });
  }

  // Per port, of one lock and unlock of several.
  double PerObject(long operations) const {
    TEMutexOperMgr& manager = *TEMutexOperMgr::Instance();
    std::vector<std::list<TEOperObject>> wanted(64);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      for (int j = 0; j < kWantedAtOnce; ++j)
        wanted[i].push_back(Port(2 * Scattered(static_cast<long>(i) * kWantedAtOnce + j, m_count)));
    }
    return bench::NanosecondsEach(operations, [&](long rounds) {
      for (long i = 0; i < rounds; i += kWantedAtOnce) {
        const auto& list = wanted[static_cast<std::size_t>(i) / kWantedAtOnce % wanted.size()];
        bench::Keep(manager.LockOper(kStarting, list));
        manager.UnlockOper(kStarting, list);
      }
    });
  }

  double Refusal(long operations) const {
    TEMutexOperMgr& manager = *TEMutexOperMgr::Instance();
    return bench::NanosecondsEach(operations, [&](long rounds) {
      for (long i = 0; i < rounds; ++i)
        bench::Keep(manager.LockOper(kStarting, Port(2 * Scattered(i, m_count) + 1)));
    });
  }

  // The test alone.
  double PairByPair(long operations) const {
    return bench::NanosecondsEach(operations, [&](long rounds) {
      for (long i = 0; i < rounds; ++i) {
        const TEOperObject port = Port(2 * Scattered(i, m_count));
        bool conflict = false;
        for (const TEOperObject& held : m_list) conflict = conflict || held.IsConflict(port);
        bench::Keep(conflict);
      }
    });
  }
  double FourLookUps(long operations) const {
    return bench::NanosecondsEach(operations, [&](long rounds) {
      for (long i = 0; i < rounds; ++i) {
        const TEOperObject port = Port(2 * Scattered(i, m_count));
        const bool found = m_firsts.contains(0) || !m_firsts.contains(port.m_nFirst) ||
                           m_seconds.contains(Key(port.m_nFirst, port.m_nSecond, 0)) +
                                   m_thirds.contains(Key(port.m_nFirst, port.m_nSecond, port.m_nThird)) >
                               1;
        bench::Keep(found);
      }
    });
  }

 private:
  static std::uint64_t Key(std::uint64_t first, std::uint64_t second, std::uint64_t third) {
    return first << 16 | second << 8 | third;
  }

  std::uint32_t m_count;
  std::list<TEOperObject> m_list;
  std::unordered_set<std::uint64_t> m_firsts;
  std::unordered_set<std::uint64_t> m_seconds;
  std::unordered_set<std::uint64_t> m_thirds;
};

std::string Named(const char* format, std::uint32_t count) {
  char text[96];
  std::snprintf(text, sizeof(text), format, count);
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  LoadRules();
  constexpr std::array<std::uint32_t, 4> counts{100, 1000, 10000, 100000};
  const long operations = options.Operations(200000);
  std::vector<std::vector<double>> single(counts.size());
  std::vector<std::vector<double>> perObject(counts.size());
  std::vector<std::vector<double>> refusal(counts.size());
  std::vector<std::vector<double>> pairs(counts.size());
  std::vector<std::vector<double>> lookUps(counts.size());
  for (int round = 0; round < options.repetitions; ++round) {
    for (std::size_t i = 0; i < counts.size(); ++i) {
      const Held held(counts[i]);
      single[i].push_back(held.Single(operations));
      perObject[i].push_back(held.PerObject(operations));
      refusal[i].push_back(held.Refusal(operations));
      pairs[i].push_back(held.PairByPair(std::max(1L, operations / counts[i] / 10)));
      lookUps[i].push_back(held.FourLookUps(operations));
    }
  }

  std::vector<bench::Row> rows;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const bench::Sample peer = bench::Median(pairs[i]);
    const bench::Sample floor = bench::Median(lookUps[i]);
    rows.push_back({Named("one port locked and unlocked, %u held, ns", counts[i]), bench::Median(single[i]),
                    peer, floor, i == 0 ? 0.0 : 1.0});
    rows.push_back({Named("each of ten ports, %u held, ns", counts[i]), bench::Median(perObject[i]), peer,
                    floor, i == 0 ? 0.0 : 1.0});
    rows.push_back({Named("refusal, %u held, ns", counts[i]), bench::Median(refusal[i]), peer, floor, 0});
  }
  rows.push_back({"growth: one port, 100,000 held against 100, ns",
                  bench::Median(single.back()),
                  bench::Median(single.front()),
                  {},
                  2});
  rows.push_back({"growth: each of ten ports, 100,000 held against 100, ns",
                  bench::Median(perObject.back()),
                  bench::Median(perObject.front()),
                  {},
                  2});
  rows.push_back(
      {"refusal, 10,000 held, against 1000 ns", bench::Median(refusal[2]), {1000, 1000, 1000}, {}, 1});
  bench::Print(options, rows);
  TEMutexOperMgr::Destroy();
  return 0;
}
