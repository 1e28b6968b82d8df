#pragma once
#include <cstdint>
#include <string>

#include "platform/message/proc_id.h"

class VelaGnlTask;

// What owners of missions that run in other processes have in common. Any thread; nothing blocks.
namespace velad {

// Who sent the request that the task serves.
CProcID RequestSource(const VelaGnlTask* task);

bool IsProcessAlive(CProcID process);
// Tells one life of a process from the next; 0: nobody lives there.
std::uint64_t LifeOfProcess(CProcID process);

// Tells a process to end its work on a sub-mission. One that has not begun it yet does not know it: repeat
// until it answers.
void AbortSubMission(CProcID process, std::uint32_t id);

// Why a process did not get a message, from the platform's code.
std::string WhyNotSent(std::uint32_t code, CProcID process);

}  // namespace velad
