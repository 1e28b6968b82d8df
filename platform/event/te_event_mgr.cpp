#include "platform/event/te_event_mgr.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "platform/os/mutex.h"
#include "platform/os/singleton.h"
#include "platform/task/vela_error.h"

namespace {

constexpr std::uint32_t kNobodySubscribed = 1;

struct Subscription {
  std::uint32_t number;
  TEEventMgr::Handler handler;
};

// Replaced as a whole, so that a poster walks its list without a lock.
using Subscriptions = std::shared_ptr<const std::vector<Subscription>>;

bool Runs(const Subscription& subscription, std::uint32_t eventId, const TEEventParam& param) {
  try {
    subscription.handler(eventId, param);
    return true;
  } catch (...) {
    return false;
  }
}

class TEEventMgrImpl : public TEEventMgr {
 public:
  std::uint32_t Subscribe(std::uint32_t eventId, Handler handler) override {
    vela::MutexLock lock(m_mutex);
    const std::uint32_t number = NextNumber();
    Subscriptions& list = m_lists[eventId];
    auto longer = list ? std::make_shared<std::vector<Subscription>>(*list)
                       : std::make_shared<std::vector<Subscription>>();
    longer->push_back({number, std::move(handler)});
    list = std::move(longer);
    m_events[number] = eventId;
    return number;
  }

  void Unsubscribe(std::uint32_t subscription) override {
    Subscriptions dropped;  // handlers are destroyed without the lock
    vela::MutexLock lock(m_mutex);
    const auto event = m_events.find(subscription);
    if (event == m_events.end()) return;
    const auto list = m_lists.find(event->second);
    auto shorter = std::make_shared<std::vector<Subscription>>(*list->second);
    std::erase_if(*shorter, [=](const Subscription& entry) { return entry.number == subscription; });
    dropped = std::exchange(list->second, std::move(shorter));
    if (list->second->empty()) m_lists.erase(list);
    m_events.erase(event);
  }

  std::uint32_t PostEvent(std::uint32_t eventId, std::shared_ptr<TEEventParam> param) override {
    const Subscriptions list = ListOf(eventId);
    if (!list) return kNobodySubscribed;
    if (!param) param = std::make_shared<TEEventParam>();
    bool delivered = false;
    for (const Subscription& subscription : *list) {
      const bool ran = Runs(subscription, eventId, *param);
      delivered = delivered || ran;
    }
    return delivered ? 0 : VELA_ERR_GENERAL;
  }

 private:
  std::uint32_t NextNumber() VELA_REQUIRES(m_mutex) {
    do {
      ++m_lastNumber;
    } while (m_lastNumber == 0 || m_events.contains(m_lastNumber));
    return m_lastNumber;
  }

  Subscriptions ListOf(std::uint32_t eventId) VELA_EXCLUDES(m_mutex) {
    vela::MutexLock lock(m_mutex);
    const auto found = m_lists.find(eventId);
    return found == m_lists.end() ? nullptr : found->second;
  }

  vela::Mutex m_mutex;
  std::uint32_t m_lastNumber VELA_GUARDED_BY(m_mutex) = 0;
  std::map<std::uint32_t, Subscriptions> m_lists VELA_GUARDED_BY(m_mutex);
  std::map<std::uint32_t, std::uint32_t> m_events VELA_GUARDED_BY(m_mutex);  // by subscription
};

constinit vela::SingletonSlot<TEEventMgr> g_slot;

}  // namespace

TEEventParam::~TEEventParam() = default;
TEEventMgr::~TEEventMgr() = default;

TEEventMgr* TEEventMgr::Instance() {
  return g_slot.Instance<TEEventMgrImpl>();
}
void TEEventMgr::Destroy() {
  g_slot.Destroy();
}
