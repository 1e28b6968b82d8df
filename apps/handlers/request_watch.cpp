#include "apps/handlers/request_watch.h"

#include <algorithm>
#include <thread>

#include "platform/bus/bus.h"
#include "platform/message/te_cmd_msg.h"
#include "platform/task/vela_app_mgr.h"
#include "util/basicutil/taskcontext.h"

namespace velad {
namespace {

constexpr std::chrono::milliseconds kLookAtClient{500};
constexpr std::chrono::microseconds kLongestNap{10000};  // between two looks at the cancel state

}  // namespace

std::uint32_t CodeOf(RequestEnd end, const EndCodes& codes) {
  switch (end) {
    case RequestEnd::none:
      return 0;
    case RequestEnd::canceled:
      break;
    case RequestEnd::stopping:
      return codes.stopping;
    case RequestEnd::timeOut:
      return codes.timeOut;
    case RequestEnd::clientGone:
      return codes.clientGone;
  }
  return codes.canceled;
}

RequestEnd RequestWatch::Ended() {
  if (m_context.IsCanceled()) return VelaIsExit() ? RequestEnd::stopping : RequestEnd::canceled;
  if (m_context.IsTimeOut()) return RequestEnd::timeOut;
  return ClientGone() ? RequestEnd::clientGone : RequestEnd::none;
}

bool RequestWatch::ClientGone() {
  const auto now = std::chrono::steady_clock::now();
  if (now < m_nextLook) return m_gone;
  m_nextLook = now + kLookAtClient;
  return LookAtClient();
}

bool RequestWatch::LookAtClient() {
  const TECmdMsg* request = m_context.GetReqMsg();
  const vela::Bus* bus = VelaAppMgr::Instance()->GetBus();
  if (m_gone || request == nullptr || bus == nullptr) return m_gone;
  const VelaCmdMSG& header = request->Header();
  const std::uint64_t life = bus->LifeOf(CProcID(header.srcProcId, header.srcHandle));
  if (m_life == 0) m_life = life;
  m_gone = life == 0 || life != m_life;
  return m_gone;
}

void RequestWatch::PauseUntil(std::chrono::steady_clock::time_point end) {
  while (Ended() == RequestEnd::none) {
    const auto left = end - std::chrono::steady_clock::now();
    if (left <= left.zero()) return;
    std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(left, kLongestNap));
  }
}

}  // namespace velad
