#pragma once
#include <array>
#include <atomic>
#include <memory>
#include <unordered_map>
#include <vector>

#include "platform/bus/bus.h"
#include "platform/os/mutex.h"
#include "platform/task/task_mgr_impl.h"
#include "platform/task/task_timer.h"
#include "platform/task/vela_app_mgr.h"

// The address in force (Start or SetProcessAddress).
struct VelaOwnAddress {
  CProcID process;
  std::uint16_t desk = 0;
};
VelaOwnAddress VelaGetOwnAddress();
void VelaSetOwnAddress(const VelaOwnAddress& address);

// 0 when the command code has no route.
std::uint8_t VelaFindRoute(std::uint32_t cmdCode);

class VelaAppMgrImpl final : public VelaAppMgr {
 public:
  VelaAppMgrImpl();
  ~VelaAppMgrImpl() override;

  int Start(std::unique_ptr<vela::Bus> bus, CProcID self, std::uint16_t desk) override;
  bool Stop(int seconds) override;
  VelaTaskMgr* CreateTaskMgr(const VelaTaskMgrConfig& config) override;
  VelaTaskMgr* FindTaskMgrByID(std::uint8_t id) override;
  std::vector<VelaTaskMgr*> TaskMgrs() override;
  int VelaOutSendMsg(VelaCmdMSG* msg, std::uint8_t module) override;
  std::uint32_t LastSendError() const override;
  VelaAppStats Stats() const override;
  vela::Bus* GetBus() override;

  // Sends; 0 or a code of vela_error.h.
  std::uint32_t Send(VelaMsgPtr frame, std::uint8_t module);
  // Makes the request its own answer, so that no memory is needed, and sends it. Frames that nobody waits
  // for are dropped and the code is the result.
  std::uint32_t Refuse(VelaMsgPtr frame, std::uint32_t code);
  // Counts what is refused because it breaks a rule, and refuses it.
  std::uint32_t RefuseBroken(VelaMsgPtr frame, std::uint32_t code);

  // Room for a request in the cap on bytes in flight; false (and counted) when there is none.
  bool ReserveBytes(std::size_t bytes);
  void ReleaseBytes(std::size_t bytes);

 private:
  enum class State { made, running, stopping, stopped };

  void OnBusFrame(VelaMsgPtr frame);
  bool IsOwn(CProcID address) const;
  std::uint32_t Route(VelaMsgPtr frame, std::uint8_t module);
  // Serves a frame in this process. `module`, when not 0, goes before the routes of command codes.
  std::uint32_t Dispatch(VelaMsgPtr frame, std::uint8_t module);
  vela::TaskMgrImpl* ManagerFor(const VelaCmdMSG& frame, std::uint8_t module,
                                const TETaskHandlerStru& handler) const;
  vela::TaskMgrImpl* Manager(std::uint8_t id) const { return m_managers[id].load(std::memory_order_acquire); }
  bool OpenBus(CProcID self);
  bool StopManagers(int seconds);

  const std::uint64_t m_maxBytes;
  std::atomic<State> m_state{State::made};
  vela::Mutex m_lock;  // of changes of m_state, m_bus and m_managers
  vela::CondVar m_stopped;
  bool m_allEnded VELA_GUARDED_BY(m_lock) = true;
  bool m_ownAddressSet VELA_GUARDED_BY(m_lock) = false;
  bool m_exitFlagSet VELA_GUARDED_BY(m_lock) = false;
  std::unique_ptr<vela::Bus> m_busOwner;
  std::atomic<vela::Bus*> m_bus{nullptr};
  std::array<std::atomic<vela::TaskMgrImpl*>, 256> m_managers{};
  std::unique_ptr<vela::TimerThread> m_timers VELA_GUARDED_BY(m_lock);

  std::atomic<std::uint64_t> m_bytes{0};
  std::atomic<std::uint64_t> m_lateAnswers{0};
  std::atomic<std::uint64_t> m_refusedFrames{0};
  std::atomic<std::uint64_t> m_refusedBytes{0};
  std::atomic<std::uint64_t> m_sendErrors{0};
};
