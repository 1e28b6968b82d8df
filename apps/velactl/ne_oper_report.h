#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace SNACC {
class AsnErrRsp;
}

namespace velactl {

// The answer of an operation on NEs as text. An error that travels as its code alone gets the text that this
// program has for it. The error that says why the whole ended (its code is that of the answer) is no row.

// Columns CODE, POSITION, TEXT, then one line that sums up. `nes`: how many were asked for.
std::string NEOperTable(const SNACC::AsnErrRsp& response, std::size_t nes);

// One object; each error on a line of its own, with its objects as [NE, slot, port].
std::string NEOperJson(const SNACC::AsnErrRsp& response, std::string_view verb, std::size_t nes);

enum class NEOperOutcome { done, incomplete, refused };
NEOperOutcome Outcome(const SNACC::AsnErrRsp& response);

// One line that says what went wrong with the whole, and what to do next; empty when nothing did.
std::string WhyNotDone(const SNACC::AsnErrRsp& response);

}  // namespace velactl
