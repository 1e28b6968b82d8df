#pragma once
#include <cstdint>
#include <string>

#include "platform/message/proc_id.h"

namespace velactl {

// Says why on standard error; the exit code of a command that failed.
int Fail(const std::string& reason);

// To standard output, at once; false when it cannot be written.
bool Print(const std::string& text);

// "100/1"
std::string AddressText(CProcID process);

// Why a request to that server process failed, for a result code that is not 0.
std::string WhyFailed(std::uint32_t code, CProcID server);

}  // namespace velactl
