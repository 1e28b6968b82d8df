#include "platform/task/vela_app_mgr.h"

#include <cstdio>
#include <cstring>
#include <exception>

#include "platform/config/vela_config.h"
#include "platform/log/log_process.h"
#include "platform/os/clock.h"
#include "platform/os/singleton.h"
#include "platform/os/vela_os.h"
#include "platform/task/app_mgr_impl.h"
#include "platform/task/capture_frame.h"
#include "platform/task/request_runner.h"
#include "platform/task/task_internal.h"
#include "platform/task/vela_error.h"

namespace {

constexpr int kDestroyWait = 5;
constexpr std::uint64_t kDefaultMaxBytes = std::uint64_t{256} << 20;

vela::SingletonSlot<VelaAppMgr> g_slot;
thread_local std::uint32_t t_sendError = 0;

std::uint64_t ConfiguredMaxBytes() {
  int bytes = 0;
  const std::string file = vela::InstallRoot() + "etc/conf/vela.cfg";
  if (VelaGetRegInt(file.c_str(), "MaxBytesInFlight", bytes) != 1 || bytes <= 0) return kDefaultMaxBytes;
  return static_cast<std::uint64_t>(bytes);
}

std::uint32_t ErrorOf(vela::BusResult result) {
  switch (result) {
    case vela::BusResult::ok:
      return 0;
    case vela::BusResult::noReceiver:
      return VELA_ERR_NO_RECEIVER;
    case vela::BusResult::full:
      return VELA_ERR_OVERLOAD;
    case vela::BusResult::tooLarge:
      return VELA_ERR_TOO_LARGE;
    case vela::BusResult::closed:
      return VELA_ERR_STOPPING;
    case vela::BusResult::taken:
    case vela::BusResult::failed:
      break;
  }
  return VELA_ERR_GENERAL;
}

const char* TextOf(vela::BusResult result) {
  if (result == vela::BusResult::taken) return "another live process holds the address";
  return "the bus cannot be opened";
}

void TraceBroken(const VelaCmdMSG& frame, std::uint32_t code) {
  char text[160];
  std::snprintf(text, sizeof text,
                "A frame from %u/%u was refused with 0x%08X: format %u, kind %u, command 0x%X",
                unsigned{frame.srcProcId}, unsigned{frame.srcHandle}, code, unsigned{frame.format},
                unsigned{frame.kind}, unsigned{frame.cmdCode});
  LogProcess::Info(text);
}

bool IsServed(const VelaCmdMSG& frame) {
  return frame.kind == VELA_KIND_REQUEST || frame.kind == VELA_KIND_COMMAND ||
         frame.kind == VELA_KIND_PROGRESS;
}

}  // namespace

VelaAppMgr::~VelaAppMgr() = default;

VelaAppMgr* VelaAppMgr::Instance() {
  return g_slot.Instance<VelaAppMgrImpl>();
}

void VelaAppMgr::Destroy() {
  VelaAppMgr* app = g_slot.Peek();
  if (app != nullptr && app->Stop(kDestroyWait)) g_slot.Destroy();
}

VelaAppMgrImpl::VelaAppMgrImpl() : m_maxBytes(ConfiguredMaxBytes()) {}

VelaAppMgrImpl::~VelaAppMgrImpl() {
  for (auto& manager : m_managers) delete manager.load();
  if (m_ownAddressSet) VelaSetOwnAddress({});
  if (m_exitFlagSet) VelaSetExitFlag(false);
  vela::AllowWaits();
}

int VelaAppMgrImpl::Start(std::unique_ptr<vela::Bus> bus, CProcID self, std::uint16_t desk) {
  vela::MutexLock lock(m_lock);
  if (m_state != State::made || !bus || self.Number() == 0 || self.IsAnyInstance()) {
    LogProcess::Error(
        "The process cannot start at " + VelaAddressText(self) + ": " +
        (m_state != State::made ? "it was started before" : "no bus or no address of one process"));
    return -1;
  }
  const VelaOwnAddress previous = VelaGetOwnAddress();
  VelaSetOwnAddress({self, desk});
  vela::AllowWaits();
  m_busOwner = std::move(bus);
  m_bus = m_busOwner.get();  // before the first frame, which may need an answer
  m_state = State::running;
  const vela::BusResult result =
      m_busOwner->Open(self, [this](VelaMsgPtr frame) { OnBusFrame(std::move(frame)); });
  if (result == vela::BusResult::ok) {
    m_ownAddressSet = true;
    return 0;
  }
  m_state = State::made;
  m_bus = nullptr;
  VelaSetOwnAddress(previous);
  LogProcess::Error("The process cannot start at " + VelaAddressText(self) + ": " + TextOf(result));
  return -1;
}

bool VelaAppMgrImpl::Stop(int seconds) {
  {
    vela::MutexLock lock(m_lock);
    while (m_state == State::stopping) m_stopped.Wait(m_lock);
    if (m_state == State::stopped) return m_allEnded;
    m_state = State::stopping;
    m_exitFlagSet = !VelaIsExit();
  }
  VelaSetExitFlag();
  const bool allEnded = StopManagers(seconds);
  if (m_busOwner) m_busOwner->Close();
  std::unique_ptr<vela::TimerThread> timers;
  {
    vela::MutexLock lock(m_lock);
    timers = std::move(m_timers);
    m_allEnded = allEnded;
    m_state = State::stopped;
  }
  m_stopped.NotifyAll();
  return allEnded;
}

bool VelaAppMgrImpl::StopManagers(int seconds) {
  const auto deadline = std::chrono::steady_clock::now() + vela::ScaledSeconds(seconds);
  for (auto& manager : m_managers) {
    if (manager != nullptr) manager.load()->BeginStop();
  }
  vela::AbortAllWaits();  // now that no worker takes another request
  bool allEnded = true;
  for (auto& manager : m_managers) {
    if (manager != nullptr && !manager.load()->AwaitWorkers(deadline)) allEnded = false;
  }
  return allEnded;
}

VelaTaskMgr* VelaAppMgrImpl::CreateTaskMgr(const VelaTaskMgrConfig& config) {
  vela::MutexLock lock(m_lock);
  if (config.id == 0 || Manager(config.id) != nullptr || m_state >= State::stopping) return nullptr;
  try {
    if (!m_timers) m_timers = std::make_unique<vela::TimerThread>();
    auto manager = std::make_unique<vela::TaskMgrImpl>(*this, config);
    m_managers[config.id].store(manager.get(), std::memory_order_release);
    return manager.release();
  } catch (const std::exception& error) {
    LogProcess::Error("Task manager " + config.name + " cannot be made: " + error.what());
    return nullptr;
  }
}

VelaTaskMgr* VelaAppMgrImpl::FindTaskMgrByID(std::uint8_t id) {
  return Manager(id);
}

std::vector<VelaTaskMgr*> VelaAppMgrImpl::TaskMgrs() {
  std::vector<VelaTaskMgr*> managers;
  for (auto& manager : m_managers) {
    if (manager != nullptr) managers.push_back(manager.load());
  }
  return managers;
}

VelaAppStats VelaAppMgrImpl::Stats() const {
  VelaAppStats stats;
  stats.lateAnswers = m_lateAnswers.load(std::memory_order_relaxed);
  stats.refusedFrames = m_refusedFrames.load(std::memory_order_relaxed);
  stats.refusedBytes = m_refusedBytes.load(std::memory_order_relaxed);
  stats.sendErrors = m_sendErrors.load(std::memory_order_relaxed);
  return stats;
}

vela::Bus* VelaAppMgrImpl::GetBus() {
  return m_state == State::running ? m_bus.load() : nullptr;
}

int VelaAppMgrImpl::VelaOutSendMsg(VelaCmdMSG* msg, std::uint8_t module) {
  try {
    t_sendError = msg == nullptr ? VELA_ERR_GENERAL : Send(VelaMsgPtr(msg), module);
  } catch (const std::exception&) {
    t_sendError = VELA_ERR_MEMORY;
  }
  return t_sendError == 0 ? 1 : 0;
}

std::uint32_t VelaAppMgrImpl::LastSendError() const {
  return t_sendError;
}

std::uint32_t VelaAppMgrImpl::Send(VelaMsgPtr frame, std::uint8_t module) {
  const vela::AnswerClaim claim = vela::ClaimAnswer(*frame);
  if (claim == vela::AnswerClaim::duplicate) {
    LogProcess::Error("A second answer to one request was dropped");
    return VELA_ERR_GENERAL;
  }
  VelaCmdMSG header{};
  std::memcpy(&header, frame.get(), VELA_MSG_HEADER);
  const std::uint32_t code = Route(std::move(frame), module);
  if (code == 0) return 0;
  m_sendErrors.fetch_add(1, std::memory_order_relaxed);
  if (claim == vela::AnswerClaim::claimed) vela::ReturnClaim(header);
  return code;
}

bool VelaAppMgrImpl::IsOwn(CProcID address) const {
  const CProcID own = VelaGetOwnAddress().process;
  if (address.Number() != own.Number()) return false;
  return address.Handle() == own.Handle() || (address.IsAnyInstance() && m_bus == nullptr);
}

std::uint32_t VelaAppMgrImpl::Route(VelaMsgPtr frame, std::uint8_t module) {
  switch (vela::CaptureFrame(*frame, module)) {
    case vela::FrameFate::taken:
      return 0;
    case vela::FrameFate::refused:
      return VELA_ERR_GENERAL;
    case vela::FrameFate::route:
      break;
  }
  if (IsOwn(CProcID(frame->dstProcId, frame->dstHandle))) return Dispatch(std::move(frame), module);
  vela::Bus* bus = m_bus.load(std::memory_order_acquire);
  return bus == nullptr ? VELA_ERR_NO_RECEIVER : ErrorOf(bus->Send(*frame));
}

void VelaAppMgrImpl::OnBusFrame(VelaMsgPtr frame) {
  try {
    if (frame) Dispatch(std::move(frame), 0);
  } catch (const std::exception&) {  // memory: the bus must go on
    m_refusedFrames.fetch_add(1, std::memory_order_relaxed);
  }
}

std::uint32_t VelaAppMgrImpl::Dispatch(VelaMsgPtr frame, std::uint8_t module) {
  const State state = m_state.load(std::memory_order_acquire);
  if (state == State::stopped) return VELA_ERR_STOPPING;
  if (frame->format != VELA_MSG_FORMAT) return RefuseBroken(std::move(frame), VELA_ERR_GENERAL);
  if (frame->kind == VELA_KIND_RESPONSE) {
    if (!vela::DeliverAnswer(std::move(frame))) m_lateAnswers.fetch_add(1, std::memory_order_relaxed);
    return 0;
  }
  if (!IsServed(*frame)) return RefuseBroken(std::move(frame), VELA_ERR_GENERAL);
  if (state == State::stopping) return Refuse(std::move(frame), VELA_ERR_STOPPING);
  const TETaskHandlerStru* handler = TETaskCreator::Instance()->Find(frame->cmdCode);
  vela::TaskMgrImpl* manager = handler == nullptr ? nullptr : ManagerFor(*frame, module, *handler);
  if (manager == nullptr) return RefuseBroken(std::move(frame), VELA_ERR_NO_HANDLER);
  return manager->Post(std::move(frame), handler);
}

vela::TaskMgrImpl* VelaAppMgrImpl::ManagerFor(const VelaCmdMSG& frame, std::uint8_t module,
                                              const TETaskHandlerStru& handler) const {
  if (vela::TaskMgrImpl* manager = Manager(module)) return manager;
  if (vela::TaskMgrImpl* manager = Manager(VelaFindRoute(frame.cmdCode))) return manager;
  if (vela::TaskMgrImpl* manager = Manager(frame.module)) return manager;
  return Manager(handler.taskMgrId);
}

std::uint32_t VelaAppMgrImpl::RefuseBroken(VelaMsgPtr frame, std::uint32_t code) {
  m_refusedFrames.fetch_add(1, std::memory_order_relaxed);
  if (LogProcess::isInfoEnabled()) TraceBroken(*frame, code);
  return Refuse(std::move(frame), code);
}

std::uint32_t VelaAppMgrImpl::Refuse(VelaMsgPtr frame, std::uint32_t code) {
  if (frame->kind != VELA_KIND_REQUEST) return code;
  vela::MakeErrorAnswer(*frame, code);
  Send(std::move(frame), 0);
  return 0;
}

bool VelaAppMgrImpl::ReserveBytes(std::size_t bytes) {
  if (m_bytes.fetch_add(bytes, std::memory_order_relaxed) + bytes <= m_maxBytes) return true;
  ReleaseBytes(bytes);
  m_refusedBytes.fetch_add(1, std::memory_order_relaxed);
  return false;
}

void VelaAppMgrImpl::ReleaseBytes(std::size_t bytes) {
  m_bytes.fetch_sub(bytes, std::memory_order_relaxed);
}
