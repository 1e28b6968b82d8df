// What collecting the errors of a request costs: one error that is tried and taken back, beside OpenSSL's
// error queue, and many different errors, beside a bare list with a hash set (as linear as the machine's
// caches let it be).
#include <malloc.h>
#ifdef VELA_BENCH_PEERS
#include <openssl/err.h>
#endif

#include <list>
#include <string_view>
#include <unordered_set>

#include "bench/bench_util.h"
#include "util/basicutil/tecommonerror.h"

using namespace NSTE_util;

namespace {

double TakenBack(long operations) {
  const TEOperErrorLogGuard frame;
  TEOperErrorLogIF& log = *TEOperErrorLogIF::Instance();
  const std::string position = "9-1, slot 3";
  return bench::NanosecondsEach(operations, [&](long count) {
    for (long i = 0; i < count; ++i) {
      log.AddErrTransStart();
      log.AddErr(0x4101F003UL, position);
      log.RollbackAddErr();
    }
  });
}

bench::Side PeerTakenBack([[maybe_unused]] long operations) {
#ifdef VELA_BENCH_PEERS
  return [operations] {
    return bench::NanosecondsEach(operations, [](long count) {
      for (long i = 0; i < count; ++i) {
        ERR_set_mark();
        ERR_raise(ERR_LIB_USER, 3);
        ERR_pop_to_mark();
      }
    });
  };
#else
  return {};
#endif
}

const std::string kText = "no answer of the board";

std::vector<std::string> Positions(long errors) {
  std::vector<std::string> positions;
  for (long i = 0; i < errors; ++i) positions.push_back("9-" + std::to_string(i) + ", rack 1, slot 3");
  return positions;
}

// Nanoseconds per error of frames with that many, all of one code and text.
double Different(long errors, long operations) {
  TEOperErrorLogIF& log = *TEOperErrorLogIF::Instance();
  const std::vector<std::string> positions = Positions(errors);
  const long frames = std::max(1L, operations / errors);
  const double each = bench::NanosecondsEach(frames, [&](long count) {
    for (long i = 0; i < count; ++i) {
      const TEOperErrorLogGuard frame;
      for (const std::string& position : positions) log.AddErr(kText, position);
    }
  });
  return each / static_cast<double>(errors);
}

double PeerDifferent(long errors, long operations) {
  const std::vector<std::string> positions = Positions(errors);
  const double each = bench::NanosecondsEach(std::max(1L, operations / errors), [&](long count) {
    for (long i = 0; i < count; ++i) {
      std::list<std::pair<std::string, std::string>> kept;
      std::unordered_set<std::string_view> known;
      for (const std::string& position : positions)
        if (!known.contains(position)) known.insert(kept.emplace_back(kText, position).second);
    }
  });
  return each / static_cast<double>(errors);
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  ::mallopt(M_MMAP_THRESHOLD, 1 << 28);  // fresh pages from the system would hide the work
  ::mallopt(M_TRIM_THRESHOLD, 1 << 29);
  const long rounds = options.Operations(200'000);
  const long errors = options.Operations(100'000);
  const auto measured =
      bench::Interleaved(options, {[rounds] { return TakenBack(rounds); }, PeerTakenBack(rounds)});
  std::vector<bench::Side> sides;
  for (const long each : {100, 1000, 10'000, 100'000}) {
    sides.emplace_back([=] { return Different(each, errors); });
    sides.emplace_back([=] { return PeerDifferent(each, errors); });
  }
  const auto grown = bench::Interleaved(options, sides);
  bench::Print(options, {{"start, add, roll back, ns", measured[0], measured[1], {}, 3},
                         {"100 different errors, ns each", grown[0], grown[1], {}, 2},
                         {"1,000 different errors, ns each", grown[2], grown[3], {}, 2},
                         {"10,000 different errors, ns each", grown[4], grown[5], {}, 2},
                         {"100,000 different errors, ns each", grown[6], grown[7], {}, 2}});
}
