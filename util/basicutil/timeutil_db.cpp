#include <exception>

#include "asn1/datetime.h"
#include "platform/asncmd/asn_runtime.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/timeutil.h"

namespace {

// A number too long for 32 bits, which its reader refuses, is no part of a time.
int Part(const AsnInt& value) {
  try {
    return static_cast<int>(static_cast<AsnIntType>(value));
  } catch (const std::exception&) {
    return -1;
  } catch (...) {
    return -1;
  }
}

}  // namespace

void TETranDateTime(const AsnDateTimeType& in, RWDBDateTime& out) {
  out = RWDBDateTime(Part(in.year), Part(in.month), Part(in.day), Part(in.hour), Part(in.minute),
                     Part(in.second), RWZone::local());
}

void TETranDateTime(const RWDBDateTime& in, AsnDateTimeType& out) {
  std::tm t;
  const bool valid = in.extract(t, RWZone::local());
  out.year = valid ? t.tm_year + 1900 : 0;
  out.month = valid ? t.tm_mon + 1 : 0;
  out.day = valid ? t.tm_mday : 0;
  out.hour = t.tm_hour;
  out.minute = t.tm_min;
  out.second = t.tm_sec;
}

void TETranDateTime(const AsnDateTimeType* in, RWDBDateTime* out) {
  if (!NSTE_util::Check(in != nullptr && out != nullptr, "stringutil", "NULL != in && NULL != out")) return;
  TETranDateTime(*in, *out);
}

void TETranDateTime(const RWDBDateTime* in, AsnDateTimeType* out) {
  if (!NSTE_util::Check(in != nullptr && out != nullptr, "stringutil", "NULL != in && NULL != out")) return;
  TETranDateTime(*in, *out);
}
