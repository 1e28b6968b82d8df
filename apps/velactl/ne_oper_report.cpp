#include "apps/velactl/ne_oper_report.h"

#include <set>
#include <vector>

#include "apps/asn1/ne_oper_codes.h"
#include "apps/common/texts.h"
#include "apps/velactl/asn_values.h"
#include "apps/velactl/json.h"
#include "apps/velactl/table.h"
#include "asn1/error.h"
#include "platform/asncmd/asn_fwd.h"
#include "platform/task/vela_error.h"
#include "util/basicutil/single_return.h"
#include "util/basicutil/stringutil.h"

namespace velactl {
namespace {

std::string TextOf(const AsnErrInfo& error) {
  std::string text = Bytes(error.errorText);
  return text.empty() ? apps::ErrorText(Unsigned(error.errorCode)) : text;
}

const AsnErrInfo* Reason(const AsnErrRsp& response) {
  for (const AsnErrInfo& error : response.errors)
    if (Unsigned(error.errorCode) == Unsigned(response.errorCode)) return &error;
  return nullptr;
}

std::string ReasonText(const AsnErrRsp& response) {
  const AsnErrInfo* const reason = Reason(response);
  return reason != nullptr ? TextOf(*reason) : apps::ErrorText(Unsigned(response.errorCode));
}

std::vector<const AsnErrInfo*> Rows(const AsnErrRsp& response) {
  const AsnErrInfo* const reason = Reason(response);
  std::vector<const AsnErrInfo*> rows;
  for (const AsnErrInfo& error : response.errors)
    if (&error != reason) rows.push_back(&error);
  return rows;
}

std::size_t FailedNEs(const std::vector<const AsnErrInfo*>& rows) {
  std::set<std::uint32_t> nes;
  for (const AsnErrInfo* error : rows)
    if (error->objects != nullptr)
      for (const AsnErrObject& object : *error->objects) nes.insert(Unsigned(object.first));
  return nes.size();
}

std::string ObjectsJson(const AsnErrInfo& error) {
  std::string text = "[";
  if (error.objects != nullptr) {
    for (const AsnErrObject& object : *error.objects) {
      if (text.size() > 1) text += ", ";
      text += '[' + JsonString(NSTE_util::TENEID2Str(Unsigned(object.first))) + ", " +
              std::to_string(Unsigned(object.second)) + ", " + std::to_string(Unsigned(object.third)) + ']';
    }
  }
  return text + ']';
}

}  // namespace

std::string NEOperTable(const AsnErrRsp& response, std::size_t nes) {
  const std::vector<const AsnErrInfo*> rows = Rows(response);
  Table table({apps::Text("OPER_HEAD_CODE"), apps::Text("OPER_HEAD_POSITION"), apps::Text("OPER_HEAD_TEXT")});
  for (const AsnErrInfo* error : rows) {
    const std::uint32_t code = Unsigned(error->errorCode);
    table.Add(
        {code == NSTE_util::ERROR_BY_TEXT ? "-" : HexCode(code), Bytes(error->position), TextOf(*error)});
  }
  return (rows.empty() ? "" : table.Text() + '\n') +
         apps::Text("OPER_SUMMARY",
                    {std::to_string(nes), std::to_string(FailedNEs(rows)), std::to_string(rows.size())}) +
         '\n';
}

std::string NEOperJson(const AsnErrRsp& response, std::string_view verb, std::size_t nes) {
  const std::vector<const AsnErrInfo*> rows = Rows(response);
  const AsnErrInfo* const reason = Reason(response);
  std::string text = "{\"operation\": " + JsonString(verb) + ", \"nes\": " + std::to_string(nes) +
                     ", \"errorCode\": " + std::to_string(Unsigned(response.errorCode)) +
                     ", \"reason\": " + JsonString(ReasonText(response)) +
                     ", \"position\": " + JsonString(reason != nullptr ? Bytes(reason->position) : "") +
                     ", \"failedNEs\": " + std::to_string(FailedNEs(rows)) + ", \"errors\": [";
  const char* separator = "\n";
  for (const AsnErrInfo* error : rows) {
    text += separator;
    text += "{\"code\": " + std::to_string(Unsigned(error->errorCode)) +
            ", \"text\": " + JsonString(TextOf(*error)) +
            ", \"position\": " + JsonString(Bytes(error->position)) +
            ", \"objects\": " + ObjectsJson(*error) + "}";
    separator = ",\n";
  }
  return text + "\n]}\n";
}

NEOperOutcome Outcome(const AsnErrRsp& response) {
  switch (Unsigned(response.errorCode)) {
    case 0:
      return NEOperOutcome::done;
    case NE_OPER_ERR_CANCELED:
    case NE_OPER_ERR_TIMEOUT:
    case NE_OPER_ERR_STOPPING:
    case NE_OPER_ERR_FAULTS:
    case NE_OPER_ERR_CLIENT_GONE:
    case NE_OPER_ERR_BAD_NES:
    case NE_OPER_ERR_FAILED:
    case VELA_ERR_MEMORY:
      return NEOperOutcome::incomplete;
    default:
      return NEOperOutcome::refused;
  }
}

std::string WhyNotDone(const AsnErrRsp& response) {
  const std::uint32_t code = Unsigned(response.errorCode);
  const AsnErrInfo* const reason = Reason(response);
  const std::string text = ReasonText(response);
  switch (Outcome(response)) {
    case NEOperOutcome::done:
      return {};
    case NEOperOutcome::incomplete:
      return text.empty() ? HexCode(code) : text;
    case NEOperOutcome::refused:
      break;
  }
  const std::string where = reason != nullptr ? Bytes(reason->position) : std::string();
  return where.empty() ? apps::Text("OPER_REFUSED", {HexCode(code), text})
                       : apps::Text("OPER_REFUSED_AT", {HexCode(code), where, text});
}

}  // namespace velactl
