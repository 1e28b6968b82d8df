#include "apps/velactl/ne_mission_report.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <vector>

#include "apps/asn1/nms_codes.h"
#include "apps/common/texts.h"
#include "apps/velactl/asn_values.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/json.h"
#include "apps/velactl/ne_oper_report.h"
#include "apps/velactl/table.h"
#include "asn1/error.h"
#include "asn1/nms.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_error.h"
#include "util/basicutil/stringutil.h"

namespace velactl {
namespace {

struct ErrorLine {
  std::uint32_t ne = 0;  // 0: of none
  std::uint32_t code = 0;
  std::string position;
  std::string text;
};

ErrorLine Line(const AsnErrInfo& error) {
  ErrorLine line;
  line.code = Unsigned(error.errorCode);
  line.position = Bytes(error.position);
  line.text = Bytes(error.errorText);
  if (line.text.empty()) line.text = apps::ErrorText(line.code);
  if (line.text.empty()) line.text = HexCode(line.code);
  if (error.objects != nullptr && error.objects->size() != 0)
    line.ne = Unsigned(error.objects->front().first);
  return line;
}

// In order. What cannot be read is one error too.
std::vector<ErrorLine> Errors(const AsnNEMissionRsp& response) {
  std::vector<ErrorLine> lines;
  const std::string bytes = Bytes(response.report);
  if (bytes.empty()) return lines;
  AsnErrReport report;
  const std::vector<unsigned char> encoded(bytes.begin(), bytes.end());
  if (CAsnHelper::Decode(encoded, report) != 0) {
    lines.push_back({.code = VELA_ERR_DECODE, .position = {}, .text = apps::Text("NES_BAD_REPORT")});
    return lines;
  }
  if (report.errors == nullptr) return lines;
  for (const AsnErrInfo& error : *report.errors) lines.push_back(Line(error));
  return lines;
}

std::string NEText(std::uint32_t ne) {
  return NSTE_util::TENEID2Str(ne);
}

std::string PartAddress(const AsnMissionPartEnd& part) {
  return AddressText(Process(part.process, part.handle));
}

std::string ShownError(const ErrorLine& error) {
  const bool placed = !error.position.empty() && (error.ne == 0 || error.position != NEText(error.ne));
  return placed ? error.position + ": " + error.text : error.text;
}

std::string Seconds(std::int64_t millis) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f s", static_cast<double>(millis) / 1000);
  return text;
}

std::size_t FailedNEs(const AsnNEMissionRsp& response) {
  return static_cast<std::size_t>(
      std::count_if(response.results.begin(), response.results.end(),
                    [](const AsnNEResult& result) { return Unsigned(result.errorCode) != 0; }));
}

// What was moved counts twice among the parts.
std::size_t AskedNEs(const AsnNEMissionRsp& response, std::size_t asked) {
  const std::uint32_t code = Unsigned(response.errorCode);
  if (asked != 0) return asked;
  if (code == 0 || code == NE_MISSION_ERR_FAILED) return response.results.size();
  std::int64_t handed = 0;
  for (const AsnMissionPartEnd& part : response.parts) handed += Number(part.nes);
  return std::max(static_cast<std::size_t>(handed), response.results.size());
}

void AddRows(Table& table, const AsnNEResult& result, const std::vector<std::string>& errors) {
  const std::uint32_t code = Unsigned(result.errorCode);
  std::string first = errors.empty() ? std::string() : errors.front();
  if (errors.empty() && code != 0) first = apps::ErrorText(code);
  if (first.empty() && code != 0) first = HexCode(code);
  table.Add({NEText(Unsigned(result.ne)), code == 0 ? apps::Text("NES_DONE") : apps::Text("NES_FAILED"),
             Bytes(result.version), NumberText(result.boards), NumberText(result.ports),
             NumberText(result.alarms), Seconds(Number(result.millis)), first});
  for (std::size_t i = 1; i < errors.size(); ++i) table.Add({"", "", "", "", "", "", "", errors[i]});
}

std::string ResultTable(const AsnNEMissionRsp& response,
                        const std::map<std::uint32_t, std::vector<std::string>>& errors) {
  if (response.results.size() == 0) return {};
  Table table({apps::Text("NES_HEAD_NE"), apps::Text("NES_HEAD_RESULT"), apps::Text("NES_HEAD_VERSION"),
               apps::Text("NES_HEAD_BOARDS"), apps::Text("NES_HEAD_PORTS"), apps::Text("NES_HEAD_ALARMS"),
               apps::Text("NES_HEAD_TIME"), apps::Text("NES_HEAD_ERRORS")});
  for (const AsnNEResult& result : response.results) {
    const auto own = errors.find(Unsigned(result.ne));
    AddRows(table, result, own == errors.end() ? std::vector<std::string>() : own->second);
  }
  return table.Text() + '\n';
}

std::string PartLines(const AsnNEMissionRsp& response) {
  std::string text;
  for (const AsnMissionPartEnd& part : response.parts) {
    const std::uint32_t code = Unsigned(part.errorCode);
    if (code == 0) continue;
    const std::string reason = Bytes(part.reason);
    text += apps::Text("NES_PART_FAILED", {PartAddress(part), NumberText(part.done), NumberText(part.nes),
                                           reason.empty() ? HexCode(code) : reason}) +
            '\n';
  }
  return text;
}

template <class List, class Item>
std::string JsonLines(const List& list, Item item) {
  std::string text = "[";
  const char* separator = "\n";
  for (const auto& entry : list) {
    text += separator + item(entry);
    separator = ",\n";
  }
  return text + "\n]";
}

std::string ResultJson(const AsnNEResult& result) {
  return "{\"ne\": " + JsonString(NEText(Unsigned(result.ne))) +
         ", \"errorCode\": " + std::to_string(Unsigned(result.errorCode)) +
         ", \"version\": " + JsonString(Bytes(result.version)) +
         ", \"file\": " + JsonString(Bytes(result.file)) + ", \"boards\": " + NumberText(result.boards) +
         ", \"ports\": " + NumberText(result.ports) + ", \"alarms\": " + NumberText(result.alarms) +
         ", \"millis\": " + NumberText(result.millis) + '}';
}

std::string PartJson(const AsnMissionPartEnd& part) {
  return "{\"process\": " + JsonString(PartAddress(part)) + ", \"nes\": " + NumberText(part.nes) +
         ", \"done\": " + NumberText(part.done) +
         ", \"errorCode\": " + std::to_string(Unsigned(part.errorCode)) +
         ", \"reason\": " + JsonString(Bytes(part.reason)) + '}';
}

std::string ErrorJson(const ErrorLine& error) {
  return "{\"ne\": " + (error.ne == 0 ? "null" : JsonString(NEText(error.ne))) +
         ", \"code\": " + std::to_string(error.code) + ", \"position\": " + JsonString(error.position) +
         ", \"text\": " + JsonString(error.text) + '}';
}

}  // namespace

std::string NEMissionTable(const AsnNEMissionRsp& response, std::size_t asked) {
  std::set<std::uint32_t> shown;
  for (const AsnNEResult& result : response.results) shown.insert(Unsigned(result.ne));
  std::map<std::uint32_t, std::vector<std::string>> byNE;
  std::string others;
  const std::vector<ErrorLine> errors = Errors(response);
  for (const ErrorLine& error : errors) {
    if (shown.contains(error.ne))
      byNE[error.ne].push_back(ShownError(error));
    else
      others += vela::EscapeControls(ShownError(error)) + '\n';
  }
  return ResultTable(response, byNE) + others + PartLines(response) +
         apps::Text("NES_SUMMARY",
                    {std::to_string(response.results.size()), std::to_string(AskedNEs(response, asked)),
                     std::to_string(FailedNEs(response)), std::to_string(errors.size())}) +
         '\n';
}

std::string NEMissionJson(const AsnNEMissionRsp& response, std::string_view verb, std::size_t asked) {
  return "{\"operation\": " + JsonString(verb) + ", \"nes\": " + std::to_string(AskedNEs(response, asked)) +
         ", \"errorCode\": " + std::to_string(Unsigned(response.errorCode)) +
         ", \"reason\": " + JsonString(Bytes(response.reason)) +
         ", \"failedNEs\": " + std::to_string(FailedNEs(response)) +
         ",\n\"results\": " + JsonLines(response.results, ResultJson) +
         ",\n\"parts\": " + JsonLines(response.parts, PartJson) +
         ",\n\"errors\": " + JsonLines(Errors(response), ErrorJson) + "}\n";
}

bool IsRefusal(std::uint32_t code) {
  switch (code) {
    case NE_MISSION_ERR_CANCELED:
    case NE_MISSION_ERR_TIMEOUT:
    case NE_MISSION_ERR_STOPPING:
    case NE_MISSION_ERR_CLIENT_GONE:
    case NE_MISSION_ERR_BAD_NES:
    case NE_MISSION_ERR_FAILED:
    case NE_MISSION_ERR_PARTS:
    case NE_MISSION_ERR_NO_TOPOLOGY:
    case VELA_ERR_MEMORY:
    case VELA_ERR_GENERAL:
      return false;
    default:
      return true;  // the codes of conf/mutex.cfg are the operator's choice
  }
}

std::string WhyNotDone(const AsnNEMissionRsp& response) {
  const std::uint32_t code = Unsigned(response.errorCode);
  std::string reason = Bytes(response.reason);
  if (reason.empty()) reason = apps::ErrorText(code);
  if (reason.empty()) reason = HexCode(code);
  return IsRefusal(code) ? apps::Text("NES_REFUSED", {HexCode(code), reason}) : reason;
}

}  // namespace velactl
