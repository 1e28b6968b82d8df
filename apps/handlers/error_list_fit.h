#pragma once
#include <cstddef>

namespace SNACC {
class AsnErrInfoList;
class AsnOcts;
}  // namespace SNACC

namespace NSTE_util {
class TEOperErrorLogIF;
}

namespace velad {

// Cuts the end of an answer's error list off, so that the receiver's limits on a message (its elements, and
// `maxBytes` of it for the list) hold; an error at the end of the list then counts what is missing. Returns
// that number.
std::size_t FitErrors(SNACC::AsnErrInfoList& errors, std::size_t maxBytes);

// The errors and the code of this thread's frame, fitted in that way, as an encoded AsnErrReport. False when
// the frame gives none.
bool FillReport(NSTE_util::TEOperErrorLogIF& errors, std::size_t maxBytes, SNACC::AsnOcts& report);

}  // namespace velad
