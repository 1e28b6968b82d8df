#include "platform/task/vela_task_mgr.h"

#include <algorithm>
#include <cstdio>
#include <system_error>

#include "platform/log/log_process.h"
#include "platform/task/app_mgr_impl.h"
#include "platform/task/request_runner.h"
#include "platform/task/task_mgr_impl.h"
#include "platform/task/vela_error.h"

VelaTaskMgr::~VelaTaskMgr() = default;

namespace vela {
namespace {

constexpr std::size_t kLeastStack = std::size_t{1} << 20;
constexpr std::size_t kPage = 4096;

class ThreadAttributes {
 public:
  explicit ThreadAttributes(std::size_t stackBytes) {
    pthread_attr_init(&m_attributes);
    const std::size_t bytes = (std::max(stackBytes, kLeastStack) + kPage - 1) / kPage * kPage;
    pthread_attr_setstacksize(&m_attributes, bytes);
  }
  ~ThreadAttributes() { pthread_attr_destroy(&m_attributes); }
  ThreadAttributes(const ThreadAttributes&) = delete;
  ThreadAttributes& operator=(const ThreadAttributes&) = delete;
  const pthread_attr_t& Get() const { return m_attributes; }

 private:
  pthread_attr_t m_attributes;
};

void TraceTask(const VelaTask& task, const char* why) noexcept {
  char text[512];
  std::snprintf(text, sizeof text, "Task %s: an exception left it: %s", task.GetName().c_str(), why);
  try {
    LogProcess::Error(text);
  } catch (...) {  // nothing is left to tell it to
  }
}

template <class Function>
void CallTask(VelaTask& task, Function function) {
  const VelaCurrentTaskScope current(&task);
  try {
    function();
  } catch (const std::exception& error) {
    TraceTask(task, error.what());
  } catch (...) {
    TraceTask(task, "of unknown type");
  }
}

}  // namespace

TaskMgrImpl::TaskMgrImpl(VelaAppMgrImpl& app, const VelaTaskMgrConfig& config)
    : m_app(app), m_config(config) {
  StartWorkers();
}

TaskMgrImpl::~TaskMgrImpl() = default;

void TaskMgrImpl::StartWorkers() {
  const ThreadAttributes attributes(m_config.stackBytes);
  try {
    for (unsigned i = 0; i < std::max(m_config.workers, 1u); ++i) StartWorker(attributes.Get());
  } catch (...) {
    BeginStop();
    AwaitWorkers(Deadline::max());
    throw;
  }
}

void TaskMgrImpl::StartWorker(const pthread_attr_t& attributes) {
  m_workers.push_back(std::make_unique<Worker>(this));
  Worker& worker = *m_workers.back();
  if (const int error = pthread_create(&worker.thread, &attributes, &WorkerMain, &worker); error != 0) {
    m_workers.pop_back();
    throw std::system_error(error, std::generic_category(), "worker thread");
  }
}

void* TaskMgrImpl::WorkerMain(void* worker) {
  auto& self = *static_cast<Worker*>(worker);
  char name[16];
  std::snprintf(name, sizeof name, "%.15s", self.manager->GetName().c_str());
  pthread_setname_np(pthread_self(), name);
  self.manager->Run(self);
  return nullptr;
}

void TaskMgrImpl::Run(Worker& worker) {
  RequestRunner runner(m_app);
  Work work;
  while (NextWork(worker, work)) {
    if (work.hosted) {
      RunHosted(*work.hosted);
      continue;
    }
    const std::size_t bytes = VelaFrameSize(*work.request.frame);
    runner.Run(std::move(work.request.frame), *work.request.handler);
    m_app.ReleaseBytes(bytes);
  }
  MutexLock lock(m_lock);
  worker.ended = true;
  m_workerEnded.NotifyAll();
}

bool TaskMgrImpl::NextWork(Worker& worker, Work& work) {
  if (work.hosted) FinishHosted(std::move(work.hosted));
  Worker* next = nullptr;
  {
    MutexLock lock(m_lock);
    if (worker.busy) --m_stats.running;
    if (std::exchange(work.request.handler, nullptr) != nullptr) ++m_stats.handled;
    worker.busy = false;
    while (!m_stopping && !HasWork()) AwaitCall(worker);
    if (m_stopping) return false;
    worker.busy = true;
    ++m_stats.running;
    TakeWork(work);
    next = CallWorker();
  }
  if (next != nullptr) next->wake.Call();
  return true;
}

void TaskMgrImpl::AwaitCall(Worker& worker) {
  m_idle.push_back(&worker);
  m_lock.unlock();
  worker.wake.Wait();
  m_lock.lock();
  m_calling = false;
}

void TaskMgrImpl::TakeWork(Work& work) {
  if (m_firstHosted) {
    work.hosted = TakeHosted();
    return;
  }
  work.request = std::move(m_requests.front());
  m_requests.pop_front();
}

TaskMgrImpl::Worker* TaskMgrImpl::CallWorker() {
  if (m_calling || m_idle.empty() || !HasWork()) return nullptr;
  m_calling = true;
  Worker* const worker = m_idle.back();
  m_idle.pop_back();
  return worker;
}

void TaskMgrImpl::FinishHosted(std::shared_ptr<HostedTask> hosted) {
  {
    MutexLock lock(m_lock);
    if (hosted->task->GetTaskState() != VELA_TASK_END) {
      const bool woken = hosted->m_place == HostedTask::Place::runningAndWoken;
      hosted->m_place = HostedTask::Place::idle;
      if (woken) Append(hosted);
      return;
    }
    hosted->m_place = HostedTask::Place::ended;
    m_hosted.erase(hosted);
  }
  hosted->task.reset();  // here, whoever else may still hold its place
}

void TaskMgrImpl::Append(const std::shared_ptr<HostedTask>& hosted) {
  hosted->m_place = HostedTask::Place::queued;
  (m_firstHosted ? m_lastHosted->m_next : m_firstHosted) = hosted;
  m_lastHosted = hosted.get();
}

std::shared_ptr<HostedTask> TaskMgrImpl::TakeHosted() {
  std::shared_ptr<HostedTask> hosted = std::move(m_firstHosted);
  m_firstHosted = std::move(hosted->m_next);
  hosted->m_place = HostedTask::Place::running;
  return hosted;
}

void TaskMgrImpl::RunHosted(HostedTask& hosted) {
  VelaTask& task = *hosted.task;
  if (!hosted.m_created) {
    hosted.m_created = true;
    CallTask(task, [&] { task.VelaTaskCreate(); });
  }
  while (task.GetTaskState() != VELA_TASK_END) {
    const std::uint32_t id = TakeExpiry(task);
    if (id == 0) return;
    CallTask(task, [&] { task.VelaTaskTimeInterval(id); });
  }
}

void TaskMgrImpl::Wake(const std::shared_ptr<HostedTask>& hosted) {
  Worker* called = nullptr;
  {
    MutexLock lock(m_lock);
    if (m_stopping) return;
    if (hosted->m_place == HostedTask::Place::running) hosted->m_place = HostedTask::Place::runningAndWoken;
    if (hosted->m_place != HostedTask::Place::idle) return;
    Append(hosted);
    called = CallWorker();
  }
  if (called != nullptr) called->wake.Call();
}

std::uint32_t TaskMgrImpl::InsertTask(std::unique_ptr<VelaTask> task, int state) try {
  if (!task) return VELA_ERR_GENERAL;
  task->VelaSetTaskState(state);
  const auto hosted = std::make_shared<HostedTask>(std::move(task), *this);
  SetHost(*hosted->task, hosted);
  Worker* called = nullptr;
  {
    MutexLock lock(m_lock);
    if (m_stopping) return VELA_ERR_STOPPING;
    m_hosted.insert(hosted);
    Append(hosted);
    called = CallWorker();
  }
  if (called != nullptr) called->wake.Call();
  return 0;
} catch (const std::bad_alloc&) {
  return VELA_ERR_MEMORY;
}

void TaskMgrImpl::PostRequest(VelaMsgPtr frame) {
  if (!frame) return;
  const TETaskHandlerStru* handler = TETaskCreator::Instance()->Find(frame->cmdCode);
  if (handler == nullptr) {
    m_app.RefuseBroken(std::move(frame), VELA_ERR_NO_HANDLER);
    return;
  }
  Post(std::move(frame), handler);
}

std::uint32_t TaskMgrImpl::Post(VelaMsgPtr frame, const TETaskHandlerStru* handler) {
  const std::size_t bytes = VelaFrameSize(*frame);
  if (!m_app.ReserveBytes(bytes)) return m_app.Refuse(std::move(frame), VELA_ERR_OVERLOAD);
  Request request{std::move(frame), handler};
  const std::uint32_t code = Enqueue(request);
  if (code == 0) return 0;
  m_app.ReleaseBytes(bytes);
  return m_app.Refuse(std::move(request.frame), code);
}

std::uint32_t TaskMgrImpl::Enqueue(Request& request) {
  Worker* called = nullptr;
  {
    MutexLock lock(m_lock);
    if (m_stopping) return VELA_ERR_STOPPING;
    if (m_requests.size() >= m_config.queueLimit) {
      ++m_stats.refusedFull;
      return VELA_ERR_OVERLOAD;
    }
    try {
      m_requests.push_back(std::move(request));
    } catch (const std::bad_alloc&) {
      return VELA_ERR_MEMORY;
    }
    called = CallWorker();
  }
  if (called != nullptr) called->wake.Call();
  return 0;
}

VelaTaskMgrStats TaskMgrImpl::Stats() const {
  MutexLock lock(m_lock);
  VelaTaskMgrStats stats = m_stats;
  stats.queued = static_cast<std::uint32_t>(m_requests.size());
  return stats;
}

void TaskMgrImpl::BeginStop() {
  std::deque<Request> requests;
  std::shared_ptr<HostedTask> hosted;
  std::vector<Worker*> idle;
  {
    MutexLock lock(m_lock);
    m_stopping = true;
    requests.swap(m_requests);
    hosted.swap(m_firstHosted);
    idle.swap(m_idle);
  }
  for (Worker* worker : idle) worker->wake.Call();
  while (hosted) hosted = std::exchange(hosted->m_next, nullptr);
  for (Request& request : requests) {
    m_app.ReleaseBytes(VelaFrameSize(*request.frame));
    m_app.Refuse(std::move(request.frame), VELA_ERR_STOPPING);
  }
}

bool TaskMgrImpl::AllEnded() const {
  for (const auto& worker : m_workers) {
    if (!worker->ended) return false;
  }
  return true;
}

bool TaskMgrImpl::OnlyBusyLeft() const {
  for (const auto& worker : m_workers) {
    if (!worker->ended && !worker->busy) return false;
  }
  return true;
}

bool TaskMgrImpl::AwaitWorkers(Deadline deadline) {
  bool allEnded = true;
  {
    MutexLock lock(m_lock);
    while (!AllEnded()) {
      if (std::chrono::steady_clock::now() < deadline) {
        m_workerEnded.WaitUntil(m_lock, deadline);
      } else if (OnlyBusyLeft()) {
        break;
      } else {
        m_workerEnded.Wait(m_lock);  // idle ones end at once
      }
    }
    for (const auto& worker : m_workers) {
      if (worker->ended) continue;
      allEnded = false;
      pthread_detach(worker->thread);
      worker->abandoned = true;
    }
  }
  for (const auto& worker : m_workers) {
    if (!worker->abandoned) pthread_join(worker->thread, nullptr);
  }
  if (allEnded) EndTasks();
  return allEnded;
}

void TaskMgrImpl::EndTasks() {
  std::set<std::shared_ptr<HostedTask>> all;
  {
    MutexLock lock(m_lock);
    all.swap(m_hosted);
    for (const auto& hosted : all) hosted->m_place = HostedTask::Place::ended;
  }
  for (const auto& hosted : all) hosted->task.reset();
}

}  // namespace vela
