#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "apps/handlers/ems/ne_mission_parts.h"
#include "apps/handlers/ems/ne_records.h"
#include "asn1/nms.h"

namespace NSTE_util {
class TEOperErrorLogIF;
}

namespace velad {

// Adds the errors of an encoded AsnErrReport to the frame of this thread. What cannot be decoded is logged
// and dropped.
void AddReport(NSTE_util::TEOperErrorLogIF& errors, const std::string& report);

// One error that stands for an NE as a whole.
void AddNEError(NSTE_util::TEOperErrorLogIF& errors, std::uint32_t ne, std::uint32_t code,
                const std::string& text);

// What a mission has come to.
struct NEOutcome {
  std::string reason;
  std::vector<NEResult> results;  // by NE
  std::map<CProcID, NEPart> parts;
};

// Fills the answer from it and from the errors and the code of this thread's frame. Results and errors that
// do not fit into the limits of the receiver are left out and counted. False when the frame gives no errors.
bool FillAnswer(NSTE_util::TEOperErrorLogIF& errors, const NEOutcome& outcome, AsnNEMissionRsp& response);

}  // namespace velad
