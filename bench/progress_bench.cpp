// What many registered missions cost: one report, and one periodic round. The peer of each figure is the same
// work with few missions. Frames are captured, not sent.
#include <memory>
#include <vector>

#include "bench/bench_util.h"
#include "platform/task/frame_capture.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/progressmgr.h"

using namespace NSTE_util;

namespace {

// The progress manager is one per process: each measurement fills it afresh.
class Missions {
 public:
  explicit Missions(int count) {
    for (int i = 0; i < count; ++i) {
      m_tasks.push_back(std::make_unique<VelaGnlTask>("mission"));
      ProgressMgr::Instance()->RegisterMission(Key(i), m_tasks.back().get());
    }
  }
  ~Missions() { ProgressMgr::Destroy(); }

  static ClientMissionID Key(int number) {
    ClientMissionID key;
    key.m_nMissionNo = number;
    key.m_nClientNo = 7;
    key.m_wProcID = 300;
    return key;
  }

 private:
  std::vector<std::unique_ptr<VelaGnlTask>> m_tasks;
};

double SendNanoseconds(VelaGnlTask& task, int missions, long operations) {
  const Missions registered(missions);
  const TaskProgressInfo info;
  return bench::NanosecondsEach(operations, [&](long count) {
    for (long i = 0; i < count; ++i)
      ProgressMgr::Instance()->SendProgress(&task, Missions::Key(static_cast<int>(i * 7919 % missions)), 1,
                                            info);
  });
}

double RoundNanosecondsEach(int missions, long operations) {
  const Missions registered(missions);
  return bench::NanosecondsEach(operations, [&](long count) {
    for (long done = 0; done < count; done += missions) ProgressMgr::Instance()->SendAllProgress();
  });
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  vela::SetFrameCapture([](const VelaCmdMSG& frame, std::uint8_t) {
    bench::Keep(frame);
    return vela::FrameFate::taken;
  });
  VelaGnlTask task("sender");
  const VelaCurrentTaskScope scope(&task);
  const long sends = options.Operations(50000);
  const long reports = options.Operations(20000);
  const auto samples = bench::Interleaved(options, {[&] { return SendNanoseconds(task, 10000, sends); },
                                                    [&] { return SendNanoseconds(task, 10, sends); },
                                                    [&] { return RoundNanosecondsEach(10000, reports); },
                                                    [&] { return RoundNanosecondsEach(100, reports); }});
  bench::Print(options,
               {{"one report, 10,000 missions against 10, ns", samples[0], samples[1], {}, 1.5},
                {"a round, 10,000 missions against 100, ns per mission", samples[2], samples[3], {}, 1.5}});
  vela::SetFrameCapture({});
  return 0;
}
