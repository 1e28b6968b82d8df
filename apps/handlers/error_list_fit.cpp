#include "apps/handlers/error_list_fit.h"

#include <string>

#include "apps/asn1/ne_oper_codes.h"
#include "apps/common/texts.h"
#include "asn1/error.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"
#include "util/basicutil/tecommonerror.h"

namespace velad {

std::size_t FitErrors(SNACC::AsnErrInfoList& errors, std::size_t maxBytes) {
  constexpr std::size_t elementsEach = 12;
  constexpr std::size_t bytesEach = 96;
  const std::size_t maxElements = vela::ConfiguredAsnLimits().maxElements;
  std::size_t fitting = 0;
  std::size_t elements = 2 * elementsEach;
  std::size_t bytes = 1024;
  for (const AsnErrInfo& error : errors) {
    elements += elementsEach;
    bytes += bytesEach + (error.errorText != nullptr ? error.errorText->Len() : 0) +
             (error.position != nullptr ? error.position->Len() : 0);
    if (elements > maxElements || bytes > maxBytes) break;
    ++fitting;
  }
  const std::size_t omitted = errors.size() - fitting;
  if (omitted == 0) return 0;
  while (errors.size() > fitting) errors.pop_back();
  AsnErrInfo& note = *errors.append();
  note.errorCode = static_cast<AsnIntType>(NE_OPER_ERR_OMITTED);
  const std::string text = apps::ErrorText(NE_OPER_ERR_OMITTED, {std::to_string(omitted)});
  note.errorText = new AsnOcts(text.data(), text.size());
  return omitted;
}

bool FillReport(NSTE_util::TEOperErrorLogIF& errors, std::size_t maxBytes, SNACC::AsnOcts& report) {
  AsnErrReport filled;
  if (!errors.GetErrList(&filled)) return false;
  if (filled.errors != nullptr) FitErrors(*filled.errors, maxBytes);
  unsigned char* bytes = nullptr;
  std::size_t size = 0;
  if (CAsnHelper::Encode(filled, bytes, size) != 0) return false;
  report.Set(reinterpret_cast<const char*>(bytes), size);
  CAsnHelper::ReleaseAsnBuf(bytes);
  return true;
}

}  // namespace velad
