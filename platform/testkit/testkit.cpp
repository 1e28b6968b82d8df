#include "platform/testkit/testkit.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/asncmd/asn_helper.h"
#include "platform/log/log_capture.h"
#include "platform/os/clock.h"
#include "platform/os/mutex.h"
#include "platform/task/frame_capture.h"
#include "platform/task/task_internal.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task.h"
#include "platform/text/vela_msg.h"

namespace testkit {
namespace {

[[noreturn]] void Fail(const char* why) {
  std::fprintf(stderr, "test kit: %s\n", why);
  std::abort();
}

// What a capture has collected. Shared with the hook, a call of which may outlive the guard.
template <class T>
class Collected {
 public:
  void Add(T item) {
    const vela::MutexLock lock(m_lock);
    m_items.push_back(std::move(item));
  }
  std::vector<T> Items() const {
    const vela::MutexLock lock(m_lock);
    return m_items;
  }
  void Clear() {
    const vela::MutexLock lock(m_lock);
    m_items.clear();
  }

 private:
  mutable vela::Mutex m_lock;
  std::vector<T> m_items VELA_GUARDED_BY(m_lock);
};

Frame CopyOf(const VelaCmdMSG& frame, std::uint8_t module) {
  Frame copy{};
  std::memcpy(&copy.header, &frame, VELA_MSG_HEADER);
  copy.payload.assign(reinterpret_cast<const char*>(frame.data), VelaPayloadLength(frame));
  copy.module = module;
  return copy;
}

vela::WallTime WallTimeOf(std::int64_t seconds, std::int32_t microseconds) {
  return vela::WallTime(std::chrono::seconds(seconds) + std::chrono::microseconds(microseconds));
}

}  // namespace

VelaMsgPtr MakeFrame(const Request& request) {
  VelaMsgPtr frame(VelaAllocMsg(VELA_MSG_HEADER + request.payload.size()));
  if (!frame) Fail("no memory for a frame");
  frame->clientNo = request.clientNo;
  frame->srcDesk = request.srcDesk;
  frame->srcHandle = request.srcHandle;
  frame->srcProcId = request.srcProcId;
  frame->srcTaskId = request.srcTaskId;
  frame->dstDesk = VelaGetDeskId();
  frame->dstHandle = VelaGetProcHandle();
  frame->dstProcId = VelaGetProcId();
  frame->cmdCode = request.cmdCode;
  frame->kind = request.kind;
  frame->subId = request.subId;
  frame->length = static_cast<std::uint32_t>(request.payload.size()) + 2;
  frame->attribute = request.attribute;
  frame->module = request.module;
  VelaMsgSetSn(frame.get(), request.sn);
  std::copy(request.payload.begin(), request.payload.end(), frame->data);
  return frame;
}

std::string Encoded(const AsnType& msg) {
  unsigned char* buffer = nullptr;
  std::size_t size = 0;
  if (CAsnHelper::Encode(msg, buffer, size) != 0) Fail("a message cannot be encoded");
  std::string bytes(reinterpret_cast<const char*>(buffer), size);
  CAsnHelper::ReleaseAsnBuf(buffer);
  return bytes;
}

struct CurrentTask::Impl {
  VelaGnlTask task{"TestTask"};
  VelaCurrentTaskScope current{&task};
};

CurrentTask::CurrentTask(const Request& request) : m_impl(std::make_unique<Impl>()) {
  m_impl->task.SetCurReqMsg(std::make_unique<TECmdMsg>(MakeFrame(request)));
}

CurrentTask::CurrentTask(NoRequest) : m_impl(std::make_unique<Impl>()) {}

CurrentTask::~CurrentTask() = default;

VelaGnlTask* CurrentTask::get() const {
  return &m_impl->task;
}

void CurrentTask::Deliver(VelaMsgPtr frame) {
  vela::QueueAnswer(m_impl->task, std::move(frame));
}

struct LogCapture::Impl {
  std::shared_ptr<Collected<LogRecord>> records = std::make_shared<Collected<LogRecord>>();
};

LogCapture::LogCapture() : m_impl(std::make_unique<Impl>()) {
  vela::SetLogCapture([records = m_impl->records](std::string_view log, int level, std::string_view text) {
    records->Add({std::string(log), level, std::string(text)});
  });
}

LogCapture::~LogCapture() {
  vela::SetLogCapture({});
}

std::vector<LogRecord> LogCapture::Records() const {
  return m_impl->records->Items();
}

int LogCapture::Count(const std::string& text) const {
  const auto records = Records();
  return static_cast<int>(std::count_if(records.begin(), records.end(), [&](const LogRecord& record) {
    return record.text.find(text) != std::string::npos;
  }));
}

void LogCapture::Clear() {
  m_impl->records->Clear();
}

struct FrameCapture::Impl {
  std::shared_ptr<Collected<Frame>> frames = std::make_shared<Collected<Frame>>();
};

FrameCapture::FrameCapture() : FrameCapture([](const VelaCmdMSG&) { return false; }) {}

FrameCapture::FrameCapture(std::function<bool(const VelaCmdMSG&)> refuse) : m_impl(std::make_unique<Impl>()) {
  vela::SetFrameCapture(
      [frames = m_impl->frames, refuse = std::move(refuse)](const VelaCmdMSG& frame, std::uint8_t module) {
        if (refuse && refuse(frame)) return vela::FrameFate::refused;
        frames->Add(CopyOf(frame, module));
        return vela::FrameFate::taken;
      });
}

FrameCapture::~FrameCapture() {
  vela::SetFrameCapture({});
}

std::vector<Frame> FrameCapture::Frames() const {
  return m_impl->frames->Items();
}

void FrameCapture::Clear() {
  m_impl->frames->Clear();
}

struct Clock::Impl {
  std::shared_ptr<std::atomic<std::int64_t>> microseconds = std::make_shared<std::atomic<std::int64_t>>();
};

Clock::Clock(std::int64_t seconds, std::int32_t microseconds) : m_impl(std::make_unique<Impl>()) {
  Set(seconds, microseconds);
  vela::SetWallClock(
      [now = m_impl->microseconds] { return vela::WallTime(std::chrono::microseconds(now->load())); });
}

Clock::~Clock() {
  vela::SetWallClock({});
}

void Clock::Set(std::int64_t seconds, std::int32_t microseconds) {
  m_impl->microseconds->store(WallTimeOf(seconds, microseconds).time_since_epoch().count());
}

void Clock::Advance(std::chrono::microseconds by) {
  m_impl->microseconds->fetch_add(by.count());
}

Zone::Zone(const std::string& name) : m_previous(vela::ServerZoneName()) {
  if (!vela::SetServerZone(name)) Fail("no such time zone");
}

Zone::~Zone() {
  vela::SetServerZone(m_previous);
}

ZoneFaults::ZoneFaults(unsigned calls) {
  vela::SetZoneFaults(calls);
}

ZoneFaults::~ZoneFaults() {
  vela::SetZoneFaults(0);
}

Language::Language(const std::string& language) : m_previous(VELAcommon::VELAMsg::getLanguage()) {
  VELAcommon::VELAMsg::setLanguage(language);
}

Language::~Language() {
  VELAcommon::VELAMsg::setLanguage(m_previous);
}

OsFaults::OsFaults(std::function<vela::OsFault(vela::OsCall, const char* path)> hook) {
  vela::ServerZoneName();  // a log line may be the first to read the zone: not through the faults
  vela::SetOsFaultHook(std::move(hook));
}

OsFaults::~OsFaults() {
  vela::SetOsFaultHook({});
}

ProcessAddress::ProcessAddress(std::uint16_t number, std::uint16_t handle, std::uint16_t desk)
    : m_number(VelaGetProcId()), m_handle(VelaGetProcHandle()), m_desk(VelaGetDeskId()) {
  vela::SetProcessAddress(number, handle, desk);
}

ProcessAddress::~ProcessAddress() {
  vela::SetProcessAddress(m_number, m_handle, m_desk);
}

}  // namespace testkit
