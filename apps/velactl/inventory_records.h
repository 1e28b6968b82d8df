#pragma once
#include <cstddef>
#include <string>
#include <vector>

#include "apps/common/asn_values.h"
#include "apps/common/inventory.h"

// Inventories as requests carry them.
namespace velactl {

// Empty, or why the file cannot be sent in one request whose records have so many fields.
std::string ReadRows(const std::string& file, std::size_t fields, std::vector<apps::InventoryRow>& rows);

// What all records have.
template <class Record>
void FillRecord(const apps::InventoryRow& row, Record& record) {
  apps::SetText(record.identifier, row.identifier);
  apps::SetText(record.name, row.name);
  apps::SetText(record.type, row.type);
  apps::SetText(record.address, row.address);
  apps::SetText(record.version, row.version);
}

}  // namespace velactl
