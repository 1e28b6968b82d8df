#include <algorithm>
#include <limits>
#include <tuple>

#include "util/basicutil/asynprogressmgr_internal.h"

namespace NSTE_util {
namespace {

// The first row that is not below the key. Reading on through a handful of rows fetches them side by side,
// where halving would wait for one after the other.
template <class Rows, class Below>
auto* LowerRow(Rows& rows, Below below) {
  constexpr std::size_t FEW = 32;
  return rows.size() <= FEW ? std::find_if_not(rows.begin(), rows.end(), below)
                            : std::partition_point(rows.begin(), rows.end(), below);
}

constexpr std::uint32_t NUMBER = 0xFFFF;

std::uint16_t Number(std::uint32_t subMissionId) {
  return static_cast<std::uint16_t>(subMissionId & NUMBER);
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

std::int32_t AsynMission::Process::Share() const {
  const int counted = stopped ? 100 : percent;
  return TruncatePercent(static_cast<float>(counted) * weight);
}

AsynMission::Process* AsynMission::FindProcess(const CProcID& id) {
  Process* found = LowerRow(m_processes, [&](const Process& process) { return process.id < id; });
  return found != m_processes.end() && found->id == id ? found : nullptr;
}

AsynMission::Process& AsynMission::GetProcess(const CProcID& id) {
  if (Process* found = FindProcess(id)) return *found;
  Process* place = LowerRow(m_processes, [&](const Process& process) { return process.id < id; });
  return *m_processes.Insert(place, Process{.id = id});
}

AsynMission::SubMission* AsynMission::LowerSubMission(const CProcID& process, std::uint16_t number) {
  return LowerRow(m_subMissions, [key = std::tie(process, number)](const SubMission& subMission) {
    return std::tie(subMission.process, subMission.number) < key;
  });
}

AsynMission::SubMission* AsynMission::FindSubMission(const CProcID& process, std::uint32_t id) {
  if ((id & ~NUMBER) != m_id) return nullptr;
  const std::uint16_t number = Number(id);
  SubMission* found = LowerSubMission(process, number);
  return found != m_subMissions.end() && found->process == process && found->number == number ? found
                                                                                              : nullptr;
}

bool AsynMission::HoldsAny(const CProcID& process) {
  const SubMission* first = LowerSubMission(process, 0);
  return first != m_subMissions.end() && first->process == process;
}

void AsynMission::SetProcess(const CProcID& process, float weight, std::uint32_t count,
                             std::span<const std::uint32_t> subMissions) {
  Process& entry = GetProcess(process);
  m_total -= entry.Share();
  entry = Process{.id = process, .weight = weight, .count = count};

  m_subMissions.EraseIf([&](const SubMission& subMission) { return subMission.process == process; });
  std::vector<SubMission> added;
  for (const std::uint32_t id : subMissions) added.push_back({.process = process, .number = Number(id)});
  std::sort(added.begin(), added.end(),
            [](const SubMission& left, const SubMission& right) { return left.number < right.number; });
  m_subMissions.Insert(LowerSubMission(process, 0), added);
}

// What a report does to a process.
void AsynMission::Apply(Process& process, std::uint32_t subMissionId, std::uint32_t percent) {
  SubMission* subMission = FindSubMission(process.id, subMissionId);
  const std::int32_t before = process.Share();
  if (process.count == 0 || (subMission == nullptr && !HoldsAny(process.id))) {
    process.weight = 0;
  } else if (subMission != nullptr && percent <= 100) {
    process.sum = process.sum - subMission->percent + percent;
    subMission->percent = static_cast<std::uint8_t>(percent);
    process.percent = static_cast<std::uint8_t>(process.sum / process.count);  // holds no more than it counts
  }
  m_total += std::int64_t{process.Share()} - before;
}

bool AsynMission::Write(const CProcID& process, std::uint32_t subMissionId, std::uint32_t percent) {
  Process* entry = FindProcess(process);
  if (entry == nullptr || entry->stopped) return false;
  Apply(*entry, subMissionId, percent);
  return true;
}

bool AsynMission::Move(std::uint32_t subMissionId, const CProcID& newProcess) {
  const std::uint16_t number = Number(subMissionId);
  const SubMission* moved = std::find_if(m_subMissions.begin(), m_subMissions.end(),
                                         [=](const SubMission& held) { return held.number == number; });
  if (moved == m_subMissions.end() || Covers(moved->process, newProcess)) return true;
  const SubMission old = *moved;

  Process& to = GetProcess(newProcess);
  Process& from = *FindProcess(old.process);  // after GetProcess, which may move the entries
  if (from.count == 0) return false;
  m_total -= std::int64_t{from.Share()} + to.Share();
  const float share = from.weight / static_cast<float>(from.count);
  from.weight -= share;
  from.count -= 1;
  from.sum -= old.percent;
  m_subMissions.EraseIf(
      [&](const SubMission& held) { return held.process == old.process && held.number == number; });

  to.weight += share;
  to.count += 1;
  if (SubMission* same = FindSubMission(newProcess, subMissionId)) {
    to.sum -= same->percent;
    same->percent = 0;
  } else {
    m_subMissions.Insert(LowerSubMission(newProcess, number),
                         SubMission{.process = newProcess, .number = number});
  }
  m_total += std::int64_t{from.Share()} + to.Share();
  Apply(to, subMissionId, old.percent);
  return true;
}

void AsynMission::Stop(Process& process) {
  m_total -= process.Share();
  process.stopped = true;
  m_total += process.Share();
}

bool AsynMission::Stop(const CProcID& process) {
  Process* entry = FindProcess(process);
  if (entry != nullptr) Stop(*entry);
  return entry != nullptr;
}

std::vector<AsynMission::Abort> AsynMission::Stop() {
  std::vector<Abort> aborts;
  for (Process& process : m_processes) {
    Abort& abort = aborts.emplace_back(Abort{process.id, {}});
    if (process.stopped || process.percent == 100) continue;
    Stop(process);
    for (const SubMission* held = LowerSubMission(process.id, 0);
         held != m_subMissions.end() && held->process == process.id; ++held)
      abort.subMissions.push_back(m_id + held->number);
  }
  return aborts;
}

std::vector<AsynMission::Part> AsynMission::Parts() const {
  std::vector<Part> parts;
  for (const Process& process : m_processes)
    parts.push_back({process.id, process.weight, process.percent, process.count, process.stopped});
  return parts;
}

std::vector<std::uint32_t> AsynMission::Unfinished(const CProcID& process) const {
  std::vector<std::uint32_t> ids;
  const auto runs = [&](const Process& entry) { return entry.id == process && !entry.stopped; };
  if (std::none_of(m_processes.begin(), m_processes.end(), runs)) return ids;
  for (const SubMission& held : m_subMissions)
    if (held.process == process && held.percent < 100) ids.push_back(m_id + held.number);
  return ids;
}

std::optional<CProcID> AsynMission::Holder(const CProcID& process, std::uint32_t subMissionId) {
  if (FindSubMission(process, subMissionId) != nullptr) return process;
  for (const Process& entry : m_processes)
    if (Covers(entry.id, process) && FindSubMission(entry.id, subMissionId) != nullptr) return entry.id;
  return std::nullopt;
}

}  // namespace NSTE_util
