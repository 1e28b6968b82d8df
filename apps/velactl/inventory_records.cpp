#include "apps/velactl/inventory_records.h"

#include "apps/common/texts.h"

namespace velactl {

std::string ReadRows(const std::string& file, std::size_t fields, std::vector<apps::InventoryRow>& rows) {
  std::string error;
  if (!apps::ReadInventory(file, rows, error)) return apps::Text("AUDIT_NOTHING_SENT", {error});
  if (apps::FitsOneRequest(rows, fields)) return {};
  return apps::Text("AUDIT_TOO_MANY", {file, std::to_string(rows.size())});
}

}  // namespace velactl
