#pragma once
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/message/proc_id.h"
#include "platform/message/vela_cmd_msg.h"
#include "platform/os/mutex.h"
#include "platform/task/vela_task.h"
#include "platform/task/wake_up.h"

namespace vela {

class HostedTask;

// Guards what other threads touch of the tasks: ids, awaited answers, timers. Held for a few instructions
// only; the platform takes no other lock while it holds this one.
inline Mutex tasksLock;

using Deadline = std::chrono::steady_clock::time_point;

struct TaskState;

// A synchronous wait under way; lives on the waiter's stack.
struct TaskWait {
  TaskState& task;
  std::uint32_t sn;  // 0: any answer
  CProcID process;   // zeros: not known
  Deadline deadline;
  std::shared_ptr<WakeUp> wake;  // outlives the wait: called without the lock
  bool called = false;           // an answer has called it, which is enough
  TaskWait* next = nullptr;
};

// Which answer ends the request that a worker serves.
struct ServedRequest {
  std::uint32_t sn = 0;
  std::uint16_t taskId = 0;
  CProcID source;
  bool active = false;
  bool answered = false;
};

struct TaskState {
  TaskState(const char* taskName, std::uint8_t taskAttribute);

  const std::string name;
  const std::uint8_t attribute;
  std::uint16_t id = 0;  // 0: 65535 tasks were alive
  std::atomic<int> state{VELA_TASK_RUNNING};

  std::vector<std::uint32_t> drawn VELA_GUARDED_BY(tasksLock);  // serial numbers that may be answered
  std::vector<VelaMsgPtr> answers VELA_GUARDED_BY(tasksLock);   // in order of arrival
  TaskWait* wait VELA_GUARDED_BY(tasksLock) = nullptr;
  ServedRequest served VELA_GUARDED_BY(tasksLock);
  std::vector<std::pair<Deadline, std::uint32_t>> timers VELA_GUARDED_BY(tasksLock);  // running
  std::vector<std::uint32_t> expired VELA_GUARDED_BY(tasksLock);                      // not yet delivered
  std::weak_ptr<HostedTask> host VELA_GUARDED_BY(tasksLock);  // empty: nobody delivers expiries
};

// Waits accept answers again after AbortAllWaits.
void AllowWaits();

// Hands an answer to the task that awaits it. False (and the frame is gone) when nobody does.
bool DeliverAnswer(VelaMsgPtr frame);

// From here on ClaimAnswer watches for the answer to `request`.
void BeginServing(VelaTask& task, const VelaCmdMSG& request);
// Ends that; true when the answer was sent.
bool EndServing(VelaTask& task);

enum class AnswerClaim { unknown, claimed, duplicate };
// Asked before a frame is sent: the first answer to a request that is being served is claimed, a further one
// is a duplicate; every other frame is unknown.
AnswerClaim ClaimAnswer(const VelaCmdMSG& frame);
// The claimed answer could not be sent.
void ReturnClaim(const VelaCmdMSG& frame);

// The next expiry to deliver, or 0.
std::uint32_t TakeExpiry(VelaTask& task);
// Expiries wake `host` from now on.
void SetHost(VelaTask& task, const std::shared_ptr<HostedTask>& host);

// Timers; all need the lock.
std::uint32_t AddTimer(TaskState& task, int seconds) VELA_REQUIRES(tasksLock);
void RemoveTimer(TaskState& task, std::uint32_t id) VELA_REQUIRES(tasksLock);
void RemoveTimers(TaskState& task) VELA_REQUIRES(tasksLock);

}  // namespace vela

struct VelaTask::Impl : vela::TaskState {
  using TaskState::TaskState;
};

class VelaTaskAccess {
 public:
  static vela::TaskState& Of(VelaTask& task) { return *task.m_impl; }
};
