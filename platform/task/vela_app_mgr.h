#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/message/proc_id.h"
#include "platform/message/vela_cmd_msg.h"

namespace vela {
class Bus;
}
class VelaTaskMgr;

// How a task manager is made.
struct VelaTaskMgrConfig {
  std::uint8_t id = 1;  // 1 to 255: the module number of frames
  std::string name = "main";
  unsigned workers = 4;               // at least 1
  unsigned queueLimit = 1000;         // requests that wait; one more is refused
  std::size_t stackBytes = 2u << 20;  // of a worker thread, at least 1 MiB
};

// Counts since the start.
struct VelaAppStats {
  std::uint64_t lateAnswers = 0;    // came after their waiter had given up: dropped
  std::uint64_t refusedFrames = 0;  // broke a rule: wrong format, no handler, unknown manager
  std::uint64_t refusedBytes = 0;   // requests beyond the cap on bytes in flight, see VelaAppMgr
  std::uint64_t sendErrors = 0;
};

// The process as the platform sees it: its address, bus and task managers, and the way of frames between
// them.
//
//   state     | Start      | Stop                         | frame comes in
//   ----------+------------+------------------------------+-------------------------------------
//   made      | -> running | -> stopped                   | (no bus yet)
//   running   | -1         | -> stopping -> stopped       | request: to its task manager; answer: to its task
//   stopping  | -1         | waits                        | request: answered VELA_ERR_STOPPING
//   stopped   | -1         | nothing                      | dropped
//
// The requests that are queued or being handled hold together at most as many bytes as the key
// MaxBytesInFlight of etc/conf/vela.cfg says (268435456 without it); what exceeds that is refused with
// VELA_ERR_OVERLOAD.
//
// Thread-safe; Start and Stop belong to the thread that owns the process' life.
class VELA_EXPORT VelaAppMgr {
 public:
  // The process-wide manager; made on first use.
  static VelaAppMgr* Instance();
  // Stops (5 seconds at most), then deletes the manager; the next one starts afresh. A manager with abandoned
  // handlers stays as it is, since they may still use it.
  static void Destroy();

  virtual ~VelaAppMgr();

  // Opens the bus at this process' address and begins to serve. 0, or -1 (the reason is logged).
  virtual int Start(std::unique_ptr<vela::Bus> bus, CProcID self, std::uint16_t desk) = 0;
  // No new requests; sets the exit flag, ends synchronous waits with 0x4101F003, waits at most `seconds` for
  // running handlers, answers what is queued with VELA_ERR_STOPPING, closes the bus. Inserted tasks are
  // deleted, unless a handler of their manager was abandoned. True when all handlers had ended; the others
  // are abandoned (the process must end soon). Not for worker threads.
  virtual bool Stop(int seconds) = 0;

  // Null when the id is taken, 0, or the process is stopping. Owned by this object.
  virtual VelaTaskMgr* CreateTaskMgr(const VelaTaskMgrConfig& config) = 0;
  virtual VelaTaskMgr* FindTaskMgrByID(std::uint8_t id) = 0;
  virtual std::vector<VelaTaskMgr*> TaskMgrs() = 0;

  // Sends a frame and takes it over. Own addresses are served within the process, to the task manager
  // `module` when there is one, whatever the routes say; the rest goes over the bus. So does the own number
  // with any instance, which may come back, while a bus is open. 1 = sent, or answered with a refusal;
  // 0 = refused (LastSendError of this thread tells why). A second answer to the request that a worker serves
  // is refused. Before Start, own addresses are served and all others have no receiver.
  virtual int VelaOutSendMsg(VelaCmdMSG* msg, std::uint8_t module) = 0;
  virtual std::uint32_t LastSendError() const = 0;

  virtual VelaAppStats Stats() const = 0;
  virtual vela::Bus* GetBus() = 0;  // null unless running
};

// Routes a command code to a task manager; the last call counts, and 0 ends the route. Requests without a
// route (or routed to a manager that does not exist) go to the manager that the frame's module names, else
// to the one of the handler record.
VELA_EXPORT void SetTaskMgrForCmd(std::uint32_t cmdCode, std::uint8_t taskMgrId);

// This process' address; zeros before VelaAppMgr::Start.
VELA_EXPORT std::uint16_t VelaGetProcId();
VELA_EXPORT std::uint16_t VelaGetProcHandle();
VELA_EXPORT std::uint16_t VelaGetDeskId();

// An address for messages, number and handle: "51/3".
VELA_EXPORT std::string VelaAddressText(CProcID address);

// Whether the process has been told to end. Handlers see it as "cancelled". Async-signal-safe.
VELA_EXPORT bool VelaIsExit();
VELA_EXPORT void VelaSetExitFlag(bool exit = true);
