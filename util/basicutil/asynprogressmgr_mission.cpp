#include <algorithm>
#include <limits>
#include <tuple>

#include "util/basicutil/asynprogressmgr_internal.h"

namespace NSTE_util {
namespace {

// The first row that is not below the key. Most missions have a handful of rows: reading on fetches them from
// memory side by side, where halving would wait for one after the other.
template <class Rows, class Below>
auto LowerRow(Rows& rows, Below below) {
  constexpr std::size_t FEW = 32;
  return rows.size() <= FEW ? std::find_if_not(rows.begin(), rows.end(), below)
                            : std::partition_point(rows.begin(), rows.end(), below);
}

bool Covers(const CProcID& holder, const CProcID& process) {
  return holder.Number() == process.Number() &&
         (holder.IsAnyInstance() || holder.Handle() == process.Handle());
}

}  // namespace

std::int32_t TruncatePercent(float value) {
  constexpr float LIMIT = 2147483648.0F;
  if (value >= LIMIT) return std::numeric_limits<std::int32_t>::max();
  if (value <= -LIMIT) return std::numeric_limits<std::int32_t>::min();
  const bool isNumber = value == value;
  return isNumber ? static_cast<std::int32_t>(value) : 0;
}

std::vector<AsynMission::Process>::iterator AsynMission::LowerProcess(const CProcID& id) {
  return LowerRow(m_processes, [&](const Process& process) { return process.id < id; });
}

std::vector<AsynMission::SubMission>::iterator AsynMission::LowerSubMission(const CProcID& process,
                                                                            std::uint32_t id) {
  return LowerRow(m_subMissions, [key = std::tie(process, id)](const SubMission& subMission) {
    return std::tie(subMission.process, subMission.id) < key;
  });
}

AsynMission::Process* AsynMission::FindProcess(const CProcID& id) {
  const auto found = LowerProcess(id);
  return found != m_processes.end() && found->id == id ? &*found : nullptr;
}

AsynMission::Process& AsynMission::GetProcess(const CProcID& id) {
  const auto place = LowerProcess(id);
  if (place != m_processes.end() && place->id == id) return *place;
  Process& process = *m_processes.emplace(place);
  process.id = id;
  return process;
}

AsynMission::SubMission* AsynMission::FindSubMission(const CProcID& process, std::uint32_t id) {
  const auto found = LowerSubMission(process, id);
  return found != m_subMissions.end() && found->process == process && found->id == id ? &*found : nullptr;
}

void AsynMission::SetProcess(const CProcID& process, float weight, std::uint32_t count,
                             std::span<const std::uint32_t> subMissions) {
  Process& entry = GetProcess(process);
  m_total -= entry.share;
  entry = Process{.id = process, .weight = weight, .count = count};

  std::erase_if(m_subMissions, [&](const SubMission& subMission) { return subMission.process == process; });
  std::vector<SubMission> added;
  for (const std::uint32_t id : subMissions) added.push_back({process, id, 0});
  std::sort(added.begin(), added.end(),
            [](const SubMission& left, const SubMission& right) { return left.id < right.id; });
  m_subMissions.insert(LowerSubMission(process, 0), added.begin(), added.end());
}

void AsynMission::Refresh(Process& process) {
  const int percent = process.stopped ? 100 : process.percent;
  const std::int32_t share = TruncatePercent(static_cast<float>(percent) * process.weight);
  m_total += std::int64_t{share} - process.share;
  process.share = share;
}

// What a report does to a process.
void AsynMission::Apply(Process& process, std::uint32_t subMissionId, std::uint32_t percent) {
  SubMission* subMission = FindSubMission(process.id, subMissionId);
  const auto holdsAny = [&] {
    const auto first = LowerSubMission(process.id, 0);
    return first != m_subMissions.end() && first->process == process.id;
  };
  if (process.count == 0 || (subMission == nullptr && !holdsAny())) {
    process.weight = 0;
  } else if (subMission != nullptr && percent <= 100) {
    process.sum = process.sum - subMission->percent + percent;
    subMission->percent = percent;
    process.percent = static_cast<std::int32_t>(process.sum / process.count);
  }
  Refresh(process);
}

bool AsynMission::Write(const CProcID& process, std::uint32_t subMissionId, std::uint32_t percent) {
  Process* entry = FindProcess(process);
  if (entry == nullptr || entry->stopped) return false;
  Apply(*entry, subMissionId, percent);
  return true;
}

bool AsynMission::Move(std::uint32_t subMissionId, const CProcID& newProcess) {
  const auto moved =
      std::find_if(m_subMissions.begin(), m_subMissions.end(),
                   [=](const SubMission& subMission) { return subMission.id == subMissionId; });
  if (moved == m_subMissions.end() || Covers(moved->process, newProcess)) return true;
  const SubMission old = *moved;

  Process& to = GetProcess(newProcess);
  Process& from = *FindProcess(old.process);  // after GetProcess, which may move the entries
  if (from.count == 0) return false;
  const float share = from.weight / static_cast<float>(from.count);
  from.weight -= share;
  from.count -= 1;
  from.sum -= old.percent;
  m_subMissions.erase(moved);
  Refresh(from);

  to.weight += share;
  to.count += 1;
  if (SubMission* same = FindSubMission(newProcess, subMissionId)) {
    to.sum -= same->percent;
    same->percent = 0;
  } else {
    m_subMissions.insert(LowerSubMission(newProcess, subMissionId), {newProcess, subMissionId, 0});
  }
  Apply(to, subMissionId, old.percent);
  return true;
}

std::vector<AsynMission::Abort> AsynMission::Stop() {
  std::vector<Abort> aborts;
  for (Process& process : m_processes) {
    Abort& abort = aborts.emplace_back(Abort{process.id, {}});
    if (process.stopped || process.percent == 100) continue;
    process.stopped = true;
    Refresh(process);
    for (auto it = LowerSubMission(process.id, 0); it != m_subMissions.end() && it->process == process.id;
         ++it)
      abort.subMissions.push_back(it->id);
  }
  return aborts;
}

}  // namespace NSTE_util
