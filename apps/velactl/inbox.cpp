#include "apps/velactl/inbox.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

namespace velactl {

Inbox& Inbox::Instance() {
  static Inbox* inbox = new Inbox;  // lives to the end: platform threads may still leave something
  return *inbox;
}

Inbox::Inbox() : m_event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void Inbox::Leave(ProgressReport report) {
  {
    const vela::MutexLock lock(m_mutex);
    m_reports.push_back(std::move(report));
  }
  Wake();
}

void Inbox::Wake() {
  eventfd_write(m_event, 1);
}

std::vector<ProgressReport> Inbox::Take() {
  eventfd_t count = 0;
  eventfd_read(m_event, &count);
  const vela::MutexLock lock(m_mutex);
  return std::exchange(m_reports, {});
}

}  // namespace velactl
