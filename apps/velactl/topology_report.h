#pragma once
#include <string>

namespace SNACC {
class AsnTopoNERsp;
}

namespace velactl {

// What the topology service knows: columns NE, NAME, TYPE, MANAGER, VERSION, ALARMS, LAST and RESULT, then
// one line that sums up.
std::string NEsTable(const SNACC::AsnTopoNERsp& response);
// One object; each NE on a line of its own.
std::string NEsJson(const SNACC::AsnTopoNERsp& response);
// "9-1, 9-2": those that are not known.
std::string UnknownNEs(const SNACC::AsnTopoNERsp& response);

// Seconds since 1970-01-01 UTC in the server's zone, "2024-07-01 18:30:00"; "-" for 0.
std::string LocalTimeText(std::int64_t seconds);

}  // namespace velactl
