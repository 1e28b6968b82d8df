#include "util/basicutil/asn_convert.h"

#include <cstdlib>
#include <exception>

#include "asn1/qcommon.h"
#include "asn1/result.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/task/vela_error.h"

namespace NSTE_util {

namespace {

// An integer that does not fit throws when it is read; from the bus none comes through.
std::int32_t ReadInt(const AsnInt& value, std::int32_t otherwise) noexcept {
  try {
    return static_cast<std::int32_t>(static_cast<AsnIntType>(value));
  } catch (const std::exception&) {
    return otherwise;
  } catch (...) {
    return otherwise;
  }
}

template <class Part>
void Remove(Part*& part) {
  delete part;
  part = nullptr;
}

template <class Part>
Part& Need(Part*& part) {
  if (part == nullptr) part = new Part;
  return *part;
}

void SetText(AsnOcts*& part, const std::string& text) {
  Need(part).Set(text.data(), text.size());
}

template <class Record>
void FillCode(std::uint32_t code, Record& to) {
  to.result = code == 0 || code == SUCCESS_WITH_NOTICE;
  if (code == 0) {
    Remove(to.errorCode);
    return;
  }
  Need(to.errorCode).Set(static_cast<std::int32_t>(code));
}

template <class Record>
void FillRspRslt(unsigned long errorCode, Record* to) {
  if (to == nullptr) return;
  FillCode(vela::Cut32(errorCode), *to);
  Remove(to->reason);
}

template <class Record>
std::uint32_t CodeOf(const Record& from) {
  constexpr auto unreadable = static_cast<std::int32_t>(VELA_ERR_GENERAL);
  const auto code =
      from.errorCode == nullptr ? 0 : static_cast<std::uint32_t>(ReadInt(*from.errorCode, unreadable));
  if (!from.result) return code;
  return code == SUCCESS_WITH_NOTICE ? code : 0;
}

template <class Record>
std::string ReasonOf(const Record& from) {
  return from.reason == nullptr ? std::string() : from.reason->data();
}

}  // namespace

void SingleReturnE2A(const TESingleReturn& from, AsnSingleReturn& to) {
  CfgFillSingleReturn(from, &to);
}

void CfgFillSingleReturn(const TESingleReturn& from, AsnSingleReturn* to) {
  if (to == nullptr) return;
  FillCode(vela::Cut32(from), *to);
  const std::string reason = from.GetReason();
  if (reason.empty())
    Remove(to->reason);
  else if (to->reason == nullptr)
    SetText(to->reason, reason);
}

void SingleReturnA2E(const SNACC::AsnSingleReturn& from, TESingleReturn& to) {
  to.SetData(CodeOf(from), ReasonOf(from), "");
  to.m_bSuccess = from.result;
}

void SingleReturnQA2E(const SNACC::QAsnSingleReturn& from, TESingleReturn& to) {
  to.SetData(CodeOf(from), ReasonOf(from), "");
  to.m_bSuccess = from.result;
}

void CfgFillRspRslt(unsigned long errorCode, AsnSingleReturn* to) {
  FillRspRslt(errorCode, to);
}

void CfgFillRspRslt(unsigned long errorCode, qcommon::QAsnSingleReturn* to) {
  FillRspRslt(errorCode, to);
}

TEValue GetValueFromAsn1(AsnAttribValue& from) {
  if (from.intValue != nullptr) return TEValue(ReadInt(*from.intValue, 0));
  if (from.secondText != nullptr) return TEValue(from.secondText->data());
  if (from.firstText != nullptr) return TEValue(from.firstText->data());
  return {};
}

void SetAsn1Value(AsnAttribValue& to, const TEValue& value) {
  switch (value.GetType()) {
    case TEValue::TEXT:
    case TEValue::TEXT_LONG:
      SetText(to.firstText, value.AsText());
      break;
    case TEValue::TEXT2:
    case TEValue::TEXT2_LONG:
      SetText(to.secondText, value.AsText());
      break;
    default:
      Need(to.intValue).Set(value.AsInteger());
  }
}

__int64 MakeLongLong(long high, unsigned long low) {
  const auto upper = static_cast<std::uint64_t>(vela::Cut32(static_cast<unsigned long>(high))) << 32;
  return static_cast<__int64>(upper | vela::Cut32(low));
}

void SplitLongLong(__int64 value, long& high, unsigned long& low) {
  constexpr __int64 base = __int64{1} << 32;
  high = static_cast<long>(value / base);
  low = vela::Cut32(static_cast<unsigned long>(value % base));
}

std::string BigInt2Str(__int64 value) {
  return std::to_string(value);
}

__int64 Str2BigInt(const char* text) {
  return text == nullptr ? 0 : std::strtoll(text, nullptr, 10);
}

}  // namespace NSTE_util
