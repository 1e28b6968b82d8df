// What many registered missions cost: one report, one periodic round, and the same for missions that run in
// ten processes each. The peer of each figure is the same work with few missions. Frames are captured, not
// sent.
#include <memory>
#include <vector>

#include "bench/bench_util.h"
#include "platform/task/frame_capture.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/asynprogressmgr.h"
#include "util/basicutil/progressmgr.h"

using namespace NSTE_util;

namespace {

// From the client that has all missions here.
VelaMsgPtr ClientRequest() {
  VelaMsgPtr frame(VelaAllocMsg(VELA_MSG_HEADER));
  frame->clientNo = 7;
  frame->srcProcId = 300;
  frame->length = 2;
  return frame;
}

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

constexpr int PROCESSES = 10;

CProcID Process(long number) {
  return {static_cast<std::uint16_t>(500 + number % PROCESSES), 1};
}

// Missions of the client whose request is current, each run by ten processes with one sub-mission each.
class SpreadMissions {
 public:
  explicit SpreadMissions(int count) {
    std::vector<ProcWeightPairEx> processes;
    for (int i = 0; i < PROCESSES; ++i) processes.push_back({Process(i), 1.0F / PROCESSES, 1});
    for (int i = 0; i < count; ++i) {
      unsigned long id = 0;
      SubMissionIds subMissions;
      AsynProgressMgr::Instance()->RegisterEx(processes, i, id, subMissions);
      if (i == 0) m_first = subMissions[Process(0)].front() & 0xFFFFU;
    }
  }
  ~SpreadMissions() { AsynProgressMgr::Destroy(); }

  // Sub-missions are numbered one after the other, 1 to 65535: nothing has to be remembered, whose look-up
  // would be measured.
  std::uint32_t SubMission(long mission, long process) const {
    const long drawn = static_cast<long>(m_first) - 1 + mission * PROCESSES + process;
    return (static_cast<std::uint32_t>(mission + 1) << 16) + static_cast<std::uint32_t>(drawn % 65535 + 1);
  }

 private:
  std::uint32_t m_first = 0;
};

double FoldNanoseconds(int missions, long operations) {
  const SpreadMissions registered(missions);
  AsynProgressMgr& mgr = *AsynProgressMgr::Instance();
  long folded = 0;
  const double each = bench::NanosecondsEach(operations, [&](long count) {
    for (long i = 0; i < count; ++i) {
      const std::uint32_t id = registered.SubMission(i * 7919 % missions, i % PROCESSES);
      mgr.WriteProcProgress(id & 0xFFFF0000U, Process(i), id, static_cast<unsigned long>(i % 100));
      folded += static_cast<long>(mgr.GetMissionProgress(id & 0xFFFF0000U));
    }
  });
  if (folded == 0) std::fprintf(stderr, "the reports were not folded\n");
  return each;
}

double SpreadRoundNanosecondsEach(int missions, long operations) {
  const SpreadMissions registered(missions);
  return RoundNanosecondsEach(missions, operations);
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  vela::SetFrameCapture([](const VelaCmdMSG& frame, std::uint8_t) {
    bench::Keep(frame);
    return vela::FrameFate::taken;
  });
  VelaGnlTask task("sender");
  task.SetCurReqMsg(std::make_unique<TECmdMsg>(ClientRequest()));
  const VelaCurrentTaskScope scope(&task);
  const long sends = options.Operations(50000);
  const long reports = options.Operations(20000);
  const long folds = options.Operations(500000);
  const auto samples = bench::Interleaved(
      options,
      {[&] { return SendNanoseconds(task, 10000, sends); }, [&] { return SendNanoseconds(task, 10, sends); },
       [&] { return RoundNanosecondsEach(10000, reports); },
       [&] { return RoundNanosecondsEach(100, reports); }, [&] { return FoldNanoseconds(10000, folds); },
       [&] { return FoldNanoseconds(10, folds); }, [&] { return SpreadRoundNanosecondsEach(10000, reports); },
       [&] { return SpreadRoundNanosecondsEach(100, reports); }});
  bench::Print(
      options,
      {{"one report, 10,000 missions against 10, ns", samples[0], samples[1], {}, 1.5},
       {"a round, 10,000 missions against 100, ns per mission", samples[2], samples[3], {}, 1.5},
       {"a process' report folded, 10,000 spread missions against 10, ns", samples[4], samples[5], {}, 2},
       {"a round, 10,000 spread missions against 100, ns per mission", samples[6], samples[7], {}, 1.5}});
  vela::SetFrameCapture({});
  return 0;
}
