#pragma once
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

// What the benchmark programs share: repetitions of all sides interleaved, medians with their spread, and the
// table that they print. Machines are noisy: a ratio near its target counts only when several runs agree.
namespace bench {

// "--quick" runs everything once, briefly: a smoke test whose figures mean nothing.
struct Options {
  bool quick = false;
  int repetitions = 15;
  // Fewer operations in a quick run.
  long Operations(long full) const { return quick ? std::max(1L, full / 100) : full; }
};

inline Options Parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--quick") == 0) {
      options.quick = true;
      options.repetitions = 1;
    } else {
      std::fprintf(stderr, "usage: %s [--quick]\n", argv[0]);
      std::exit(2);
    }
  }
  return options;
}

struct Sample {
  double median = 0;
  double lower = 0;  // quartiles
  double upper = 0;
};

inline Sample Median(std::vector<double> values) {
  if (values.empty()) return {};
  std::sort(values.begin(), values.end());
  const auto at = [&values](double part) {
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1) + 0.5)];
  };
  return {at(0.5), at(0.25), at(0.75)};
}

// One measured side: runs once and returns its figure, for example nanoseconds per operation.
using Side = std::function<double()>;

// Runs the sides in turn, `repetitions` rounds, so that a slow phase of the machine meets all of them. An
// empty side gives an empty sample. One round before warms up.
inline std::vector<Sample> Interleaved(const Options& options, const std::vector<Side>& sides) {
  std::vector<std::vector<double>> values(sides.size());
  for (int round = options.quick ? 0 : -1; round < options.repetitions; ++round) {
    for (std::size_t i = 0; i < sides.size(); ++i) {
      if (!sides[i]) continue;
      const double value = sides[i]();
      if (round >= 0) values[i].push_back(value);
    }
  }
  std::vector<Sample> samples;
  for (auto& each : values) samples.push_back(Median(std::move(each)));
  return samples;
}

// Nanoseconds per operation of `body(operations)`.
template <class Body>
double NanosecondsEach(long operations, Body&& body) {
  const auto start = std::chrono::steady_clock::now();
  body(operations);
  const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
  return taken.count() / static_cast<double>(operations);
}

// The same with `threads` threads that run `body(operations)` each: the time until all have ended, per
// operation of one thread.
template <class Body>
double NanosecondsEach(int threads, long operations, Body&& body) {
  if (threads == 1) return NanosecondsEach(operations, body);
  return NanosecondsEach(operations, [&](long) {
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i) running.emplace_back([&body, operations] { body(operations); });
    for (std::thread& thread : running) thread.join();
  });
}

// Keeps a value, and what it depends on, from being optimised away.
template <class T>
void Keep(const T& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

enum class Better { lower, higher };

struct Row {
  std::string figure;  // with its unit: "held-back record, 1 thread, ns"
  Sample ours;
  Sample peer;        // empty: not measured in this build
  Sample floor;       // empty: none
  double target = 0;  // the bound of ours / peer; 0 = none
  Better better = Better::lower;
};

inline std::string Cell(const Sample& sample) {
  if (sample.median == 0) return "-";
  char text[64];
  std::snprintf(text, sizeof(text), "%.4g (%.4g..%.4g)", sample.median, sample.lower, sample.upper);
  return text;
}

// The verdict of a row: met or missed, "-" when there is nothing to compare.
inline std::string Verdict(const Row& row) {
  if (row.peer.median == 0 || row.ours.median == 0 || row.target == 0) return "-";
  const double ratio = row.ours.median / row.peer.median;
  const bool met = row.better == Better::lower ? ratio <= row.target : ratio >= row.target;
  char text[64];
  std::snprintf(text, sizeof(text), "%s %.4g%s", row.better == Better::lower ? "<=" : ">=", row.target,
                met ? "" : " MISSED");
  return text;
}

// "figure | ours | peer | floor | ratio | target"; median (quartiles).
inline void Print(const Options& options, const std::vector<Row>& rows) {
  std::printf("figure | ours | peer | floor | ratio | target\n");
  for (const Row& row : rows) {
    const bool compared = row.peer.median != 0 && row.ours.median != 0;
    char ratio[32] = "-";
    if (compared) std::snprintf(ratio, sizeof(ratio), "%.2f", row.ours.median / row.peer.median);
    const std::string verdict = options.quick ? "(quick)" : Verdict(row);
    std::printf("%s | %s | %s | %s | %s | %s\n", row.figure.c_str(), Cell(row.ours).c_str(),
                Cell(row.peer).c_str(), Cell(row.floor).c_str(), ratio, verdict.c_str());
  }
}

}  // namespace bench
