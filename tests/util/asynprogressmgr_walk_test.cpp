// A random walk over missions that are spread over processes, beside a slow model of them.
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
    const bool reports = count != 0 && !subMissions.empty();
    if (!reports) weight = 0;
    if (!reports || value > 100 || !subMissions.contains(id)) return;
    subMissions[id] = value;
    unsigned sum = 0;
    for (const auto& each : subMissions) sum += each.second;
    percent = static_cast<int>(sum / count);
  }
  float Share() const { return (stopped ? 100.0F : static_cast<float>(percent)) * weight; }
};

using Model = std::map<CProcID, Entry>;  // one mission

bool Write(Model& model, CProcID process, std::uint32_t id, unsigned percent) {
  const auto found = model.find(process);
  if (found == model.end() || found->second.stopped) return false;
  found->second.Report(id, percent);
  return true;
}

void Move(Model& model, std::uint32_t id, CProcID to) {
  const auto from = std::find_if(model.begin(), model.end(),
                                 [id](auto& each) { return each.second.subMissions.contains(id); });
  if (from == model.end()) return;
  const CProcID old = from->first;
  if (old.Number() == to.Number() && (old.IsAnyInstance() || old.Handle() == to.Handle())) return;
  Entry& target = model[to];
  Entry& source = from->second;
  const float share = source.weight / static_cast<float>(source.count--);
  source.weight -= share;
  target.weight += share;
  ++target.count;
  const unsigned percent = source.subMissions.extract(id).mapped();
  target.subMissions[id] = 0;
  target.Report(id, percent);
}

class AsynProgressWalk : public MissionTest {
 protected:
  unsigned Draw(unsigned count) { return static_cast<unsigned>(m_random() % count); }
  // Few addresses, so that they meet; some mean any instance.
  CProcID DrawProcess() {
    return {static_cast<std::uint16_t>(500 + Draw(4)), static_cast<std::uint16_t>(Draw(4))};
  }
  // Of the mission; sometimes one that it does not have.
  std::uint32_t DrawSubMission(std::uint32_t mission) {
    std::vector<std::uint32_t> all = {mission + 65535, mission};
    for (const auto& [process, entry] : m_missions[mission])
      for (const auto& each : entry.subMissions) all.push_back(each.first);
    return all[Draw(static_cast<unsigned>(all.size()))];
  }

  void Register() {
    Model model;
    for (unsigned i = 0; i <= Draw(16); ++i)
      model[DrawProcess()] = {false, static_cast<float>(1 + Draw(50)) / 100, 0, 1, {}};
    unsigned long id = 0;
    if (Draw(2) == 0) {
      std::vector<ProcWeightPair> pairs;
      for (const auto& [process, entry] : model) pairs.emplace_back(process, entry.weight);
      ASSERT_TRUE(Asyn().Register(pairs, ++m_lastNo, id));
      for (auto& [process, entry] : model) entry.subMissions[static_cast<std::uint32_t>(id)] = 0;
    } else {
      std::vector<ProcWeightPairEx> pairs;
      for (auto& [process, entry] : model) pairs.push_back({process, entry.weight, entry.count = Draw(8)});
      SubMissionIds ids;
      ASSERT_TRUE(Asyn().RegisterEx(pairs, ++m_lastNo, id, ids));
      for (const auto& [process, list] : ids)
        for (const std::uint32_t each : list) model[process].subMissions[each] = 0;
    }
    m_missions[static_cast<std::uint32_t>(id)] = model;
  }

  void Change(std::uint32_t id, Model& model) {
    const CProcID process = DrawProcess();
    const std::uint32_t subMission = DrawSubMission(id);
    const unsigned what = Draw(12), percent = Draw(3) == 0 ? 100 : Draw(103);
    if (what == 0) {
      ClientMissionID client;
      ASSERT_TRUE(Asyn().GetClientMissionID(id, client));
      ASSERT_EQ(Asyn().MissionStop(client), 0);
      for (auto& each : model) each.second.stopped |= each.second.percent != 100;
    } else if (what < 4) {
      Asyn().MoveSubMission(subMission, process);
      Move(model, subMission, process);
    } else {
      ASSERT_EQ(Asyn().WriteProcProgress(id, process, subMission, percent),
                Write(model, process, subMission, percent));
    }
  }

  static void Compare(const MissionStatus& status, const Model& model) {
    unsigned progress = 0;
    ASSERT_EQ(status.parts.size(), model.size());
    auto part = status.parts.begin();
    for (const auto& [process, entry] : model) {
      const auto facts =
          std::tie(part->process, part->weight, part->percent, part->subMissions, part->stopped);
      ASSERT_EQ(facts, std::tie(process, entry.weight, entry.percent, entry.count, entry.stopped));
      progress += static_cast<unsigned>(entry.Share());
      ++part;
    }
    ASSERT_EQ(status.percent, progress);
  }

  std::mt19937 m_random{1};
  int m_lastNo = 0;
  std::map<std::uint32_t, Model> m_missions;
};

TEST_F(AsynProgressWalk, AgreesWithTheModelAfterEachStep) {
  for (int step = 0; step < 6000 && !HasFatalFailure(); ++step) {
    SCOPED_TRACE(step);
    if (m_missions.size() < 3 || Draw(8) == 0) Register();
    auto mission = m_missions.begin();
    std::advance(mission, Draw(static_cast<unsigned>(m_missions.size())));
    Change(mission->first, mission->second);
    if (Draw(9) == 0) {
      ASSERT_TRUE(Asyn().UnRegister(mission->first));
      m_missions.erase(mission);
    }
    const std::vector<MissionStatus> list = ListMissions();
    ASSERT_EQ(list.size(), m_missions.size());
    for (const MissionStatus& status : list) Compare(status, m_missions.at(status.missionId));
  }
}

}  // namespace
