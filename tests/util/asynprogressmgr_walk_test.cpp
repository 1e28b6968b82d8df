// A random walk over missions that are spread over processes, beside a slow model of them.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/util/mission_fixture.h"
#include "util/basicutil/asynprogress_watch.h"

using namespace mission_test;

namespace {

struct Entry {
  bool stopped = false;
  float weight = 0;
  int percent = 0;
  unsigned count = 0;
  std::map<std::uint32_t, unsigned> subMissions;

  void Report(std::uint32_t id, unsigned value) {
    if (count == 0 || subMissions.empty()) {
      weight = 0;
      return;
    }
    if (value > 100 || !subMissions.contains(id)) return;
    subMissions[id] = value;
    unsigned sum = 0;
    for (const auto& each : subMissions) sum += each.second;
    percent = static_cast<int>(sum / count);
  }
  bool IsDone() const { return stopped || percent == 100; }
};

// One mission.
struct Model {
  int clientMissionNo = 0;
  std::map<CProcID, Entry> processes;

  bool Write(CProcID process, std::uint32_t id, unsigned percent) {
    const auto found = processes.find(process);
    if (found == processes.end() || found->second.stopped) return false;
    found->second.Report(id, percent);
    return true;
  }
  void Move(std::uint32_t id, CProcID to) {
    for (auto& [process, entry] : processes) {
      if (!entry.subMissions.contains(id)) continue;
      if (process.Number() == to.Number() && (process.IsAnyInstance() || process.Handle() == to.Handle()))
        return;
      Entry& target = processes[to];
      if (entry.count == 0) return;
      const float share = entry.weight / static_cast<float>(entry.count);
      entry.weight -= share;
      target.weight += share;
      entry.count -= 1;
      target.count += 1;
      const unsigned percent = entry.subMissions[id];
      entry.subMissions.erase(id);
      target.subMissions[id] = 0;
      target.Report(id, percent);
      return;
    }
  }
  void Stop() {
    for (auto& [process, entry] : processes)
      if (entry.percent != 100) entry.stopped = true;
  }
  unsigned long Progress() const {
    int sum = 0;
    for (const auto& [process, entry] : processes)
      sum += static_cast<int>((entry.stopped ? 100.0F : static_cast<float>(entry.percent)) * entry.weight);
    return static_cast<unsigned long>(sum);
  }
  float Weight() const {
    float sum = 0;
    for (const auto& [process, entry] : processes) sum += entry.weight;
    return sum;
  }
};

class AsynProgressWalk : public MissionTest, public testing::WithParamInterface<unsigned> {
 protected:
  int Draw(int count) { return std::uniform_int_distribution<int>(0, count - 1)(m_random); }
  // Few addresses, so that they meet; some mean any instance.
  CProcID DrawProcess() {
    return {static_cast<std::uint16_t>(500 + Draw(4)), static_cast<std::uint16_t>(Draw(4))};
  }
  std::uint32_t DrawMission() {
    auto it = m_missions.begin();
    std::advance(it, Draw(static_cast<int>(m_missions.size())));
    return it->first;
  }
  // A sub-mission of the mission; sometimes one that it does not have.
  std::uint32_t DrawSubMission(std::uint32_t mission) {
    std::vector<std::uint32_t> all = {mission + 65535, mission};
    for (const auto& [process, entry] : m_missions[mission].processes)
      for (const auto& each : entry.subMissions) all.push_back(each.first);
    return all[static_cast<std::size_t>(Draw(static_cast<int>(all.size())))];
  }

  void Register() {
    Model model{m_lastNo % 40, {}};
    const bool isTaken = std::any_of(m_missions.begin(), m_missions.end(), [&](const auto& mission) {
      return mission.second.clientMissionNo == model.clientMissionNo;
    });
    ++m_lastNo;
    unsigned long id = 0;
    bool registered = false;
    if (Draw(2) == 0) {
      std::vector<ProcWeightPair> pairs;
      for (int i = Draw(14); i >= 0; --i)
        pairs.emplace_back(DrawProcess(), static_cast<float>(Draw(50)) / 100);
      registered = Asyn().Register(pairs, model.clientMissionNo, id);
      for (const auto& [process, weight] : pairs)
        model.processes[process] = {false, weight, 0, 1, {{static_cast<std::uint32_t>(id), 0}}};
    } else {
      std::vector<ProcWeightPairEx> pairs;
      for (int i = Draw(5); i >= 0; --i)
        if (const CProcID process = DrawProcess(); !model.processes.contains(process)) {
          pairs.push_back({process, static_cast<float>(Draw(50)) / 100, static_cast<std::uint32_t>(Draw(8))});
          model.processes[process] = {false, pairs.back().weight, 0, pairs.back().count, {}};
        }
      SubMissionIds ids;
      registered = Asyn().RegisterEx(pairs, model.clientMissionNo, id, ids);
      for (const auto& [process, list] : ids)
        for (const std::uint32_t each : list) model.processes[process].subMissions[each] = 0;
    }
    ASSERT_EQ(registered, !isTaken);
    if (registered) m_missions[static_cast<std::uint32_t>(id)] = model;
  }

  void Report(std::uint32_t id, Model& model) {
    const CProcID process = DrawProcess();
    const std::uint32_t subMission = DrawSubMission(id);
    const auto percent = static_cast<unsigned>(Draw(3) == 0 ? 100 : Draw(103));
    ASSERT_EQ(Asyn().WriteProcProgress(id, process, subMission, percent),
              model.Write(process, subMission, percent));
  }
  void Move(std::uint32_t id, Model& model) {
    const CProcID process = DrawProcess();
    const std::uint32_t subMission = DrawSubMission(id);
    const float before = model.Weight();
    const bool loses = model.processes.contains(process) && model.processes[process].weight != 0 &&
                       model.processes[process].subMissions.empty();
    Asyn().MoveSubMission(subMission, process);
    model.Move(subMission, process);
    ASSERT_TRUE(loses || std::abs(model.Weight() - before) < 1e-4F);
  }
  void Compare() {
    const std::vector<MissionStatus> list = ListMissions();
    ASSERT_EQ(list.size(), m_missions.size());
    for (const MissionStatus& status : list) {
      const Model& model = m_missions.at(status.missionId);
      ASSERT_EQ(status.client, Key(model.clientMissionNo));
      ASSERT_EQ(status.percent, model.Progress());
      ASSERT_EQ(Asyn().GetMissionProgress(status.missionId), model.Progress());
      ASSERT_EQ(status.parts.size(), model.processes.size());
      auto part = status.parts.begin();
      for (const auto& [process, entry] : model.processes) {
        ASSERT_EQ(part->process, process);
        ASSERT_EQ(part->weight, entry.weight);
        ASSERT_EQ(part->percent, entry.percent);
        ASSERT_EQ(part->subMissions, entry.count);
        ASSERT_EQ(part->stopped, entry.stopped);
        ++part;
      }
    }
  }

  std::mt19937 m_random{GetParam()};
  int m_lastNo = 0;
  std::map<std::uint32_t, Model> m_missions;
};

TEST_P(AsynProgressWalk, AgreesWithTheModelAfterEachStep) {
  for (int step = 0; step < 3000 && !HasFatalFailure(); ++step) {
    SCOPED_TRACE(step);
    if (m_missions.empty() || Draw(8) == 0) Register();
    const std::uint32_t id = DrawMission();
    Model& model = m_missions[id];
    switch (Draw(12)) {
      case 0:
        ASSERT_TRUE(Asyn().UnRegister(id));
        m_missions.erase(id);
        break;
      case 1:
        ASSERT_EQ(Asyn().MissionStop(Key(model.clientMissionNo)), 0);
        model.Stop();
        break;
      case 2:
      case 3:
      case 4:
        Move(id, model);
        break;
      default:
        Report(id, model);
    }
    Compare();
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, AsynProgressWalk, testing::Values(1u, 2u, 3u, 4u));

}  // namespace
