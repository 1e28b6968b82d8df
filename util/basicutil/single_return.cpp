#include "util/basicutil/single_return.h"

#include "platform/os/os_types.h"

TESingleReturn::TESingleReturn(unsigned long errorCode, const std::string& reason,
                               const std::string& strErrCode)
    : m_bSuccess(vela::Cut32(errorCode) == 0),
      m_nErrorCode(vela::Cut32(errorCode)),
      m_strReason(reason),
      m_strErrCode(strErrCode) {}

TESingleReturn::~TESingleReturn() = default;

TESingleReturn& TESingleReturn::operator=(const TESingleReturn& other) {
  if (this == &other) return *this;
  m_bSuccess = other.m_nErrorCode == 0;
  m_nErrorCode = other.m_nErrorCode;
  m_strReason = other.m_strReason;
  m_strErrCode.clear();
  return *this;
}

TESingleReturn& TESingleReturn::operator=(int errorCode) {
  m_bSuccess = errorCode == 0;
  m_nErrorCode = static_cast<std::uint32_t>(errorCode);
  m_strReason.clear();
  m_strErrCode.clear();
  return *this;
}

void TESingleReturn::SetData(unsigned long errorCode, const std::string& reason,
                             const std::string& strErrCode) {
  m_nErrorCode = vela::Cut32(errorCode);
  m_bSuccess = m_nErrorCode == 0;
  m_strReason = reason;
  m_strErrCode = strErrCode;
}

namespace NSTE_util {

TESingleResult::TESingleResult(unsigned long code) : m_nErrorCode(vela::Cut32(code)) {}
TESingleResult::TESingleResult(const std::string& text) : m_nErrorCode(ERROR_BY_TEXT), m_strText(text) {}
TESingleResult::TESingleResult(unsigned long code, const std::string& text)
    : m_nErrorCode(vela::Cut32(code)), m_strText(text) {}

}  // namespace NSTE_util
