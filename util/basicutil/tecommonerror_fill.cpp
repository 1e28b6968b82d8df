// The error log's answers: entries as records of messages.
#include <utility>

#include "asn1/error.h"
#include "asn1/qcommon.h"
#include "platform/asncmd/asn_runtime.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/tecommonerror_internal.h"

namespace NSTE_util {

namespace {

constexpr const char* UNIT = "tecommonerror";
constexpr const char* kNotRegistered = "Use the wrong frame, but not register yet. Orientation is needed!\n";
// The same for operators who read Chinese, in GB2312 whatever the language of the sources.
constexpr const char* kNotRegisteredChinese =
    "\xCA\xB9\xD3\xC3\xC1\xCB\xB4\xED\xCE\xF3\xC2\xEB\xBF\xF2\xBC\xDC\xC1\xCB\xA3\xAC\xB5\xAB\xCA\xC7\xC3\xBB"
    "\xD3\xD0\xD7\xA2\xB2\xE1,\xD0\xE8\xD2\xAA\xB6\xA8\xCE\xBB\xA3\xA1\n";

AsnIntType AsnCode(std::uint32_t code) {
  return static_cast<std::int32_t>(code);
}

void SetText(AsnOcts*& to, const std::string& text) {
  if (!text.empty()) to = new AsnOcts(text.data(), text.size());
}

template <class Info>
void SetTexts(const ErrEntry& from, Info& to) {
  to.errorCode.Set(AsnCode(from.result.m_nErrorCode));
  SetText(to.errorText, from.result.m_strText);
  SetText(to.position, from.position);
}

void SetObjects(const ErrEntry& from, AsnErrInfo& to) {
  if (from.objects.empty()) return;
  to.objects = new AsnErrObjectList;
  for (const TEOperObject& object : from.objects) {
    AsnErrObject& out = *to.objects->append();
    out.first.Set(AsnCode(object.m_nFirst));
    out.second.Set(AsnCode(object.m_nSecond));
    out.third.Set(AsnCode(object.m_nThird));
  }
}

void SetErrors(const ErrList& from, AsnErrInfoList& to) {
  to.clear();
  for (const ErrEntry& entry : from) {
    AsnErrInfo& info = *to.append();
    SetTexts(entry, info);
    SetObjects(entry, info);
  }
}

bool IsResponse(const void* asnErrs) {
  return Check(asnErrs != nullptr, UNIT, "asnErrs != 0");
}

}  // namespace

bool TEOperErrorLogImpl::HasFrame(const char* warning) {
  if (Check(IsRegistered(), UNIT, "false")) return true;
  TETrace("%s", warning);
  return false;
}

bool TEOperErrorLogImpl::GetErrList(qcommon::QAsnErrInfoList* errors) {
  if (!HasFrame(kNotRegistered) || !IsResponse(errors)) return false;
  return WithMemory([&] {
    errors->clear();
    for (const ErrEntry& entry : Collect().errors) SetTexts(entry, *errors->append());
    return true;
  });
}

bool TEOperErrorLogImpl::GetErrList(AsnErrRsp* response) {
  if (!HasFrame(kNotRegistered) || !IsResponse(response)) return false;
  return WithMemory([&] {
    const Collected collected = Collect();
    response->errorCode.Set(AsnCode(collected.code));
    SetErrors(collected.errors, response->errors);
    return true;
  });
}

bool TEOperErrorLogImpl::GetErrList(AsnErrReport* response) {
  if (!HasFrame(kNotRegistered) || !IsResponse(response)) return false;
  return WithMemory([&] {
    const Collected collected = Collect();
    SetErrCodeField(response, static_cast<std::int32_t>(collected.code));
    delete std::exchange(response->errors, nullptr);
    if (collected.errors.empty()) return true;
    response->errors = new AsnErrInfoList;
    SetErrors(collected.errors, *response->errors);
    return true;
  });
}

void TEOperErrorLogImpl::SetErrCodeField(AsnErrReport* response, int code) {
  if (!IsResponse(response)) return;
  WithMemory([&] {
    if (response->errorCode == nullptr) response->errorCode = new AsnInt;
    response->errorCode->Set(code);
    return true;
  });
}

template <class Response, class Error>
bool TEOperErrorLogImpl::AddAndFill(const char* warning, Response* response, const Error& error,
                                    const std::string& position) {
  if (!HasFrame(warning)) return false;
  const bool added = AddErr(error, position);
  return GetErrList(response) && added;
}

bool TEOperErrorLogImpl::AddErr(AsnErrRsp* response, const TESingleReturn& result,
                                const std::string& position) {
  return AddAndFill(kNotRegisteredChinese, response, result, position);
}

bool TEOperErrorLogImpl::AddErr(AsnErrRsp* response, const std::string& errorText,
                                const std::string& position) {
  return AddAndFill(kNotRegisteredChinese, response, errorText, position);
}

bool TEOperErrorLogImpl::AddErr(AsnErrRsp* response, unsigned long code, const std::string& position) {
  return AddAndFill(kNotRegistered, response, code, position);
}

bool TEOperErrorLogImpl::AddErr(AsnErrReport* response, const TESingleReturn& result,
                                const std::string& position) {
  return AddAndFill(kNotRegisteredChinese, response, result, position);
}

bool TEOperErrorLogImpl::AddErr(AsnErrReport* response, const std::string& errorText,
                                const std::string& position) {
  return AddAndFill(kNotRegisteredChinese, response, errorText, position);
}

bool TEOperErrorLogImpl::AddErr(AsnErrReport* response, unsigned long code, const std::string& position) {
  return AddAndFill(kNotRegistered, response, code, position);
}

}  // namespace NSTE_util
