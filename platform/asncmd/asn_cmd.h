#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/asncmd/asn_fwd.h"
#include "platform/export.h"
#include "platform/message/proc_id.h"

class VelaGnlTask;

// A command under way that waits for its answer.
class VELA_EXPORT CAsnCmd {
 public:
  // Gives the synchronous wait with serial number `sn` for `process` a new time-out, counted from now, in
  // seconds (at most a year); `value` is the caller's number for the command and only traced. Any thread.
  // False when nobody waits with it, or for another process; an instance of 0 matches each.
  static bool ResetTimeout(std::uint32_t sn, const CProcID& process, std::uint32_t timeOut,
                           std::int32_t value);
  // Ends all synchronous waits of this process with 0x4101F003; new ones fail at once, until
  // VelaAppMgr::Start. For process end.
  static void Destroy();
};

// One ASN.1 command to one process. The payload is not owned and must live until Send or Exec returns.
class VELA_EXPORT CAsnPhyCmd {
 public:
  // `timeOut` in seconds; 0 or less: the default of 30 for Exec, no meaning for Send.
  CAsnPhyCmd(std::uint32_t cmdCode, const AsnType& payload, CProcID dst, int timeOut, std::uint8_t module,
             std::uint16_t subId);

  // Sends without waiting. `task` may be null (a command without a sender: source task, attribute and serial
  // number are 0). The client number is that of the request that the task serves. 0 or a code of
  // vela_error.h.
  std::uint32_t Send(VelaGnlTask* task);

  // Sends and waits for the response, decoded into the fresh object `rsp`. 0; the receiver's refusal code;
  // 0x4101F003 (no answer in time); 0x4101F00A (the answer cannot be decoded); or a code of vela_error.h when
  // it could not be sent. Needs a task, current in the calling thread; blocks it.
  std::uint32_t Exec(VelaGnlTask* task, AsnType& rsp);

 private:
  std::uint32_t m_cmdCode;
  const AsnType& m_payload;
  CProcID m_dst;
  int m_timeOut;
  std::uint8_t m_module;
  std::uint16_t m_subId;
};

// Several copies of commands sent as one, in the order in which they were added.
class VELA_EXPORT CAsnPackCmd {
 public:
  CAsnPackCmd();
  ~CAsnPackCmd();
  CAsnPackCmd(const CAsnPackCmd&) = delete;
  CAsnPackCmd& operator=(const CAsnPackCmd&) = delete;

  void Add(const CAsnPhyCmd& cmd);
  // Sends all; 0, or the first error (the rest is sent all the same).
  std::uint32_t Send(VelaGnlTask* task);

 private:
  std::vector<CAsnPhyCmd> m_cmds;
};
