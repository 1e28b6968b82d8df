#pragma once
#include <pthread.h>

#include <deque>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/os/mutex.h"
#include "platform/task/task_state.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task_mgr.h"
#include "platform/task/wake_up.h"

class VelaAppMgrImpl;

namespace vela {

class TaskMgrImpl;

// An inserted task and its place in the manager's queue. It is queued at most once and never while a worker
// runs it, so its calls never overlap. `idle`, `queued`, ... are guarded by the manager's lock.
class HostedTask {
 public:
  HostedTask(std::unique_ptr<VelaTask> hosted, TaskMgrImpl& manager)
      : task(std::move(hosted)), owner(manager) {}

  std::unique_ptr<VelaTask> task;
  TaskMgrImpl& owner;

 private:
  friend class TaskMgrImpl;
  enum class Place { idle, queued, running, runningAndWoken, ended };
  Place m_place = Place::running;  // until it is inserted, so that expiries do not queue it before
  bool m_created = false;
  std::shared_ptr<HostedTask> m_next;  // in the queue
};

class TaskMgrImpl final : public VelaTaskMgr {
 public:
  // Starts the workers; throws std::bad_alloc or std::system_error.
  TaskMgrImpl(VelaAppMgrImpl& app, const VelaTaskMgrConfig& config);
  // All workers must have ended (see AwaitWorkers).
  ~TaskMgrImpl() override;

  std::uint8_t GetId() const override { return m_config.id; }
  const std::string& GetName() const override { return m_config.name; }
  std::uint32_t InsertTask(std::unique_ptr<VelaTask> task, int state) override;
  void PostRequest(VelaMsgPtr frame) override;
  VelaTaskMgrStats Stats() const override;

  // As PostRequest. 0: queued, or answered with the reason why not; a code: a frame that nobody waits for was
  // dropped.
  std::uint32_t Post(VelaMsgPtr frame, const TETaskHandlerStru* handler);
  // An inserted task has expiries to be delivered.
  void Wake(const std::shared_ptr<HostedTask>& hosted);

  // No new requests; answers the queued ones. Workers end after what they are running.
  void BeginStop();
  // After BeginStop. False when handlers still ran at the deadline: their workers are abandoned, and so must
  // this object be. Otherwise the inserted tasks are deleted.
  bool AwaitWorkers(Deadline deadline);

 private:
  struct Request {
    VelaMsgPtr frame;
    const TETaskHandlerStru* handler = nullptr;
  };
  // What a worker does next: one of both.
  struct Work {
    Request request;
    std::shared_ptr<HostedTask> hosted;
  };
  struct Worker {
    explicit Worker(TaskMgrImpl* owner) : manager(owner) {}
    TaskMgrImpl* const manager;
    pthread_t thread{};
    bool busy = false;  // guarded by m_lock, as the next
    bool ended = false;
    bool abandoned = false;
    WakeUp wake;  // called once each time that it is taken out of m_idle
  };

  static void* WorkerMain(void* worker);
  void StartWorker(const pthread_attr_t& attributes);
  void StartWorkers();
  void Run(Worker& worker);
  // Notes that `work` is done and waits for the next; false when the worker shall end.
  bool NextWork(Worker& worker, Work& work);
  void TakeWork(Work& work) VELA_REQUIRES(m_lock);
  void FinishHosted(std::shared_ptr<HostedTask> hosted);
  bool HasWork() const VELA_REQUIRES(m_lock) { return m_firstHosted || !m_requests.empty(); }
  void AwaitCall(Worker& worker) VELA_REQUIRES(m_lock);
  // The worker that the caller shall notify, without the lock, for work that waits; or null. One is called at
  // a time and calls the next: a burst of requests does not cost a wake-up each. The one that fell idle last
  // comes first: its caches are warm.
  Worker* CallWorker() VELA_REQUIRES(m_lock);
  bool AllEnded() const VELA_REQUIRES(m_lock);
  bool OnlyBusyLeft() const VELA_REQUIRES(m_lock);
  std::uint32_t Enqueue(Request& request);
  void EndTasks();
  void Append(const std::shared_ptr<HostedTask>& hosted) VELA_REQUIRES(m_lock);
  std::shared_ptr<HostedTask> TakeHosted() VELA_REQUIRES(m_lock);
  void RunHosted(HostedTask& hosted);

  VelaAppMgrImpl& m_app;
  const VelaTaskMgrConfig m_config;
  mutable Mutex m_lock;
  CondVar m_workerEnded;  // one of m_workers
  bool m_stopping VELA_GUARDED_BY(m_lock) = false;
  std::vector<Worker*> m_idle VELA_GUARDED_BY(m_lock);  // the one that fell idle last at the back
  bool m_calling VELA_GUARDED_BY(m_lock) = false;       // a worker was called and has not come yet
  std::deque<Request> m_requests VELA_GUARDED_BY(m_lock);
  std::shared_ptr<HostedTask> m_firstHosted VELA_GUARDED_BY(m_lock);
  HostedTask* m_lastHosted VELA_GUARDED_BY(m_lock) = nullptr;
  std::set<std::shared_ptr<HostedTask>> m_hosted VELA_GUARDED_BY(m_lock);  // all of them
  VelaTaskMgrStats m_stats VELA_GUARDED_BY(m_lock);
  std::vector<std::unique_ptr<Worker>> m_workers;
};

}  // namespace vela
