#include "util/basicutil/taskcontext.h"

#include <algorithm>
#include <unordered_map>

#include "platform/os/clock.h"
#include "platform/os/mutex.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/asynprogressmgr.h"
#include "util/basicutil/client_records.h"
#include "util/basicutil/progressmgr_impl.h"
#include "util/basicutil/tecommonerror_internal.h"

namespace NSTE_util {

namespace {

constexpr const char* UNIT = "taskcontext";

// Which context serves which task.
class ContextRegistry {
 public:
  // Never destroyed: tasks may outlive the static objects.
  static ContextRegistry& Instance() {
    static ContextRegistry& registry = *new ContextRegistry;
    return registry;
  }

  bool Enter(const VelaTask* task, TETaskContext* context) {
    const vela::MutexLock lock(m_mutex);
    return m_contexts.emplace(task, context).second;
  }

  // False when the entry belongs to another context.
  bool Leave(const VelaTask* task, const TETaskContext* context) {
    const vela::MutexLock lock(m_mutex);
    const auto it = m_contexts.find(task);
    if (it == m_contexts.end() || it->second != context) return false;
    m_contexts.erase(it);
    return true;
  }

  TETaskContext* Find(const VelaTask* task) {
    const vela::MutexLock lock(m_mutex);
    const auto it = m_contexts.find(task);
    return it != m_contexts.end() ? it->second : nullptr;
  }

 private:
  vela::Mutex m_mutex;
  std::unordered_map<const VelaTask*, TETaskContext*> m_contexts VELA_GUARDED_BY(m_mutex);
};

TEResultFilter& TheDefaultResultFilter() {
  static DefaultResultFilter filter;
  return filter;
}

const TECmdMsg* RequestOf(const VelaGnlTask* task) {
  if (!Check(task != nullptr, UNIT, "m_pTask != 0")) return nullptr;
  const TECmdMsg* request = task->GetCurReqMsg();
  Check(request != nullptr, UNIT, "pReqMsg != 0");
  return request;
}

}  // namespace

TEResultFilter::~TEResultFilter() = default;

bool DefaultResultFilter::IsDropped(const TESingleResult& /*result*/) {
  return false;
}

struct TETaskContext::Impl {
  explicit Impl(VelaGnlTask* task) : m_pTask(task), m_missionKey(MakeMissionKey(RequestOf(task), -1)) {}

  // The progress manager while a mission is set, else null.
  ProgressMgr* Progress() const { return m_bMissionSet ? ProgressMgr::Instance() : nullptr; }

  VelaGnlTask* m_pTask;
  TEResultFilter* m_pFilter = &TheDefaultResultFilter();
  std::int32_t m_nUserID = -1;
  bool m_bMissionSet = false;
  bool m_bErrFrame = false;  // opened by this context
  ClientMissionID m_missionKey;
  std::int64_t m_nDeadline = 0;
  std::list<TESingleResult> m_results;
  std::string m_strMissionDesc;
  std::vector<std::pair<std::string, std::string>> m_flags;
  std::vector<std::int32_t> m_enteredNumbers;
};

TETaskContext::TETaskContext(VelaGnlTask* pTask) : m_pImpl(std::make_unique<Impl>(pTask)) {
  Enter();
}

TETaskContext::TETaskContext(VelaGnlTask* pTask, TEResultFilter* /*pFilter*/)
    : m_pImpl(std::make_unique<Impl>(pTask)) {
  Check(Enter(), UNIT, "false");
}

TETaskContext::~TETaskContext() {
  if (!Leave()) return;
  auto* progress = static_cast<ProgressMgrImpl*>(m_pImpl->Progress());
  if (progress == nullptr) return;
  AsynProgressMgr* asyn = AsynProgressMgr::Instance();
  if (asyn != nullptr && asyn->IsClientMissionRegistered(m_pImpl->m_missionKey, true))
    progress->ForgetTask(m_pImpl->m_pTask);
  else
    progress->EndRequest(m_pImpl->m_pTask);
  for (const std::int32_t number : m_pImpl->m_enteredNumbers) progress->RemoveMissionNumber(number);
}

bool TETaskContext::Enter() {
  const VelaGnlTask* task = m_pImpl->m_pTask;
  Check(task != nullptr, UNIT, "pTask != 0");
  Check(task == VelaGetCurrentTask(), UNIT, "pTask == static_cast<VelaGnlTask*>(VelaGetCurrentTask())");
  if (!ContextRegistry::Instance().Enter(task, this)) return false;
  m_pImpl->m_bErrFrame = OpenContextErrFrame();
  return true;
}

bool TETaskContext::Leave() {
  if (m_pImpl->m_bErrFrame) CloseContextErrFrame();
  return ContextRegistry::Instance().Leave(m_pImpl->m_pTask, this);
}

VelaGnlTask* TETaskContext::GetTask() const {
  return m_pImpl->m_pTask;
}

const TECmdMsg* TETaskContext::GetReqMsg() const {
  return m_pImpl->m_pTask != nullptr ? m_pImpl->m_pTask->GetCurReqMsg() : nullptr;
}

void TETaskContext::SetUserID(int userID) {
  m_pImpl->m_nUserID = userID;
}

int TETaskContext::GetUserID() const {
  return m_pImpl->m_nUserID;
}

void TETaskContext::SetMissionID(int missionID, bool flag) {
  m_pImpl->m_bMissionSet = true;
  m_pImpl->m_missionKey.m_nMissionNo = missionID;
  ProgressMgr* progress = m_pImpl->Progress();
  if (progress == nullptr) return;
  progress->RegisterMission(m_pImpl->m_missionKey, m_pImpl->m_pTask);
  if (!flag) return;
  progress->EnterMissionNumber(missionID);
  m_pImpl->m_enteredNumbers.push_back(missionID);
}

int TETaskContext::GetMissionID() const {
  return m_pImpl->m_missionKey.m_nMissionNo;
}

bool TETaskContext::IsCanceled() const {
  ProgressMgr* progress = m_pImpl->Progress();
  return progress != nullptr && progress->IsCanceled(m_pImpl->m_missionKey);
}

void TETaskContext::SetTimeOut(long long deadline) {
  m_pImpl->m_nDeadline = deadline;
}

bool TETaskContext::IsTimeOut() const {
  return m_pImpl->m_nDeadline != 0 && vela::NowSeconds() > m_pImpl->m_nDeadline;
}

void TETaskContext::SetMissionDesc(const std::string& desc) {
  m_pImpl->m_strMissionDesc = desc;
}

std::string TETaskContext::GetMissionDesc() const {
  return m_pImpl->m_strMissionDesc;
}

void TETaskContext::SetTaskFlag(const std::string& name, const std::string& value) {
  auto& flags = m_pImpl->m_flags;
  const auto it = std::find_if(flags.begin(), flags.end(), [&](const auto& f) { return f.first == name; });
  if (it != flags.end())
    it->second = value;
  else
    flags.emplace_back(name, value);
}

std::string TETaskContext::GetTaskFlag(const std::string& name) const {
  for (const auto& [flag, value] : m_pImpl->m_flags)
    if (flag == name) return value;
  return {};
}

bool TETaskContext::GetTaskFlagPairVec(std::vector<std::pair<std::string, std::string>>& out) const {
  out = m_pImpl->m_flags;
  return !out.empty();
}

void TETaskContext::AppendResult(const TESingleResult& result) {
  if (!m_pImpl->m_pFilter->IsDropped(result)) m_pImpl->m_results.push_back(result);
}

const std::list<TESingleResult>& TETaskContext::ResultBuffer() const {
  return m_pImpl->m_results;
}

void TETaskContext::SendProgress(int progress) {
  SendProgress(progress, TaskProgressInfo());
}

void TETaskContext::SendProgress(int progress, const TaskProgressInfo& info) {
  if (ProgressMgr* mgr = m_pImpl->Progress())
    mgr->SendProgress(m_pImpl->m_pTask, m_pImpl->m_missionKey, progress, info);
}

void TETaskContext::SendParalProgress(const ParallelTaskProgressInfo& info) {
  if (ProgressMgr* mgr = m_pImpl->Progress())
    mgr->SendParalProgress(m_pImpl->m_pTask, m_pImpl->m_missionKey, info);
}

void TETaskContext::SetProgressSpan(float span) {
  if (ProgressMgr* mgr = m_pImpl->Progress()) mgr->SetProgressSpan(m_pImpl->m_missionKey, span);
}

void TETaskContext::RestoreProgressSpan() {
  if (ProgressMgr* mgr = m_pImpl->Progress()) mgr->RestoreProgressSpan(m_pImpl->m_missionKey);
}

TETaskContext* GetTaskContext() {
  const VelaTask* task = VelaGetCurrentTask();
  return task != nullptr ? ContextRegistry::Instance().Find(task) : nullptr;
}

}  // namespace NSTE_util

TEAutoRegisterTask::TEAutoRegisterTask(const TETaskHandlerStru* handler) {
  if (TETaskCreator* creator = TETaskCreator::Instance()) creator->RegisterTask(handler);
}
