#include "util/basicutil/tecommonerror.h"

#include <algorithm>
#include <utility>

#include "platform/os/os_types.h"
#include "platform/os/singleton.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/common.h"
#include "util/basicutil/tecommonerror_internal.h"

namespace NSTE_util {

namespace {

constexpr const char* UNIT = "tecommonerror";

vela::SingletonSlot<TEOperErrorLogIF> g_slot;

const TECmdMsg* CurrentRequest() {
  const auto* task = dynamic_cast<VelaGnlTask*>(VelaGetCurrentTask());
  return task != nullptr ? task->GetCurReqMsg() : nullptr;
}

std::optional<ErrRequest> CurrentErrRequest() {
  const TECmdMsg* request = CurrentRequest();
  if (request == nullptr) return std::nullopt;
  const VelaCmdMSG& header = request->Header();
  return ErrRequest{VelaGetCurrentTask()->GetTaskId(), header.cmdCode, header.sn, header.clientNo,
                    CProcID(header.srcProcId, header.srcHandle).Value()};
}

void ReportTwice() {
  Check(false, UNIT, "false");
  TETrace("Use the wrong frame,  register repeatedly. Orientation is needed!\n");
}

void ReportLeftOpen(const ErrFrame& left) {
  GetDefaultDebugInterface().PrintF(
      1, "The error frame of request 0x%x, client %u, was left open: %zu errors are dropped\n",
      left.m_request->cmdCode, left.m_request->clientNo, left.Errors().size() + left.Pending());
}

// What the frame holds of a request before `now`, taken out of it; nothing when it is not left open.
std::optional<ErrFrame> TakeLeftOpen(ErrFrame& frame, const std::optional<ErrRequest>& now) {
  if (frame.m_bOfContext || !frame.m_request || !now || *frame.m_request == *now) return std::nullopt;
  std::optional<ErrFrame> left = std::exchange(frame, {});
  frame.m_request = now;
  return left;
}

}  // namespace

TEOperErrorLogIF::~TEOperErrorLogIF() = default;

TEOperErrorLogIF* TEOperErrorLogIF::Instance() {
  return g_slot.Instance<TEOperErrorLogImpl>();
}

void TEOperErrorLogIF::Destroy() {
  g_slot.Destroy();
}

std::vector<TEOpenErrFrame> TEOperErrorLogIF::OpenFrames() {
  auto* log = static_cast<TEOperErrorLogImpl*>(g_slot.Peek());
  return log != nullptr ? log->Snapshot() : std::vector<TEOpenErrFrame>();
}

TEOperErrorLogGuard::TEOperErrorLogGuard() {
  if (TEOperErrorLogIF* log = TEOperErrorLogIF::Instance()) log->RegisterFrame();
}

TEOperErrorLogGuard::~TEOperErrorLogGuard() {
  if (TEOperErrorLogIF* log = g_slot.Peek()) log->UnregisterFrame();
}

bool OpenContextErrFrame() {
  auto* log = static_cast<TEOperErrorLogImpl*>(TEOperErrorLogIF::Instance());
  return log != nullptr && log->OpenContextFrame();
}

void CloseContextErrFrame() {
  if (auto* log = static_cast<TEOperErrorLogImpl*>(g_slot.Peek())) log->CloseContextFrame();
}

TEOperErrorLogImpl::~TEOperErrorLogImpl() {
  TEOperErrorLogImpl::ClearAll();
}

ErrFrame* TEOperErrorLogImpl::Find() {
  const auto it = m_frames.find(GetCurrentThreadId());
  return it != m_frames.end() ? &it->second : nullptr;
}

bool TEOperErrorLogImpl::RegisterFrame() {
  return WithMemory([this] {
    const std::optional<ErrRequest> now = CurrentErrRequest();
    std::optional<ErrFrame> left;
    {
      const vela::MutexLock lock(m_mutex);
      const auto [it, isNew] = m_frames.try_emplace(GetCurrentThreadId());
      ErrFrame& frame = it->second;
      if (isNew || (frame.m_bOfContext && frame.IsUntouched())) {
        frame.m_bOfContext = false;
        frame.m_request = now;
        return true;
      }
      left = TakeLeftOpen(frame, now);
    }
    if (left) ReportLeftOpen(*left);
    ReportTwice();
    return false;
  });
}

bool TEOperErrorLogImpl::OpenContextFrame() {
  return WithMemory([this] {
    const std::optional<ErrRequest> now = CurrentErrRequest();
    std::optional<ErrFrame> left;
    {
      const vela::MutexLock lock(m_mutex);
      const auto [it, isNew] = m_frames.try_emplace(GetCurrentThreadId());
      ErrFrame& frame = it->second;
      if (!isNew) left = TakeLeftOpen(frame, now);
      if (!isNew && !left) return false;
      frame.m_bOfContext = true;
      frame.m_request = now;
    }
    if (!left) return true;
    ReportLeftOpen(*left);
    ReportTwice();
    return true;
  });
}

void TEOperErrorLogImpl::CloseContextFrame() {
  Frames::node_type closed;  // freed behind the lock, as below
  const vela::MutexLock lock(m_mutex);
  const ErrFrame* frame = Find();
  if (frame != nullptr && frame->m_bOfContext) closed = m_frames.extract(GetCurrentThreadId());
}

bool TEOperErrorLogImpl::IsRegistered() {
  const vela::MutexLock lock(m_mutex);
  return Find() != nullptr;
}

int TEOperErrorLogImpl::UnregisterFrame() {
  Frames::node_type closed;
  const vela::MutexLock lock(m_mutex);
  closed = m_frames.extract(GetCurrentThreadId());
  return closed.empty() ? -1 : 0;
}

void TEOperErrorLogImpl::ClearAll() {
  Frames closed;
  const vela::MutexLock lock(m_mutex);
  closed.swap(m_frames);
}

bool TEOperErrorLogImpl::Add(TESingleResult&& result, const std::list<TEOperObject>& objects,
                             const std::string& position) {
  ErrList one;
  one.push_back({std::move(result), objects, position});
  const vela::MutexLock lock(m_mutex);
  if (ErrFrame* frame = Find()) frame->Add(std::move(one));
  return true;
}

bool TEOperErrorLogImpl::AddErr(const std::list<TEOperObject>& objects, unsigned long code,
                                const std::string& reason, const std::string& position) {
  return WithMemory([&] { return Add({code, reason}, objects, position); });
}

bool TEOperErrorLogImpl::AddErr(const TESingleReturn& result, const std::string& position) {
  return WithMemory([&] {
    const std::string reason = result.GetReason();
    return reason.empty() ? AddErr(static_cast<unsigned long>(result), position) : AddErr(reason, position);
  });
}

bool TEOperErrorLogImpl::AddErr(const std::string& errorText, const std::string& position) {
  return WithMemory([&] { return Add(TESingleResult(errorText), {}, position); });
}

bool TEOperErrorLogImpl::AddErr(unsigned long code, const std::string& position) {
  return WithMemory([&] { return Add(TESingleResult(code), {}, position); });
}

void TEOperErrorLogImpl::SetErr(const TESingleReturn& result) {
  const bool isOpen = WithMemory([&] {
    ErrList one;
    one.push_back({{result, result.GetReason()}, {}, {}});
    const vela::MutexLock lock(m_mutex);
    ErrFrame* frame = Find();
    if (frame == nullptr) return false;
    frame->m_code = vela::Cut32(result);
    frame->AddUntested(std::move(one));
    return true;
  });
  Check(isOpen, UNIT, "false");
}

int TEOperErrorLogImpl::SetErrCode(unsigned long code) {
  const vela::MutexLock lock(m_mutex);
  ErrFrame* frame = Find();
  if (frame == nullptr) return -1;
  frame->m_code = vela::Cut32(code);
  return 0;
}

void TEOperErrorLogImpl::AddErrTransStart() {
  WithMemory([this] {
    std::size_t depth = 0;
    {
      const vela::MutexLock lock(m_mutex);
      if (ErrFrame* frame = Find()) depth = frame->Start();
    }
    TETrace("AddErrTransStart: %d \n", static_cast<int>(depth));
    return true;
  });
}

template <class Close>
int TEOperErrorLogImpl::CloseTransaction(const char* traced, const Close& close) {
  std::size_t depth = 0;
  ErrList dropped;  // freed behind the lock
  {
    const vela::MutexLock lock(m_mutex);
    ErrFrame* frame = Find();
    if (frame != nullptr) depth = frame->Depth();
    if (depth != 0) dropped = close(*frame);
  }
  Check(depth != 0, UNIT, "false");
  TETrace(traced, static_cast<int>(depth));
  return depth != 0 ? 0 : -1;
}

int TEOperErrorLogImpl::CommitAddErr() {
  return CloseTransaction("CommitAddErr: %d \n", [](ErrFrame& frame) {
    frame.Commit();
    return ErrList();
  });
}

int TEOperErrorLogImpl::RollbackAddErr() {
  return CloseTransaction("RollbackAddErr: %d \n", [](ErrFrame& frame) { return frame.Rollback(); });
}

TEOperErrorLogImpl::Collected TEOperErrorLogImpl::Collect() {
  Collected collected;
  {
    const vela::MutexLock lock(m_mutex);
    if (const ErrFrame* frame = Find()) collected = {frame->Errors(), frame->m_code};
  }
  DropGenericErrors(collected.errors);
  return collected;
}

void TEOperErrorLogImpl::ForEachErr(void* context, const std::string& prefix, TEErrCallback callback) {
  if (callback == nullptr) return;
  const TECmdMsg* request = CurrentRequest();
  const std::uint32_t cmdCode = request != nullptr ? request->Header().cmdCode : 0;
  const std::uint32_t secondWord = request != nullptr ? request->Header().clientNo : 0;
  WithMemory([&] {
    for (const ErrEntry& entry : Collect().errors)
      if (!entry.IsText())
        callback(cmdCode, secondWord, context, entry.result.m_nErrorCode, prefix + entry.position);
    return true;
  });
}

void TEOperErrorLogImpl::ForEachErr(void* context, TEErrCallback callback) {
  ForEachErr(context, {}, callback);
}

std::uint32_t TEOperErrorLogImpl::Clear() {
  ErrList dropped;
  const vela::MutexLock lock(m_mutex);
  ErrFrame* frame = Find();
  if (frame == nullptr) return 0;
  const std::uint32_t code = frame->m_code;
  dropped = frame->TakeErrors();
  return code;
}

void TEOperErrorLogImpl::ClearErr() {
  Clear();
}

unsigned long TEOperErrorLogImpl::GetErrCodeAndClear() {
  return Clear();
}

namespace {

std::vector<TEOpenErr> FirstErrors(const ErrList& errors) {
  constexpr std::size_t most = 50;
  std::vector<TEOpenErr> first;
  for (const ErrEntry& error : errors) {
    if (first.size() == most) break;
    first.push_back({error.result.m_nErrorCode, error.result.m_strText, error.position});
  }
  return first;
}

}  // namespace

std::vector<TEOpenErrFrame> TEOperErrorLogImpl::Snapshot() {
  std::vector<TEOpenErrFrame> frames;
  WithMemory([&] {
    const vela::MutexLock lock(m_mutex);
    for (const auto& [threadId, frame] : m_frames)
      frames.push_back({threadId, frame.m_code, frame.Errors().size(), frame.Pending(), frame.Depth(),
                        FirstErrors(frame.Errors())});
    return true;
  });
  std::sort(frames.begin(), frames.end(),
            [](const auto& left, const auto& right) { return left.m_nThreadID < right.m_nThreadID; });
  return frames;
}

}  // namespace NSTE_util
