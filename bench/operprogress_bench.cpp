// What a step of an operation costs that tells the client nothing new: a million steps, of which a hundred
// are reported. The peer is its floor, one look-up of the operation under the lock. Frames are captured, not
// sent.
#include <unordered_map>

#include "bench/bench_util.h"
#include "platform/os/shared_mutex.h"
#include "platform/task/frame_capture.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/client_records.h"
#include "util/basicutil/progress_if.h"
#include "util/basicutil/progressmgr.h"

using namespace NSTE_util;

namespace {

constexpr int OPERATIONS = 100;  // registered at once
char g_objects[OPERATIONS];
long g_reports = 0;

double StepNanoseconds(long steps) {
  TEOperProgressIF& progress = *TEOperProgressIF::Instance();
  for (int i = 0; i < OPERATIONS; ++i) progress.RegisterRoot(i, &g_objects[i], 100, 0);
  g_reports = 0;
  const double each = bench::NanosecondsEach(steps, [&](long count) {
    for (long i = 1; i <= count; ++i)
      progress.SendSectionStep(&g_objects[7], static_cast<int>(i), static_cast<int>(count));
  });
  progress.Clear();
  return each;
}

struct Entry {
  double reached = 0;
  char rest[56] = {};
};

double LookUpNanoseconds(long steps) {
  vela::SharedMutex mutex;
  std::unordered_map<const void*, Entry> entries;
  for (const char& object : g_objects) entries[&object] = {};
  const void* object = &g_objects[7];
  return bench::NanosecondsEach(steps, [&](long count) {
    for (long i = 0; i < count; ++i) {
      bench::Keep(object);
      const vela::WriteLock lock(mutex);
      bench::Keep(entries.find(object)->second.reached);
    }
  });
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  vela::SetFrameCapture([](const VelaCmdMSG&, std::uint8_t) {
    ++g_reports;
    return vela::FrameFate::taken;
  });
  VelaGnlTask task("sender");
  const VelaCurrentTaskScope scope(&task);
  ClientMissionID mission;
  mission.m_nMissionNo = 7;
  ProgressMgr::Instance()->RegisterMission(mission, &task);

  const long steps = options.Operations(1000000);
  const auto samples = bench::Interleaved(
      options, {[steps] { return StepNanoseconds(steps); }, [steps] { return LookUpNanoseconds(steps); }});
  bench::Print(options,
               {{"silent step against a look-up under the lock, ns", samples[0], samples[1], {}, 3}});
  std::fprintf(stderr, "%ld steps, %ld reports\n", steps, g_reports);
  vela::SetFrameCapture({});
  return 0;
}
