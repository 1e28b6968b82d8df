#pragma once
#include <cstdint>

#include "platform/export.h"
#include "platform/message/proc_id.h"
#include "platform/message/vela_cmd_msg.h"

class VelaTask;

// What the platform's other rooms need of the tasks and no server does. All functions are safe in any thread.
namespace vela {

// A new serial number for a frame that nobody answers: unlike VelaTask::AllocMsgSn it is not remembered.
std::uint32_t NextMsgSn();

// As VelaTask::VelaSynRecvSn, and says for ExtendWait which process is asked.
std::uint32_t SynRecvFrom(VelaTask& task, std::uint32_t sn, CProcID process, int timeOut, VelaMsgPtr& msg);

// Lets the running wait that accepts `sn` end `seconds` from now. A wait that knows its process must be for
// `process` (any instance matches each instance of the number). False when there is no such wait.
bool ExtendWait(std::uint32_t sn, CProcID process, int seconds);

// Ends all waits with 0x4101F003; later ones fail at once, until VelaAppMgr::Start.
void AbortAllWaits();

// Queues an answer for the waits of `task` whatever its serial number. For tests.
VELA_EXPORT void QueueAnswer(VelaTask& task, VelaMsgPtr frame);

}  // namespace vela
