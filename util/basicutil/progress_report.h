#pragma once
#include <cstdint>

#include "platform/asncmd/asn_fwd.h"

class VelaTask;

namespace NSTE_util {

struct ClientMissionID;

constexpr std::uint32_t CMD_ABORT_MISSION = 0x208001;
constexpr std::uint32_t CMD_PROGRESS_REPORT = 0x208002;
constexpr std::uint32_t CMD_PARALLEL_REPORT = 0x218004;
constexpr std::uint32_t CMD_SUB_MISSION_REPORT = 0x218005;
constexpr std::uint32_t CMD_TASK_FINISH = 0x203107;

// Sends a report to the client of the mission, `copies` times, as answer frames of `task` (may be null). What
// cannot be encoded or sent is traced.
void SendReport(VelaTask* task, const ClientMissionID& key, std::uint32_t cmd, const AsnType& report,
                int copies = 1);

}  // namespace NSTE_util
