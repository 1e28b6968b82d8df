#pragma once
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/export.h"

// The parameter of an event; handlers share it.
class VELA_EXPORT TEEventParam {
 public:
  virtual ~TEEventParam();
};

// The usual parameter: three values of the poster. The pointers are not owned and must live until the
// handlers ran.
class VELA_EXPORT TECommonEventParam : public TEEventParam {
 public:
  TECommonEventParam(std::uint32_t p1, void* p2, void* p3) : first(p1), second(p2), third(p3) {}
  std::uint32_t first;
  void* second;
  void* third;
};

// Events within one process. Handlers run in the posting thread, in order of subscription, without a lock
// held; a handler may subscribe and unsubscribe. Thread-safe.
class VELA_EXPORT TEEventMgr {
 public:
  using Handler = std::function<void(std::uint32_t eventId, const TEEventParam& param)>;

  static TEEventMgr* Instance();
  static void Destroy();

  virtual ~TEEventMgr();
  // A number for Unsubscribe, never 0. A handler without a function counts as one that throws.
  virtual std::uint32_t Subscribe(std::uint32_t eventId, Handler handler) = 0;
  // After it returns the handler is not called for events posted later.
  virtual void Unsubscribe(std::uint32_t subscription) = 0;
  // Runs every handler, those behind one that threw too. 0 when at least one ran without throwing; 1 when
  // nobody subscribed; 0x4101F008 when all threw. A null parameter reaches the handlers as an empty
  // TEEventParam.
  virtual std::uint32_t PostEvent(std::uint32_t eventId, std::shared_ptr<TEEventParam> param) = 0;
};
