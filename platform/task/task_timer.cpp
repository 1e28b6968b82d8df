#include "platform/task/task_timer.h"

#include <algorithm>
#include <map>
#include <system_error>

#include "platform/os/clock.h"
#include "platform/task/task_mgr_impl.h"
#include "platform/task/task_state.h"

namespace vela {
namespace {

struct Timers {
  std::map<std::pair<Deadline, std::uint32_t>, TaskState*> running;
  std::uint32_t lastId = 0;
  bool ending = false;
  CondVar changed;
};

// Never destroyed: a condition must not end while a thread waits for it.
Timers& TheTimers() VELA_REQUIRES(tasksLock) {
  static Timers& timers = *new Timers;
  return timers;
}

// Moves one expiry to its task's list; the result is who delivers it (null: nobody yet, or nothing is due).
std::shared_ptr<HostedTask> ExpireNext(Timers& timers) VELA_REQUIRES(tasksLock) {
  const Deadline now = std::chrono::steady_clock::now();
  while (!timers.running.empty() && timers.running.begin()->first.first <= now) {
    const auto [key, task] = *timers.running.begin();
    timers.running.erase(timers.running.begin());
    std::erase(task->timers, key);
    task->expired.push_back(key.second);  // room was made when the timer was set
    if (auto host = task->host.lock()) return host;
  }
  return nullptr;
}

// Null when the thread shall end.
std::shared_ptr<HostedTask> AwaitExpiry() {
  MutexLock lock(tasksLock);
  Timers& timers = TheTimers();
  while (!timers.ending) {
    if (auto host = ExpireNext(timers)) return host;
    if (timers.running.empty()) {
      timers.changed.Wait(tasksLock);
    } else {
      timers.changed.WaitUntil(tasksLock, Deadline(timers.running.begin()->first.first));
    }
  }
  return nullptr;
}

}  // namespace

std::uint32_t AddTimer(TaskState& task, int seconds) {
  Timers& timers = TheTimers();
  if (++timers.lastId == 0) ++timers.lastId;
  const auto key =
      std::pair(std::chrono::steady_clock::now() + ScaledSeconds(std::max(seconds, 0)), timers.lastId);
  try {
    task.timers.push_back(key);
    task.expired.reserve(task.timers.size() + task.expired.size());
    timers.running.emplace(key, &task);
  } catch (const std::bad_alloc&) {
    RemoveTimer(task, key.second);  // an interval that never expires
  }
  if (!timers.running.empty() && timers.running.begin()->first == key) timers.changed.NotifyOne();
  return key.second;
}

void RemoveTimer(TaskState& task, std::uint32_t id) {
  std::erase(task.expired, id);
  const auto found = std::find_if(task.timers.begin(), task.timers.end(),
                                  [id](const auto& key) { return key.second == id; });
  if (found == task.timers.end()) return;
  TheTimers().running.erase(*found);
  task.timers.erase(found);
}

void RemoveTimers(TaskState& task) {
  for (const auto& key : task.timers) TheTimers().running.erase(key);
  task.timers.clear();
  task.expired.clear();
}

std::uint32_t TakeExpiry(VelaTask& task) {
  TaskState& state = VelaTaskAccess::Of(task);
  MutexLock lock(tasksLock);
  if (state.expired.empty()) return 0;
  const std::uint32_t id = state.expired.front();
  state.expired.erase(state.expired.begin());
  return id;
}

void SetHost(VelaTask& task, const std::shared_ptr<HostedTask>& host) {
  MutexLock lock(tasksLock);
  VelaTaskAccess::Of(task).host = host;
}

TimerThread::TimerThread() {
  {
    MutexLock lock(tasksLock);
    TheTimers().ending = false;
  }
  if (const int error = pthread_create(&m_thread, nullptr, &Main, nullptr); error != 0)
    throw std::system_error(error, std::generic_category(), "timer thread");
}

TimerThread::~TimerThread() {
  {
    MutexLock lock(tasksLock);
    TheTimers().ending = true;
    TheTimers().changed.NotifyAll();
  }
  pthread_join(m_thread, nullptr);
}

void* TimerThread::Main(void*) {
  while (auto host = AwaitExpiry()) host->owner.Wake(host);
  return nullptr;
}

}  // namespace vela

std::uint32_t VelaTask::SetTaskTimeInterval(int seconds) {
  vela::MutexLock lock(vela::tasksLock);
  return vela::AddTimer(*m_impl, seconds);
}

void VelaTask::DelTaskTimeInterval(std::uint32_t id) {
  vela::MutexLock lock(vela::tasksLock);
  vela::RemoveTimer(*m_impl, id);
}
