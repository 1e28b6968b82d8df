#pragma once
#include <cstdint>
#include <string>

#include "util/basicutil/export.h"

class TESingleReturn;

namespace SNACC {
class AsnSingleReturn;
class QAsnSingleReturn;
}  // namespace SNACC

namespace NSTE_util {
// A success that carries this code as a notice.
constexpr std::uint32_t SUCCESS_WITH_NOTICE = 0x0B000014;
// Marks a result that is given by its text alone.
constexpr std::uint32_t ERROR_BY_TEXT = 0xFFFFFFFF;

// From the records of messages.
BASIC_UTIL_EXPORT void SingleReturnA2E(const SNACC::AsnSingleReturn& from, TESingleReturn& to);
BASIC_UTIL_EXPORT void SingleReturnQA2E(const SNACC::QAsnSingleReturn& from, TESingleReturn& to);
}  // namespace NSTE_util

// The result of an operation. A plain value: one thread at a time.
class BASIC_UTIL_EXPORT TESingleReturn {
 public:
  TESingleReturn() = default;
  TESingleReturn(unsigned long errorCode, const std::string& reason, const std::string& strErrCode);
  // Copies everything; assignment, on purpose, leaves the string error code of the target empty.
  TESingleReturn(const TESingleReturn& other) = default;
  TESingleReturn& operator=(const TESingleReturn& other);
  // Takes the int as error code and empties the texts.
  TESingleReturn& operator=(int errorCode);
  virtual ~TESingleReturn();

  void SetData(unsigned long errorCode, const std::string& reason, const std::string& strErrCode);

  operator unsigned long() const { return m_nErrorCode; }  // NOLINT: implicit by interface
  std::string GetReason() const { return m_strReason; }
  std::string GetStrErrCode() const { return m_strErrCode; }
  // Whether the error code is 0; for a result that was read from a message, what the message said (a refusal
  // without a code, or a success with a notice).
  bool IsSuccess() const { return m_bSuccess; }

  // Comparisons see the error code alone, unsigned.
  bool operator==(const TESingleReturn& other) const { return m_nErrorCode == other.m_nErrorCode; }
  bool operator!=(const TESingleReturn& other) const { return m_nErrorCode != other.m_nErrorCode; }
  bool operator<(const TESingleReturn& other) const { return m_nErrorCode < other.m_nErrorCode; }
  bool operator==(int code) const { return m_nErrorCode == static_cast<std::uint32_t>(code); }
  bool operator!=(int code) const { return m_nErrorCode != static_cast<std::uint32_t>(code); }
  bool operator<(int code) const { return m_nErrorCode < static_cast<std::uint32_t>(code); }
  bool operator==(std::uint32_t code) const { return m_nErrorCode == code; }
  bool operator!=(std::uint32_t code) const { return m_nErrorCode != code; }
  bool operator<(std::uint32_t code) const { return m_nErrorCode < code; }

 private:
  friend void NSTE_util::SingleReturnA2E(const SNACC::AsnSingleReturn&, TESingleReturn&);
  friend void NSTE_util::SingleReturnQA2E(const SNACC::QAsnSingleReturn&, TESingleReturn&);

  bool m_bSuccess = true;
  std::uint32_t m_nErrorCode = 0;
  std::string m_strReason;
  std::string m_strErrCode;
};

namespace NSTE_util {

// One result among many: a code and a text. A plain value.
struct BASIC_UTIL_EXPORT TESingleResult {
  TESingleResult() = default;
  explicit TESingleResult(unsigned long code);
  explicit TESingleResult(const std::string& text);  // the code becomes ERROR_BY_TEXT
  TESingleResult(unsigned long code, const std::string& text);

  std::uint32_t m_nErrorCode = 0;
  std::string m_strText;
};

}  // namespace NSTE_util
