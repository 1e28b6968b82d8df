#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/message/proc_id.h"
#include "platform/message/vela_cmd_msg.h"

namespace vela {

enum class BusResult {
  ok,
  noReceiver,  // nobody lives at the address: nothing was queued
  full,        // the receiver does not keep up: refused at once and counted
  tooLarge,    // the frame exceeds the limit
  closed,      // Open has not been called, or Close has
  taken,       // Open: another live process holds the address
  failed       // the operating system refused; the reason was logged
};

struct BusStats {
  std::uint64_t sent = 0;
  std::uint64_t received = 0;
  std::uint64_t refusedFull = 0;
  std::uint64_t refusedNoReceiver = 0;
  std::uint64_t malformed = 0;  // bytes that are no frame: dropped
};

// How a frame reaches another process. A process opens one bus at its address; Send and Stats are safe in any
// thread, Open and Close belong to one. A frame is delivered at most once; frames of one sender to one
// receiver arrive in order. No call blocks for a receiver.
class VELA_EXPORT Bus {
 public:
  // Called on the bus' own thread, one frame at a time: must neither block nor decode.
  using Receiver = std::function<void(VelaMsgPtr)>;

  virtual ~Bus();

  virtual BusResult Open(CProcID self, Receiver receiver) = 0;
  // The destination is the header's (dstProcId, dstHandle); handle 0 or above 10000 picks one live instance
  // in turn, or, for a broadcast group (VELA_CLIENT_GROUP), reaches all of them (ok also when there are
  // none). The frame's bytes are copied out before Send returns.
  virtual BusResult Send(const VelaCmdMSG& frame) = 0;
  // After it returns the receiver is not called again. Frames sent before are delivered for a bounded time.
  virtual void Close() = 0;

  virtual bool IsAlive(CProcID address) const = 0;
  virtual std::vector<CProcID> LiveProcesses() const = 0;
  virtual BusStats Stats() const = 0;
};

struct BusOptions {
  std::string folder;                // of the endpoints; made owner-only. Empty: var/run/bus/ under the root
  std::uint32_t queueFrames = 1000;  // held in each direction for each peer
  std::uint32_t maxFrameBytes = 17u << 20;  // header and payload
  int lingerMilliseconds = 2000;            // Close waits so long for frames under way
};

// Within one process, for tests: buses with the same `folder` text see each other.
VELA_EXPORT std::unique_ptr<Bus> MakeInProcessBus(const BusOptions& options);
// Between the processes of one host and one user.
VELA_EXPORT std::unique_ptr<Bus> MakeLocalBus(const BusOptions& options);

}  // namespace vela
