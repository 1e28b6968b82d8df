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
  // Of a bus between hosts only.
  bool betweenHosts = false;
  bool connected = true;
  std::uint64_t forged = 0;       // of the malformed: the header names another sender than the engine does
  std::uint64_t disconnects = 0;  // times that the connection to the engine was lost
  std::uint64_t resent = 0;       // frames that were sent again, since the first may have got lost
  std::uint64_t repeated = 0;     // received again, dropped
  std::uint64_t heldFrames = 0;   // sent, but not taken by their receivers yet
  std::uint64_t heldBytes = 0;
};

// A process that is on the bus, for people.
struct BusMemberInfo {
  CProcID address;
  std::uint64_t life = 0;  // as Bus::LifeOf
  std::string host;        // its name
  bool silent = false;     // it may have died: no sign of life, or its connection to the engine is lost
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
  virtual std::vector<BusMemberInfo> Members() const;      // the same with what is known of them
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
// Between hosts, over the engine that etc/conf/bus.cfg names (docs/bus.md). Open reads that file, and returns
// only when all live processes know of this one; Close likewise, within the lingering time. What the contract
// of Bus means here beyond the words above:
// - A frame that was accepted stays held, at most `queueFrames` for each receiver and NatsBufferBytes in all,
//   until the receiver has taken it; what got lost on the way is sent again. Beyond that Send says `full`.
// - A process that was killed is found out when its engine node says so (plus NatsGraceSeconds, in which it
// may
//   come back) or after NatsExpirySeconds of silence; until then frames to it are held. Requests among them
//   are then answered here with VELA_ERR_NO_RECEIVER.
// - While the connection is lost, frames are held. When it does not come back within NatsGraceSeconds,
// requests
//   that wait for an answer, and new ones, are answered here with VELA_ERR_NO_ANSWER.
// - A frame's source must be the own address, else `failed`; one that names another sender than the
//   engine's permissions vouch for is dropped and counted by the receiver.
VELA_EXPORT std::unique_ptr<Bus> MakeNatsBus(const BusOptions& options);
// The one that the key Bus of etc/conf/bus.cfg chooses: "local" (also without the file) or "nats". With
// another value, a bus that cannot be opened. Never null.
VELA_EXPORT std::unique_ptr<Bus> MakeBus(const BusOptions& options);

}  // namespace vela
