#include "apps/handlers/ems/ne_records.h"

#include "apps/asn1/nms_codes.h"
#include "apps/common/asn_values.h"

namespace velad {

using apps::SetText;
using apps::Unsigned;

bool NEOrder::IsUpload() const {
  return operation == NE_UPLOAD_COMMAND;
}

std::vector<NEResult> ReadResults(const AsnNEResultList& results) {
  std::vector<NEResult> read;
  read.reserve(results.size());
  for (const AsnNEResult& r : results)
    read.push_back({Unsigned(r.ne), Unsigned(r.errorCode), r.version.data(), r.file.data(),
                    static_cast<int>(r.boards), static_cast<int>(r.ports), static_cast<int>(r.alarms),
                    static_cast<int>(r.millis)});
  return read;
}

void FillResult(const NEResult& from, AsnNEResult& to) {
  to.ne = static_cast<AsnIntType>(from.ne);
  to.errorCode = static_cast<AsnIntType>(from.errorCode);
  SetText(to.version, from.version);
  SetText(to.file, from.file);
  to.boards = from.boards;
  to.ports = from.ports;
  to.alarms = from.alarms;
  to.millis = from.millis;
}

}  // namespace velad
