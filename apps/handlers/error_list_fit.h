#pragma once
#include <cstddef>

namespace SNACC {
class AsnErrInfoList;
}

namespace velad {

// Cuts the end of an answer's error list off, so that the receiver's limits on a message (its elements, and
// `maxBytes` of it for the list) hold; an error at the end of the list then counts what is missing. Returns
// that number.
std::size_t FitErrors(SNACC::AsnErrInfoList& errors, std::size_t maxBytes);

}  // namespace velad
