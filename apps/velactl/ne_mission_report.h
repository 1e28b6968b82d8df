#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace SNACC {
class AsnNEMissionRsp;
}

namespace velactl {

// The answer of an upload or a reset as text.

// A row for each NE and each further error of it: columns NE, RESULT, VERSION, BOARDS, PORTS, ALARMS, TIME
// and ERRORS; then the errors that belong to no NE, the parts that were not done, and one line that sums up.
// `asked`: how many NEs were named; 0: all.
std::string NEMissionTable(const SNACC::AsnNEMissionRsp& response, std::size_t asked);

// One object; results, parts and errors each on a line of their own.
std::string NEMissionJson(const SNACC::AsnNEMissionRsp& response, std::string_view verb, std::size_t asked);

// Whether nothing was begun because of an operation that is under way; for a code that is not 0.
bool IsRefusal(std::uint32_t code);

// One line that says why not all went well, for a code that is not 0.
std::string WhyNotDone(const SNACC::AsnNEMissionRsp& response);

}  // namespace velactl
