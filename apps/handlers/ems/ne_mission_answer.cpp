#include "apps/handlers/ems/ne_mission_answer.h"

#include <algorithm>
#include <list>

#include "apps/common/asn_values.h"
#include "apps/common/texts.h"
#include "apps/handlers/error_list_fit.h"
#include "asn1/error.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/log/log_process.h"
#include "util/basicutil/stringutil.h"
#include "util/basicutil/tecommonerror.h"

namespace velad {
namespace {

using apps::Bytes;
using apps::SetText;
using apps::Unsigned;

std::list<NSTE_util::TEOperObject> Objects(const AsnErrObjectList* objects) {
  std::list<NSTE_util::TEOperObject> read;
  if (objects == nullptr) return read;
  for (const AsnErrObject& object : *objects)
    read.emplace_back(Unsigned(object.first), Unsigned(object.second), Unsigned(object.third));
  return read;
}

// The number that did not fit into half of a message.
std::size_t FillResults(const std::vector<NEResult>& results, AsnNEResultList& out) {
  constexpr std::size_t elementsEach = 9;
  constexpr std::size_t bytesAround = 64;
  const vela::AsnLimits& limits = vela::ConfiguredAsnLimits();
  std::size_t elements = 0;
  std::size_t bytes = 0;
  std::size_t written = 0;
  for (const NEResult& result : results) {
    elements += elementsEach;
    bytes += bytesAround + result.version.size() + result.file.size();
    if (elements > limits.maxElements / 2 || bytes > limits.maxBytes / 2) break;
    FillResult(result, *out.append());
    ++written;
  }
  return results.size() - written;
}

void FillPart(CProcID process, const NEPart& part, AsnMissionPartEnd& out) {
  out.process = process.Number();
  out.handle = process.Handle();
  out.nes = static_cast<AsnIntType>(part.nes);
  out.done = static_cast<AsnIntType>(part.done);
  out.errorCode = static_cast<AsnIntType>(part.errorCode);
  SetText(out.reason, part.reason);
}

}  // namespace

void AddReport(NSTE_util::TEOperErrorLogIF& errors, const std::string& report) {
  AsnErrReport decoded;
  std::string reason;
  const std::span bytes(reinterpret_cast<const unsigned char*>(report.data()), report.size());
  if (CAsnHelper::Decode(bytes, decoded, reason) != 0)
    return LogProcess::Error("NE mission: a report of errors cannot be read, " + reason);
  if (decoded.errors == nullptr) return;
  for (const AsnErrInfo& error : *decoded.errors)
    errors.AddErr(Objects(error.objects), Unsigned(error.errorCode), Bytes(error.errorText),
                  Bytes(error.position));
}

void AddNEError(NSTE_util::TEOperErrorLogIF& errors, std::uint32_t ne, std::uint32_t code,
                const std::string& text) {
  errors.AddErr({NSTE_util::TEOperObject(ne, 0, 0)}, code, text, NSTE_util::TENEID2Str(ne));
}

bool FillAnswer(NSTE_util::TEOperErrorLogIF& errors, const NEOutcome& outcome, AsnNEMissionRsp& response) {
  if (!FillReport(errors, vela::ConfiguredAsnLimits().maxBytes / 3, response.report)) return false;
  const std::size_t omitted = FillResults(outcome.results, response.results);
  for (const auto& [process, part] : outcome.parts) FillPart(process, part, *response.parts.append());
  SetText(response.reason,
          omitted == 0 ? outcome.reason
                       : apps::Text("MISSION_RESULTS_OMITTED", {outcome.reason, std::to_string(omitted)}));
  return true;
}

}  // namespace velad
