#include "apps/velactl/topology_report.h"

#include <ctime>

#include "apps/common/texts.h"
#include "apps/velactl/asn_values.h"
#include "apps/velactl/json.h"
#include "apps/velactl/table.h"
#include "asn1/nms.h"
#include "util/basicutil/stringutil.h"
#include "util/basicutil/timeutil.h"

namespace velactl {
namespace {

std::string NEText(const AsnInt& ne) {
  return NSTE_util::TENEID2Str(Unsigned(ne));
}

std::string ResultText(const AsnTopoNE& ne) {
  if (Number(ne.lastTime) == 0) return "-";
  const std::uint32_t code = Unsigned(ne.lastCode);
  if (code == 0) return apps::Text("NES_DONE");
  const std::string text = apps::ErrorText(code);
  return text.empty() ? HexCode(code) : text;
}

std::string OrDash(std::string text) {
  return text.empty() ? "-" : text;
}

}  // namespace

std::string LocalTimeText(std::int64_t seconds) {
  if (seconds == 0) return "-";
  std::tm local{};
  NSTE_util::TEUTC2LOCAL(seconds, local);
  return NSTE_util::DateTime2TEStr(local);
}

std::string NEsTable(const AsnTopoNERsp& response) {
  Table table({apps::Text("NES_HEAD_NE"), apps::Text("NES_HEAD_NAME"), apps::Text("NES_HEAD_TYPE"),
               apps::Text("NES_HEAD_MANAGER"), apps::Text("NES_HEAD_VERSION"), apps::Text("NES_HEAD_ALARMS"),
               apps::Text("NES_HEAD_LAST"), apps::Text("NES_HEAD_RESULT")});
  for (const AsnTopoNE& ne : response.nes)
    table.Add({NEText(ne.ne), Bytes(ne.name), Bytes(ne.type), NumberText(ne.manager),
               OrDash(Bytes(ne.version)), Number(ne.alarms) < 0 ? "-" : NumberText(ne.alarms),
               LocalTimeText(Number(ne.lastTime)), ResultText(ne)});
  return table.Text() + '\n' + apps::Text("NES_KNOWN", {std::to_string(response.nes.size())}) + '\n';
}

std::string NEsJson(const AsnTopoNERsp& response) {
  std::string text = "{\"nes\": [";
  const char* separator = "\n";
  for (const AsnTopoNE& ne : response.nes) {
    text += separator;
    text += "{\"ne\": " + JsonString(NEText(ne.ne)) + ", \"name\": " + JsonString(Bytes(ne.name)) +
            ", \"type\": " + JsonString(Bytes(ne.type)) + ", \"manager\": " + NumberText(ne.manager) +
            ", \"version\": " + JsonString(Bytes(ne.version)) + ", \"alarms\": " + NumberText(ne.alarms) +
            ", \"lastCode\": " + std::to_string(Unsigned(ne.lastCode)) +
            ", \"lastTime\": " + NumberText(ne.lastTime) + '}';
    separator = ",\n";
  }
  text += "\n],\n\"unknown\": [";
  separator = "";
  for (const AsnInt& ne : response.unknown) {
    text += separator + JsonString(NEText(ne));
    separator = ", ";
  }
  return text + "]}\n";
}

std::string UnknownNEs(const AsnTopoNERsp& response) {
  std::string text;
  for (const AsnInt& ne : response.unknown) {
    if (!text.empty()) text += ", ";
    text += NEText(ne);
  }
  return text;
}

}  // namespace velactl
