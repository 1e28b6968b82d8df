#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "platform/export.h"
#include "platform/message/vela_cmd_msg.h"

class VelaTask;

// Counts since the start, and what is there now.
struct VelaTaskMgrStats {
  std::uint64_t handled = 0;
  std::uint64_t refusedFull = 0;  // requests answered with VELA_ERR_OVERLOAD
  std::uint32_t queued = 0;
  std::uint32_t running = 0;
};

// A queue of requests and the worker threads that serve it. Made by VelaAppMgr::CreateTaskMgr. Thread-safe.
class VELA_EXPORT VelaTaskMgr {
 public:
  virtual ~VelaTaskMgr();

  virtual std::uint8_t GetId() const = 0;
  virtual const std::string& GetName() const = 0;
  // Takes the task over, calls its VelaTaskCreate in a worker and then its interval expiries. `state` is the
  // state that it starts in. 0, or VELA_ERR_STOPPING.
  virtual std::uint32_t InsertTask(std::unique_ptr<VelaTask> task, int state) = 0;
  // Queues a request frame; a full queue answers its sender at once with VELA_ERR_OVERLOAD.
  virtual void PostRequest(VelaMsgPtr frame) = 0;
  virtual VelaTaskMgrStats Stats() const = 0;
};
