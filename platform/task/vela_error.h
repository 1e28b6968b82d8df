#pragma once
#include <cstdint>

// Result codes that the platform answers with. 0 is success.
constexpr std::uint32_t VELA_ERR_NO_ANSWER = 0x4101F003;  // no answer while waiting synchronously
constexpr std::uint32_t VELA_ERR_GENERAL = 0x4101F008;    // general failure; an exception left a handler
constexpr std::uint32_t VELA_ERR_DECODE = 0x4101F00A;     // bytes that cannot be decoded
constexpr std::uint32_t VELA_ERR_MEMORY = 0x4101F00E;
constexpr std::uint32_t VELA_ERR_OVERLOAD = 0x4101F020;     // the receiver's queue is full
constexpr std::uint32_t VELA_ERR_STOPPING = 0x4101F021;     // the process is shutting down
constexpr std::uint32_t VELA_ERR_NO_RECEIVER = 0x4101F022;  // nobody lives at the address
constexpr std::uint32_t VELA_ERR_NO_HANDLER = 0x4101F023;   // the process does not know the command
constexpr std::uint32_t VELA_ERR_TOO_LARGE = 0x4101F024;    // the frame exceeds the limit
