// Name patterns beside fnmatch(3), number lists beside fmt and std::from_chars, companion sorts beside a
// stable sort of an index.
#include <fnmatch.h>
#include <spdlog/fmt/fmt.h>

#include <charconv>
#include <numeric>
#include <random>

#include "bench/bench_util.h"
#include "util/basicutil/stringutil.h"

namespace {

using bench::Side;

struct Pattern {
  const char* figure;
  std::string name;
  std::string pattern;
  long operations;
};

std::string Repeated(const char* text, int count) {
  std::string result;
  while (count-- > 0) result += text;
  return result;
}

void MeasurePattern(const bench::Options& options, const Pattern& row, std::vector<bench::Row>& rows) {
  const long operations = options.Operations(row.operations);
  const Side ours = [&row, operations] {
    return bench::NanosecondsEach(operations, [&row](long count) {
      for (long i = 0; i < count; ++i) bench::Keep(NSTE_util::IsNameMeetingRequire(row.name, row.pattern));
    });
  };
  const Side peer = [&row, operations] {
    return bench::NanosecondsEach(operations, [&row](long count) {
      for (long i = 0; i < count; ++i) bench::Keep(fnmatch(row.pattern.c_str(), row.name.c_str(), 0));
    });
  };
  const auto samples = bench::Interleaved(options, {ours, peer});
  rows.push_back(
      {std::string("pattern, ") + row.figure + ", against fnmatch, ns", samples[0], samples[1], {}, 1});
}

constexpr int kNumbers = 10'000;

// Ascending with gaps now and then, as identifiers are.
std::vector<int> SomeNumbers() {
  std::mt19937 random(7);
  std::vector<int> numbers(kNumbers);
  int last = 0;
  for (int& n : numbers) n = last += random() % 2 == 0 ? 1 : static_cast<int>(random() % 100'000);
  return numbers;
}

std::string JoinedByPeer(const std::vector<int>& numbers) {
  return fmt::format("{}", fmt::join(numbers, ","));
}

std::vector<int> ReadByPeer(const std::string& text) {
  std::vector<int> numbers;
  const char* const end = text.data() + text.size();
  for (const char* at = text.data(); at < end; ++at) {
    int n = 0;
    at = std::from_chars(at, end, n).ptr;
    int last = n;
    if (at < end && *at == '-') at = std::from_chars(at + 1, end, last).ptr;
    for (; n <= last; ++n) numbers.push_back(n);
  }
  return numbers;
}

// Nanoseconds per number of an operation on the whole list.
template <class Operation>
Side EachNumber(long operations, Operation operation) {
  return [operations, operation] {
    return bench::NanosecondsEach(operations,
                                  [&operation](long count) {
                                    for (long i = 0; i < count; ++i) bench::Keep(operation());
                                  }) /
           kNumbers;
  };
}

void MeasureLists(const bench::Options& options, std::vector<bench::Row>& rows) {
  const long operations = options.Operations(300);
  const std::vector<int> numbers = SomeNumbers();
  const std::string text = JoinedByPeer(numbers);
  RWCString runs;
  NSTE_util::NumListToStr2(numbers, runs);
  const auto build = [&numbers](bool (*function)(const std::vector<int>&, RWCString&)) {
    RWCString built;
    function(numbers, built);
    return built.length();
  };
  const auto read = [](const RWCString& from) {
    std::vector<int> list;
    NSTE_util::StrToNumList(from, list);
    return list.size();
  };
  const RWCString list = text;
  const auto samples =
      bench::Interleaved(options, {EachNumber(operations, [&] { return build(NSTE_util::NumListToStr); }),
                                   EachNumber(operations, [&] { return build(NSTE_util::NumListToStr2); }),
                                   EachNumber(operations, [&] { return JoinedByPeer(numbers).size(); }),
                                   EachNumber(operations, [&] { return read(list); }),
                                   EachNumber(operations, [&] { return read(runs); }),
                                   EachNumber(operations, [&] { return ReadByPeer(text).size(); }),
                                   EachNumber(operations, [&] { return ReadByPeer(runs.str()).size(); })});
  rows.push_back({"list of 10,000, built, against fmt, ns per number", samples[0], samples[2], {}, 1.5});
  rows.push_back(
      {"list of 10,000, built with spans, against fmt, ns per number", samples[1], samples[2], {}, 1.5});
  rows.push_back(
      {"list of 10,000, read, against from_chars, ns per number", samples[3], samples[5], {}, 1.5});
  rows.push_back({"list of 10,000, read with spans, against from_chars, ns per number",
                  samples[4],
                  samples[6],
                  {},
                  1.5});
}

void MeasureSort(const bench::Options& options, std::vector<bench::Row>& rows) {
  const std::size_t count = options.quick ? 1000 : 100'000;
  std::mt19937 random(7);
  std::vector<int> keys(count);
  for (int& key : keys) key = static_cast<int>(random() % 50'000);
  std::vector<int> others(count);
  std::iota(others.begin(), others.end(), 0);
  const Side ours = [&] {
    std::vector<int> a = keys;
    std::vector<int> b = others;
    std::vector<int> c = others;
    return bench::NanosecondsEach(1, [&](long) { NSTE_util::TERela3WaySort(a, b, c, 1); }) / 1000;
  };
  const Side peer = [&] {
    std::vector<int> index = others;
    const auto less = [&keys](int a, int b) {
      return keys[static_cast<std::size_t>(a)] < keys[static_cast<std::size_t>(b)];
    };
    return bench::NanosecondsEach(1, [&](long) { std::stable_sort(index.begin(), index.end(), less); }) /
           1000;
  };
  const auto samples = bench::Interleaved(options, {ours, peer});
  rows.push_back({"sort of 100,000 rows in 3 columns, against a stable sort of an index, us",
                  samples[0],
                  samples[1],
                  {},
                  3});
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  std::vector<bench::Row> rows;
  const std::vector<Pattern> patterns = {
      {"short", "NE-0917-03", "NE-*-03", 200'000},
      {"ordinary", "Beijing-Haidian-NE-0917-Board-03", "Beijing-*-NE-09?7-*03", 200'000},
      {"literal", "Beijing-Haidian-NE-0917-Board-03", "Beijing-Haidian-NE-0917-Board-03", 200'000},
      {"no match", "Beijing-Haidian-NE-0917-Board-03", "*-Board-04", 200'000},
      {"240 stars", std::string(1000, 'a'), Repeated("a*", 240).append("?b"), 400},
      {"one long piece behind a star", std::string(1000, 'a'), Repeated("*", 1).append(240, 'a').append("b"),
       40}};
  for (const Pattern& pattern : patterns) MeasurePattern(options, pattern, rows);
  MeasureLists(options, rows);
  MeasureSort(options, rows);
  bench::Print(options, rows);
}
