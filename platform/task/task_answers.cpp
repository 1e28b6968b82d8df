// Task ids, serial numbers, and the answers that tasks wait for.
#include <algorithm>
#include <array>

#include "platform/os/clock.h"
#include "platform/task/task_internal.h"
#include "platform/task/task_state.h"
#include "platform/task/vela_error.h"

namespace vela {
namespace {

constexpr int kDefaultTimeOut = 30;
constexpr std::size_t kMaxDrawn = 65536;  // beyond it, the oldest are taken for never answered

struct Registry {
  std::array<TaskState*, 65536> live{};
  TaskWait* waits = nullptr;
  std::uint16_t lastId = 0;
  bool aborted = false;
};

// Never destroyed: workers and the bus may run until the process is gone.
Registry& TheRegistry() VELA_REQUIRES(tasksLock) {
  static Registry& registry = *new Registry;
  return registry;
}

void Enter(TaskState& task) VELA_REQUIRES(tasksLock) {
  Registry& registry = TheRegistry();
  for (unsigned tries = 0; tries < registry.live.size(); ++tries) {
    const std::uint16_t id = ++registry.lastId;
    if (id == 0 || registry.live[id] != nullptr) continue;
    registry.live[id] = &task;
    task.id = id;
    return;
  }
}

bool Accepts(const TaskWait& wait, const VelaCmdMSG& frame) {
  return wait.sn == 0 || wait.sn == frame.sn;
}

VelaMsgPtr TakeAnswer(TaskState& task, const TaskWait& wait) VELA_REQUIRES(tasksLock) {
  const auto found = std::find_if(task.answers.begin(), task.answers.end(),
                                  [&](const VelaMsgPtr& frame) { return Accepts(wait, *frame); });
  if (found == task.answers.end()) return nullptr;
  VelaMsgPtr frame = std::move(*found);
  task.answers.erase(found);
  return frame;
}

void GiveUp(TaskState& task, const TaskWait& wait) VELA_REQUIRES(tasksLock) {
  if (wait.sn == 0) {
    task.drawn.clear();
  } else {
    std::erase(task.drawn, wait.sn);
  }
}

void Sleep(TaskWait& wait) VELA_REQUIRES(tasksLock) {
  const Deadline deadline = wait.deadline;
  tasksLock.unlock();
  wait.wake->WaitUntil(deadline);
  tasksLock.lock();
  wait.called = false;
}

VelaMsgPtr Await(TaskState& task, std::uint32_t sn, CProcID process, int timeOut) {
  const auto seconds = ScaledSeconds(timeOut > 0 ? timeOut : kDefaultTimeOut);
  thread_local const auto wake = std::make_shared<WakeUp>();
  TaskWait wait{task, sn, process, std::chrono::steady_clock::now() + seconds, wake};
  MutexLock lock(tasksLock);
  VelaMsgPtr frame = TakeAnswer(task, wait);
  if (frame) return frame;
  Registry& registry = TheRegistry();
  task.wait = &wait;
  wait.next = std::exchange(registry.waits, &wait);
  while (!frame && !registry.aborted && std::chrono::steady_clock::now() < wait.deadline) {
    Sleep(wait);
    frame = TakeAnswer(task, wait);
  }
  if (!frame) GiveUp(task, wait);
  TaskWait** link = &registry.waits;
  while (*link != &wait) link = &(*link)->next;
  *link = wait.next;
  task.wait = nullptr;
  return frame;
}

bool SameProcess(CProcID known, CProcID asked) {
  if (known == CProcID()) return true;
  if (known.Number() != asked.Number()) return false;
  return known.Handle() == asked.Handle() || known.IsAnyInstance() || asked.IsAnyInstance();
}

bool AwaitsSn(const TaskWait& wait, std::uint32_t sn) VELA_REQUIRES(tasksLock) {
  if (wait.sn != 0) return wait.sn == sn;
  const auto& drawn = wait.task.drawn;
  return std::find(drawn.begin(), drawn.end(), sn) != drawn.end();
}

bool Answers(const VelaCmdMSG& frame, const ServedRequest& served) {
  return served.active && frame.sn == served.sn && frame.dstTaskId == served.taskId &&
         CProcID(frame.dstProcId, frame.dstHandle) == served.source;
}

// The request that the frame answers: of the current task, or of the task that the frame names as its
// sender (helper threads of a handler).
ServedRequest* ServedBy(const VelaCmdMSG& frame) VELA_REQUIRES(tasksLock) {
  if (VelaTask* current = VelaGetCurrentTask()) {
    ServedRequest& served = VelaTaskAccess::Of(*current).served;
    if (Answers(frame, served)) return &served;
  }
  TaskState* sender = TheRegistry().live[frame.srcTaskId];
  return sender != nullptr && Answers(frame, sender->served) ? &sender->served : nullptr;
}

}  // namespace

TaskState::TaskState(const char* taskName, std::uint8_t taskAttribute)
    : name(taskName == nullptr ? "" : taskName), attribute(taskAttribute) {
  MutexLock lock(tasksLock);
  Enter(*this);
}

std::uint32_t NextMsgSn() {
  static std::atomic<std::uint32_t> last{0};
  std::uint32_t sn = 0;
  while (sn == 0) sn = last.fetch_add(1, std::memory_order_relaxed) + 1;
  return sn;
}

std::uint32_t SynRecvFrom(VelaTask& task, std::uint32_t sn, CProcID process, int timeOut, VelaMsgPtr& msg) {
  msg = Await(VelaTaskAccess::Of(task), sn, process, timeOut);
  return msg ? 0 : VELA_ERR_NO_ANSWER;
}

bool ExtendWait(std::uint32_t sn, CProcID process, int seconds) {
  MutexLock lock(tasksLock);
  for (TaskWait* wait = TheRegistry().waits; wait != nullptr; wait = wait->next) {
    if (!AwaitsSn(*wait, sn) || !SameProcess(wait->process, process)) continue;
    wait->deadline = std::chrono::steady_clock::now() + ScaledSeconds(seconds);
    wait->wake->Call();
    return true;
  }
  return false;
}

void AbortAllWaits() {
  MutexLock lock(tasksLock);
  TheRegistry().aborted = true;
  for (TaskWait* wait = TheRegistry().waits; wait != nullptr; wait = wait->next) wait->wake->Call();
}

void AllowWaits() {
  MutexLock lock(tasksLock);
  TheRegistry().aborted = false;
}

bool DeliverAnswer(VelaMsgPtr frame) {
  const std::uint32_t sn = frame->sn;
  std::shared_ptr<WakeUp> wake;
  {
    MutexLock lock(tasksLock);
    TaskState* task = TheRegistry().live[frame->dstTaskId];
    if (task == nullptr || std::erase(task->drawn, sn) == 0) return false;
    task->answers.push_back(std::move(frame));  // room was made when the number was drawn
    TaskWait* const wait = task->wait;
    if (wait != nullptr && Accepts(*wait, *task->answers.back()) && !std::exchange(wait->called, true))
      wake = wait->wake;
  }
  if (wake) wake->Call();  // a waiter that runs at once must find the lock free
  return true;
}

void QueueAnswer(VelaTask& task, VelaMsgPtr frame) {
  TaskState& state = VelaTaskAccess::Of(task);
  const std::uint32_t sn = frame->sn;
  MutexLock lock(tasksLock);
  std::erase(state.drawn, sn);
  state.answers.push_back(std::move(frame));
  if (state.wait != nullptr) state.wait->wake->Call();
}

void BeginServing(VelaTask& task, const VelaCmdMSG& request) {
  if (request.kind != VELA_KIND_REQUEST) return;
  MutexLock lock(tasksLock);
  ServedRequest& served = VelaTaskAccess::Of(task).served;
  served.sn = request.sn;
  served.taskId = request.srcTaskId;
  served.source = CProcID(request.srcProcId, request.srcHandle);
  served.active = true;
}

bool EndServing(VelaTask& task) {
  MutexLock lock(tasksLock);
  ServedRequest& served = VelaTaskAccess::Of(task).served;
  served.active = false;
  return served.answered;
}

AnswerClaim ClaimAnswer(const VelaCmdMSG& frame) {
  if (frame.kind != VELA_KIND_RESPONSE) return AnswerClaim::unknown;
  MutexLock lock(tasksLock);
  ServedRequest* served = ServedBy(frame);
  if (served == nullptr) return AnswerClaim::unknown;
  if (served->answered) return AnswerClaim::duplicate;
  served->answered = true;
  return AnswerClaim::claimed;
}

void ReturnClaim(const VelaCmdMSG& frame) {
  MutexLock lock(tasksLock);
  if (ServedRequest* served = ServedBy(frame)) served->answered = false;
}

}  // namespace vela

VelaTask::~VelaTask() {
  vela::MutexLock lock(vela::tasksLock);
  vela::RemoveTimers(*m_impl);
  if (m_impl->id != 0) vela::TheRegistry().live[m_impl->id] = nullptr;
}

std::uint32_t VelaTask::AllocMsgSn() {
  const std::uint32_t sn = vela::NextMsgSn();
  vela::MutexLock lock(vela::tasksLock);
  auto& drawn = m_impl->drawn;
  auto& answers = m_impl->answers;
  try {
    if (drawn.size() == vela::kMaxDrawn) drawn.erase(drawn.begin(), drawn.begin() + vela::kMaxDrawn / 4);
    drawn.push_back(sn);
    const std::size_t room = drawn.size() + answers.size();
    if (answers.capacity() < room) answers.reserve(2 * room);
  } catch (const std::bad_alloc&) {
    std::erase(drawn, sn);  // its answer will be dropped as late
  }
  return sn;
}

std::uint32_t VelaTask::VelaSynRecv(std::uint32_t /*cmdCode*/, int timeOut, VelaMsgPtr& msg,
                                    std::uint32_t& status) {
  const std::uint32_t code = vela::SynRecvFrom(*this, 0, CProcID(), timeOut, msg);
  status = msg ? msg->status : 0;
  return code;
}

std::uint32_t VelaTask::VelaSynRecvSn(std::uint32_t sn, int timeOut, VelaMsgPtr& msg) {
  return vela::SynRecvFrom(*this, sn, CProcID(), timeOut, msg);
}
