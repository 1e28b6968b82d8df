#pragma once
#include <ctime>
#include <string>

#include "platform/os/os_types.h"
#include "platform/time/rw_db_date_time.h"
#include "util/basicutil/export.h"

namespace SNACC {
class AsnDateTimeType;
}  // namespace SNACC
using SNACC::AsnDateTimeType;

// Times: UTC, the server's local time, seconds, texts. All zone questions go to the platform's time-zone
// service (platform/time/vela_tzone.h), which is asked afresh each time; nothing is cached. Stateless: any
// thread may call anything here.
//
// Broken-down times follow the C tm record; tm_wday and tm_yday are always 0. Long times are seconds since
// 1970-01-01 UTC; the service counts in 32 bits, so what lies outside 1901-12-13 20:45:52 to 2038-01-19
// 03:14:07 fails, and so does the second before 1970. Zone offsets are seconds west of UTC: UTC+08:00 is
// -28800.
//
// Failures are no result of their own (TEStr2DateTime excepted): a time trace is written, and the output is
// the cleared value, 1900-01-01 00:00:00 for a broken-down time, 0 for a long time or an offset.
namespace NSTE_util {

// Now.
BASIC_UTIL_EXPORT void GetSysTime(std::tm& utc);
BASIC_UTIL_EXPORT void GetSysTime(__int64& t);
BASIC_UTIL_EXPORT void GetSysTime(std::string& text);  // as TEUTC2Text
BASIC_UTIL_EXPORT void GetNMUTCTime(std::tm& utc);
// Server-local, "2024/07/01/ 18:30:05".
BASIC_UTIL_EXPORT std::string GetCurrTimeStr();
// A stamp for file names: the raw fields of the server-local tm (year - 1900, month from 0), the zone, and
// "DST" during daylight-saving time: "01240601_183005+0800" is 2024-07-01.
BASIC_UTIL_EXPORT void GetSysTimeForFileName(std::string& text);

// The server's zone now, daylight-saving time included.
BASIC_UTIL_EXPORT __int64 GetNMTimeZone();
BASIC_UTIL_EXPORT void GetNMTimeZone(std::string& text);  // "GMT+08:00"
// The offset of a text like "GMT+08:00" (nine characters, the sign at index 3); the server's own of any
// other.
BASIC_UTIL_EXPORT __int64 GetTimeZone(const std::string& text);
// tm_isdst of the server-local now.
BASIC_UTIL_EXPORT int NMDstFlag();
// Whether daylight-saving time is in force now, and by how many minutes it moves the clock (0 when it is not;
// negative in a zone that turns its clock back for it).
BASIC_UTIL_EXPORT void NMDstInformation(int& isDst, long& dstMinutes);

// Conversions. Input that is no time gives the cleared value.
BASIC_UTIL_EXPORT void TEUTC2UTC(std::tm utc, __int64& t);
BASIC_UTIL_EXPORT void TEUTC2UTC(__int64 t, std::tm& utc);
// Reads `local` by the rules of the server's zone at that time; its tm_isdst does not count. In the hour that
// the clock shows twice, the time is the one in the season of now.
BASIC_UTIL_EXPORT void TELOCAL2UTC(std::tm local, std::tm& utc);
BASIC_UTIL_EXPORT void TEUTC2LOCAL(__int64 t, std::tm& local);
// The moment of `local`, a time of the zone `zone` (seconds west): the server's reading of it, moved by the
// difference between `zone` and the server's offset now. 0 when it cannot be counted.
BASIC_UTIL_EXPORT __int64 TELocalTimeAndZoneToUTC(__int64 zone, std::tm& local);
BASIC_UTIL_EXPORT void TELocalTimeAndZoneToUTC(__int64 zone, std::tm& local, std::tm& utc);

// Texts.
BASIC_UTIL_EXPORT std::string DateTime2TEStr(const std::tm& t);  // "2024-07-01 18:30:00", whatever the fields
// Server-local with the server's zone of now: "2024-07-01 18:30:00+08:00", "2024-07-01 18:30:00-04:00 DST".
BASIC_UTIL_EXPORT void TEUTC2Text(std::tm utc, std::string& text);
// The inverse, for zones with "+". A text without "+" is server-local time and must carry no zone; a text
// that cannot be parsed is converted like a cleared time.
BASIC_UTIL_EXPORT void TEText2UTC(std::string text, std::tm& utc);
// "2024-07-01" (unless `needTime`) or "2024-07-01 18:30:00", blanks allowed around each number, year 1900 to
// 3000; the date must exist and be within the long times. False otherwise, with all fields of `t` 0. tm_isdst
// is 1 whenever the text contains "DST". A null text is reported as an assertion.
BASIC_UTIL_EXPORT bool TEStr2DateTime(const char* text, std::tm& t, bool needTime);

}  // namespace NSTE_util

// Between the message's calendar time and the database's; the calendar time is the server's local time. What
// is no time becomes a database time that is not valid, and six zeros the other way. A null argument is
// reported as an assertion, and nothing is converted.
BASIC_UTIL_EXPORT void TETranDateTime(const AsnDateTimeType& in, RWDBDateTime& out);
BASIC_UTIL_EXPORT void TETranDateTime(const RWDBDateTime& in, AsnDateTimeType& out);
BASIC_UTIL_EXPORT void TETranDateTime(const AsnDateTimeType* in, RWDBDateTime* out);
BASIC_UTIL_EXPORT void TETranDateTime(const RWDBDateTime* in, AsnDateTimeType* out);
