#include "apps/velactl/server_watch.h"

#include <poll.h>

#include "apps/velactl/client_process.h"
#include "apps/velactl/inbox.h"

namespace velactl {
namespace {

constexpr int kLookMilliseconds = 300;
constexpr int kLooksUntilGone = 4;

}  // namespace

void ServerWatch::Wait(int signals) {
  pollfd sources[] = {{Inbox::Instance().Descriptor(), POLLIN, 0}, {signals, POLLIN, 0}};
  if (poll(sources, 2, kLookMilliseconds) == 0)
    m_missed = ClientProcess::IsAlive(m_server) ? 0 : m_missed + 1;
}

bool ServerWatch::IsGone() const {
  return m_missed >= kLooksUntilGone;
}

}  // namespace velactl
