// What collecting the errors of a request costs: one error that is tried and taken back, beside OpenSSL's
// error queue, and frames of many different errors, whose peer is a frame of 100.
#include <malloc.h>
#ifdef VELA_BENCH_PEERS
#include <openssl/err.h>
#endif

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

// Nanoseconds per error of frames with that many, all of one code and text.
double Different(long errors, long operations) {
  TEOperErrorLogIF& log = *TEOperErrorLogIF::Instance();
  std::vector<std::string> positions;
  for (long i = 0; i < errors; ++i) positions.push_back("9-" + std::to_string(i) + ", rack 1, slot 3");
  const long frames = std::max(1L, operations / errors);
  const double each = bench::NanosecondsEach(frames, [&](long count) {
    for (long i = 0; i < count; ++i) {
      const TEOperErrorLogGuard frame;
      for (const std::string& position : positions) log.AddErr("no answer of the board", position);
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
  const auto samples = bench::Interleaved(
      options,
      {[rounds] { return TakenBack(rounds); }, PeerTakenBack(rounds),
       [errors] { return Different(100, errors); }, [errors] { return Different(1000, errors); },
       [errors] { return Different(10'000, errors); }, [errors] { return Different(100'000, errors); }});
  bench::Print(options, {{"start, add, roll back, ns", samples[0], samples[1], {}, 3},
                         {"100 different errors, ns each", samples[2], {}, {}, 0},
                         {"1,000 different errors, ns each", samples[3], samples[2], {}, 2},
                         {"10,000 different errors, ns each", samples[4], samples[2], {}, 2},
                         {"100,000 different errors, ns each", samples[5], samples[2], {}, 4}});
}
