#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>

#include "platform/os/os_types.h"
#include "platform/os/shared_mutex.h"
#include "platform/os/singleton.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/client_records.h"
#include "util/basicutil/common.h"
#include "util/basicutil/progress_if.h"
#include "util/basicutil/progressmgr.h"

namespace NSTE_util {
namespace {

constexpr const char* UNIT = "teprogressimpl";

VelaGnlTask* CurrentTask() {
  return dynamic_cast<VelaGnlTask*>(VelaGetCurrentTask());
}

ClientMissionID CurrentMission(long missionID) {
  const VelaGnlTask* task = CurrentTask();
  const std::uint32_t number = vela::Cut32(static_cast<unsigned long>(missionID));
  return MakeMissionKey(task != nullptr ? task->GetCurReqMsg() : nullptr, static_cast<std::int32_t>(number));
}

int InPercent(int value, int otherwise) {
  return value >= 0 && value <= 100 ? value : otherwise;
}

struct Mission {
  int users = 0;  // registered tools
  int progress = 0;
  int lastSent = 0;
};

// The progress of one operation.
struct Tool {
  // Takes a rise and returns what its parent (or the mission) rises by; negative: nothing more is taken.
  int Scale(double rise);

  ClientMissionID mission;
  std::uint64_t serial = 0;  // of the registration
  const void* parent = nullptr;
  // Of the parent's registration; 0 for a root. Another object may have the parent's address meanwhile, even
  // one below this tool: the way up follows falling serials only, so it ends.
  std::uint64_t parentSerial = 0;
  int children = 0;
  int weight = 0;
  int start = 0;
  int end = 100;
  float reached = 0;
  int stepBase = 0;
};

int Tool::Scale(double rise) {
  const double old = reached;
  if (old < 0 || old > 100) return -1;
  const double risen = std::min(old + rise, 100.0);
  const double raised = (risen - old) * weight / 100 + 0.5;
  const int passedOn = static_cast<int>(raised);
  reached = static_cast<float>(weight != 0 ? old + passedOn * 100.0 / weight : risen);
  // Beyond 100 it would tell nothing more.
  stepBase = passedOn == 0 && rise > 1.0 ? static_cast<int>(std::min(rise, 100.0)) : 0;
  return passedOn;
}

// What a call has decided under the lock, to be done after it.
struct Outcome {
  struct Report {
    ClientMissionID mission;
    int progress;
  };
  std::string refusal;  // empty: none
  std::optional<Report> report;
};

[[gnu::format(printf, 1, 2)]] Outcome Refused(const char* format, ...) {
  char text[160];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  return {text, {}};
}

Outcome Unknown(const void* object) {
  return Refused("Error: pointer %x not register progress tool!\n",
                 vela::Cut32(reinterpret_cast<std::uintptr_t>(object)));
}

void Refuse(const Outcome& outcome) {
  Check(false, UNIT, "false");
  TETrace("%s", outcome.refusal.c_str());
}

// Without the lock. False when the call was refused.
bool Finish(const Outcome& outcome, const char* text = nullptr) {
  if (!outcome.refusal.empty()) {
    Refuse(outcome);
    return false;
  }
  ProgressMgr* progress = outcome.report ? ProgressMgr::Instance() : nullptr;
  if (progress != nullptr)
    progress->SendProgress(CurrentTask(), outcome.report->mission, outcome.report->progress,
                           TaskProgressInfo(text));
  return true;
}

class TEOperProgressImpl : public TEOperProgressIF {
 public:
  bool IsRegistered(const void* object, bool lock) override VELA_NO_THREAD_SAFETY_ANALYSIS;
  bool RegisterChild(const void* object, const void* parent, int weight) override;
  bool RegisterRoot(long missionID, const void* object, int span, int reserved) override;
  void UnRegister(const void* object) override;
  void Clear() override;
  bool HasChildren(const void* object) override;
  int GetProgress(const void* object) override;
  void SendProgress(const void* object, int progress, const char* text,
                    bool lock) override VELA_NO_THREAD_SAFETY_ANALYSIS;
  void SendOwnProgress(const void* object, int progress, const char* text) override;
  void SendProgressStep(const void* object, int step) override;
  void SetProgressSection(const void* object, int start, int end) override;
  int GetProgressSection(const void* object, int& start, int& end) override;
  void SendSectionStep(const void* object, int step, int total) override;

 private:
  Outcome AddChild(const void* object, const void* parent, int weight) VELA_REQUIRES(m_mutex);
  Outcome AddRoot(const ClientMissionID& mission, const void* object, int span) VELA_REQUIRES(m_mutex);
  Outcome Remove(const void* object) VELA_REQUIRES(m_mutex);
  Outcome Report(const void* object, int progress, bool hasText) VELA_REQUIRES(m_mutex);
  Outcome Step(const void* object, int step) VELA_REQUIRES(m_mutex);
  Outcome SetSection(const void* object, int start, int end) VELA_REQUIRES(m_mutex);
  Outcome SectionStep(const void* object, int step, int total) VELA_REQUIRES(m_mutex);
  Outcome Raise(Tool& tool, double rise, bool hasText) VELA_REQUIRES(m_mutex);

  Tool* Find(const void* object) VELA_REQUIRES(m_mutex);
  Tool* FindParent(const Tool& tool) VELA_REQUIRES(m_mutex);
  // A copy of the tool, under the read lock; empty when it was refused.
  std::optional<Tool> Look(const void* object);

  vela::SharedMutex m_mutex;
  std::unordered_map<const void*, Tool> m_tools VELA_GUARDED_BY(m_mutex);
  // By number and client: clients choose their numbers on their own. The reply attribute is 0, any.
  std::map<ClientMissionID, Mission, ClientMissionIDExactLess> m_missions VELA_GUARDED_BY(m_mutex);
  std::uint64_t m_lastSerial VELA_GUARDED_BY(m_mutex) = 0;
};

Tool* TEOperProgressImpl::Find(const void* object) {
  const auto found = m_tools.find(object);
  return found != m_tools.end() ? &found->second : nullptr;
}

Tool* TEOperProgressImpl::FindParent(const Tool& tool) {
  Tool* parent = Find(tool.parent);
  return parent != nullptr && parent->serial == tool.parentSerial ? parent : nullptr;
}

bool TEOperProgressImpl::IsRegistered(const void* object, bool lock) {
  if (!lock) return m_tools.contains(object);
  const vela::WriteLock guard(m_mutex);
  return m_tools.contains(object);
}

Outcome TEOperProgressImpl::AddRoot(const ClientMissionID& mission, const void* object, int span) {
  if (m_tools.contains(object)) return Refused("Error: Register progress tool repeated!\n");
  ++m_missions[mission].users;
  m_tools[object] = {.mission = mission, .serial = ++m_lastSerial, .weight = InPercent(span, 100)};
  return {};
}

bool TEOperProgressImpl::RegisterRoot(long missionID, const void* object, int span, int /*reserved*/) {
  const ClientMissionID mission = CurrentMission(missionID);
  const auto add = [&] {
    const vela::WriteLock lock(m_mutex);
    return AddRoot(mission, object, span);
  };
  return Finish(add());
}

Outcome TEOperProgressImpl::AddChild(const void* object, const void* parent, int weight) {
  if (m_tools.contains(object))
    return Refused("Error: pointer %x register progress tool repeated!\n",
                   vela::Cut32(reinterpret_cast<std::uintptr_t>(object)));
  Tool* above = Find(parent);
  if (above == nullptr) return Unknown(parent);
  const auto mission = m_missions.find(above->mission);
  if (mission == m_missions.end())
    return Refused("Error: can not find key %d in MissionIndexMap!\n", above->mission.m_nMissionNo);
  ++mission->second.users;
  ++above->children;
  const Tool child{.mission = above->mission,
                   .serial = ++m_lastSerial,
                   .parent = parent,
                   .parentSerial = above->serial,
                   .weight = InPercent(weight, 0)};
  m_tools.emplace(object, child);
  return {};
}

bool TEOperProgressImpl::RegisterChild(const void* object, const void* parent, int weight) {
  const auto add = [&] {
    const vela::WriteLock lock(m_mutex);
    return AddChild(object, parent, weight);
  };
  return Finish(add());
}

Outcome TEOperProgressImpl::Remove(const void* object) {
  const auto found = m_tools.find(object);
  if (found == m_tools.end()) return Unknown(object);
  const Tool& tool = found->second;
  if (Tool* parent = FindParent(tool)) --parent->children;
  const auto mission = m_missions.find(tool.mission);
  if (mission != m_missions.end() && --mission->second.users == 0) m_missions.erase(mission);
  m_tools.erase(found);
  return {};
}

void TEOperProgressImpl::UnRegister(const void* object) {
  const auto remove = [&] {
    const vela::WriteLock lock(m_mutex);
    return Remove(object);
  };
  Finish(remove());
}

void TEOperProgressImpl::Clear() {
  const vela::WriteLock lock(m_mutex);
  m_tools.clear();
  m_missions.clear();
}

std::optional<Tool> TEOperProgressImpl::Look(const void* object) {
  {
    const vela::ReadLock lock(m_mutex);
    const auto found = m_tools.find(object);
    if (found != m_tools.end()) return found->second;
  }
  Refuse(Unknown(object));
  return std::nullopt;
}

bool TEOperProgressImpl::HasChildren(const void* object) {
  const std::optional<Tool> tool = Look(object);
  return tool && tool->children != 0;
}

int TEOperProgressImpl::GetProgress(const void* object) {
  const std::optional<Tool> tool = Look(object);
  return tool ? static_cast<int>(std::min(tool->reached, 100.0F)) : 0;
}

// From the object up to the mission, or as far as something is left to be passed on.
Outcome TEOperProgressImpl::Raise(Tool& tool, double rise, bool hasText) {
  Tool* at = &tool;
  int passedOn = at->Scale(rise);
  while (passedOn >= 1 || (passedOn == 0 && hasText)) {
    if (at->parentSerial == 0) {
      Mission& mission = m_missions[at->mission];
      mission.progress += passedOn;
      if (mission.progress <= mission.lastSent) return {};
      mission.lastSent = mission.progress;
      return {{}, Outcome::Report{at->mission, mission.progress}};
    }
    Tool* parent = FindParent(*at);
    if (parent == nullptr) return Unknown(at->parent);
    at = parent;
    passedOn = at->Scale(passedOn);
  }
  return {};
}

Outcome TEOperProgressImpl::Report(const void* object, int progress, bool hasText) {
  Tool* tool = Find(object);
  if (tool == nullptr) return Unknown(object);
  if (progress > 100)
    return Refused("Error: nProgress parameter %d in TEOperProgressImpl::SendProgress!\n", progress);
  const auto reported = static_cast<float>(progress);
  if (reported < tool->reached) return {};
  if (tool->parentSerial != 0) return Raise(*tool, static_cast<double>(reported) - tool->reached, hasText);
  tool->reached = reported;
  Mission& mission = m_missions[tool->mission];
  mission.progress = progress;
  mission.lastSent = progress;
  return {{}, Outcome::Report{tool->mission, progress}};
}

void TEOperProgressImpl::SendProgress(const void* object, int progress, const char* text, bool lock) {
  const bool hasText = text != nullptr && *text != '\0';
  if (!lock) {
    Finish(Report(object, progress, hasText), text);
    return;
  }
  const auto report = [&] {
    const vela::WriteLock guard(m_mutex);
    return Report(object, progress, hasText);
  };
  Finish(report(), text);
}

// The write lock in any case: a report that goes on changes the object.
void TEOperProgressImpl::SendOwnProgress(const void* object, int progress, const char* text) {
  const bool hasText = text != nullptr && *text != '\0';
  const auto report = [&] {
    const vela::WriteLock lock(m_mutex);
    const Tool* tool = Find(object);
    return tool != nullptr && tool->children != 0 ? Outcome() : Report(object, progress, hasText);
  };
  Finish(report(), text);
}

Outcome TEOperProgressImpl::Step(const void* object, int step) {
  Tool* tool = Find(object);
  if (tool == nullptr) return Unknown(object);
  if (step < 0 || step > 100) return {};
  return Raise(*tool, tool->stepBase + step, false);
}

void TEOperProgressImpl::SendProgressStep(const void* object, int step) {
  const auto raise = [&] {
    const vela::WriteLock lock(m_mutex);
    return Step(object, step);
  };
  Finish(raise());
}

Outcome TEOperProgressImpl::SetSection(const void* object, int start, int end) {
  Tool* tool = Find(object);
  if (tool == nullptr) return Unknown(object);
  if (start < 0 || start >= end || end > 100)
    return Refused("Error: nProgress parameter %d & %d in SetProgressSection!\n", start, end);
  tool->start = start;
  tool->end = end;
  return {};
}

void TEOperProgressImpl::SetProgressSection(const void* object, int start, int end) {
  const auto set = [&] {
    const vela::WriteLock lock(m_mutex);
    return SetSection(object, start, end);
  };
  Finish(set());
}

int TEOperProgressImpl::GetProgressSection(const void* object, int& start, int& end) {
  const std::optional<Tool> tool = Look(object);
  if (!tool) return 0;
  start = tool->start;
  end = tool->end;
  return end - start;
}

Outcome TEOperProgressImpl::SectionStep(const void* object, int step, int total) {
  Tool* tool = Find(object);
  if (tool == nullptr) return Unknown(object);
  const double reached = tool->reached;
  if (total == 0) return tool->end > reached ? Raise(*tool, tool->end - reached, false) : Outcome();
  if (step <= 0 || step > total)
    return Refused("Error: nProgress parameter %d & %d in SendSectionStep!\n", step, total);
  const double target = tool->start + static_cast<double>(step) / total * (tool->end - tool->start);
  const double rise = target - reached;
  return rise >= 1.0 ? Raise(*tool, rise, false) : Outcome();
}

void TEOperProgressImpl::SendSectionStep(const void* object, int step, int total) {
  const auto raise = [&] {
    const vela::WriteLock lock(m_mutex);
    return SectionStep(object, step, total);
  };
  Finish(raise());
}

vela::SingletonSlot<TEOperProgressIF> g_operProgress;

}  // namespace

TEOperProgressIF::~TEOperProgressIF() = default;

TEOperProgressIF* TEOperProgressIF::Instance() {
  return g_operProgress.Instance<TEOperProgressImpl>();
}

void TEOperProgressIF::Destroy() {
  g_operProgress.Destroy();
}

TEOperProgressRegister::TEOperProgressRegister(long missionID, const void* object, int span, int reserved)
    : m_pObject(object) {
  TEOperProgressIF* progress = TEOperProgressIF::Instance();
  m_bRegistered = progress != nullptr && progress->RegisterRoot(missionID, object, span, reserved);
}

TEOperProgressRegister::TEOperProgressRegister(const void* object, const void* parent, int weight)
    : m_pObject(object) {
  TEOperProgressIF* progress = TEOperProgressIF::Instance();
  m_bRegistered = progress != nullptr && progress->RegisterChild(object, parent, weight);
}

TEOperProgressRegister::~TEOperProgressRegister() {
  UnRegister();
}

void TEOperProgressRegister::UnRegister() {
  if (!m_bRegistered) return;
  m_bRegistered = false;
  if (TEOperProgressIF* progress = TEOperProgressIF::Instance()) progress->UnRegister(m_pObject);
}

}  // namespace NSTE_util
