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

// The outcome of Open and Send.
enum class BusResult {
  ok,
  noReceiver,  // nobody lives at the address: nothing was queued
  full,        // the receiver does not keep up: refused at once and counted
  tooLarge,    // the frame exceeds the limit
  closed,      // Open has not been called, or Close has
  taken,       // Open: another live process holds the address
  failed       // the operating system refused, or the frame's header is no valid one; the reason was logged
};

// Frames since the bus was opened.
struct BusStats {
  std::uint64_t sent = 0;  // a broadcast counts once for each member, its refusals too
  std::uint64_t received = 0;
  std::uint64_t refusedFull = 0;
  std::uint64_t refusedNoReceiver = 0;
  std::uint64_t malformed = 0;  // received bytes that are no frame for this process: dropped
};

// How a frame reaches another process. A process opens one bus at its address; all operations are safe in any
// thread, except that Open and Close belong to one, which is not the receiver's. A frame is delivered at most
// once; frames of one sender to one receiver arrive in order. No call but Close blocks, and Close waits for
// the receiver's current call and for the lingering time. A process with an open bus may spawn programs, but
// must not fork without exec: the child would hold the address.
class VELA_EXPORT Bus {
 public:
  // Called on the bus' own thread, one frame at a time: must neither block nor decode nor throw. May be
  // called before Open has returned.
  using Receiver = std::function<void(VelaMsgPtr)>;

  virtual ~Bus();

  // `self` must be one instance (handle 1 to 10000), else `failed`. A closed bus can be opened again.
  virtual BusResult Open(CProcID self, Receiver receiver) = 0;
  // The destination is the header's (dstProcId, dstHandle), the own address too. Handle 0 or above 10000
  // picks one live instance in turn (one that is full passes its turn on), or, for a broadcast group
  // (VELA_CLIENT_GROUP), reaches all of them: ok when one took it or there are none, so that a frame that is
  // sent again after a refusal reaches nobody twice. The frame's bytes are copied out before Send returns.
  virtual BusResult Send(const VelaCmdMSG& frame) = 0;
  // After it returns the receiver is not called again. Frames sent before are delivered for a bounded time.
  virtual void Close() = 0;

  // Of any instance: whether there is one. Nobody is alive to a closed bus.
  virtual bool IsAlive(CProcID address) const = 0;
  // Tells the lives of a process apart: never the same for two processes that held the address one after the
  // other. 0 when nobody lives there. Of any instance, or of a bus that cannot tell: 1 when somebody does.
  virtual std::uint64_t LifeOf(CProcID address) const;
  virtual std::vector<CProcID> LiveProcesses() const = 0;  // ascending, with the own one
  virtual BusStats Stats() const = 0;
};

// How a bus is made.
struct BusOptions {
  std::string folder;                // of the endpoints; made owner-only. Empty: var/run/bus/ under the root
  std::uint32_t queueFrames = 1000;  // held in each direction for each peer
  std::uint32_t maxFrameBytes = 17u << 20;  // header and payload
  int lingerMilliseconds = 2000;            // Close waits so long for frames under way
};

// Within one process, for tests: buses with the same `folder` text see each other. `queueFrames` is what one
// receiver holds in all.
VELA_EXPORT std::unique_ptr<Bus> MakeInProcessBus(const BusOptions& options);
// Between the processes of one host and one user. The folder must not be writable by others. A process that
// died leaves nothing behind that a successor at its address would receive or trip over.
VELA_EXPORT std::unique_ptr<Bus> MakeLocalBus(const BusOptions& options);

}  // namespace vela
