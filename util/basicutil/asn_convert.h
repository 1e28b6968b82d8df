#pragma once
#include <string>

#include "platform/event/te_value.h"
#include "platform/os/os_types.h"
#include "util/basicutil/export.h"
#include "util/basicutil/single_return.h"

namespace SNACC {
class AsnAttribValue;
}  // namespace SNACC
using SNACC::AsnAttribValue;
using SNACC::AsnSingleReturn;
namespace qcommon {
using SNACC::QAsnSingleReturn;
}

// Between the library's values and the records of messages; the message classes themselves are in
// asn1/result.h and asn1/qcommon.h. All functions are safe in any thread, on records of their own.
namespace NSTE_util {

// A result into a record: success with code 0 leaves no error code, SUCCESS_WITH_NOTICE stays a success with
// its code, everything else is a failure with its code. An empty reason removes the record's; otherwise a
// reason that the record already has stays as it is.
BASIC_UTIL_EXPORT void SingleReturnE2A(const TESingleReturn& from, AsnSingleReturn& to);
BASIC_UTIL_EXPORT void CfgFillSingleReturn(const TESingleReturn& from, AsnSingleReturn* to);

// Back (SingleReturnA2E, SingleReturnQA2E: single_return.h): a success has code 0 or SUCCESS_WITH_NOTICE
// whatever the record says; a failure without a code has code 0 and IsSuccess() false.

// A bare code into a record, by the same rules; the record's reason is removed. Null: nothing happens.
BASIC_UTIL_EXPORT void CfgFillRspRslt(unsigned long errorCode, AsnSingleReturn* to);
BASIC_UTIL_EXPORT void CfgFillRspRslt(unsigned long errorCode, qcommon::QAsnSingleReturn* to);

// The integer, else the second text, else the first text, else the integer 0.
BASIC_UTIL_EXPORT TEValue GetValueFromAsn1(AsnAttribValue& from);
// Sets the one part that the value's type names; the other parts stay.
BASIC_UTIL_EXPORT void SetAsn1Value(AsnAttribValue& to, const TEValue& value);

// high * 2^32 + low; `high` is signed. Both are 32 bits wide.
BASIC_UTIL_EXPORT __int64 MakeLongLong(long high, unsigned long low);
// Divides by 2^32 toward zero, so it undoes MakeLongLong for values from 0 up only: -1 gives 0 and
// 0xFFFFFFFF.
BASIC_UTIL_EXPORT void SplitLongLong(__int64 value, long& high, unsigned long& low);
BASIC_UTIL_EXPORT std::string BigInt2Str(__int64 value);
// As strtoll in base 10: saturates at the ends; null and texts without a number give 0.
BASIC_UTIL_EXPORT __int64 Str2BigInt(const char* text);

}  // namespace NSTE_util
