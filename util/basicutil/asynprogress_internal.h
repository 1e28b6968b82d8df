#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "platform/message/proc_id.h"

namespace NSTE_util {

struct ClientFigure;

// A progress report to the client of a spread mission; the text may be empty. It answers no request of its
// own, so it is sent by nobody's task.
void TellClient(const ClientFigure& told, const std::string& text);

// Notes the failure of sub-missions and tells the log, the client and the mission's owner; those that have
// failed already are left out.
void ReportFailure(std::uint32_t missionId, CProcID holder, const std::vector<std::uint32_t>& subMissions,
                   std::uint32_t code, const std::string& text);

}  // namespace NSTE_util
