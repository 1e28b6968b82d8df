#pragma once
#include <chrono>
#include <cstdint>

namespace NSTE_util {
class TETaskContext;
}

namespace velad {

enum class RequestEnd { none, canceled, stopping, timeOut, clientGone };

// The codes that a kind of request has for its early ends.
struct EndCodes {
  std::uint32_t canceled;
  std::uint32_t stopping;
  std::uint32_t timeOut;
  std::uint32_t clientGone;
};
std::uint32_t CodeOf(RequestEnd end, const EndCodes& codes);  // 0: none

// Tells the handler of a long request whether to go on. For the thread of the request.
class RequestWatch {
 public:
  // The context, with its mission set, must outlive the watch.
  explicit RequestWatch(const NSTE_util::TETaskContext& context) : m_context(context) {}

  // Why it is to end; cheap enough for every step. The client is looked at twice a second.
  RequestEnd Ended();
  // Whether nobody waits for the answer any more: the client has ended, or its address is another process's
  // now. Looks at once.
  bool LookAtClient();
  // Sleeps; comes back early when the request is to end.
  void PauseUntil(std::chrono::steady_clock::time_point end);

 private:
  bool ClientGone();

  const NSTE_util::TETaskContext& m_context;
  std::chrono::steady_clock::time_point m_nextLook;  // at the client
  std::uint64_t m_life = 0;                          // of the client; 0: not seen yet
  bool m_gone = false;
};

}  // namespace velad
