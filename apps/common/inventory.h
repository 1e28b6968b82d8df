#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace apps {

// One NE of an inventory file, as it stands there.
struct InventoryRow {
  std::size_t line;
  std::string identifier;
  std::string name;
  std::string type;
  std::string address;
  std::string version;
  std::string position;
};

// Reads the CSV of an inventory: a head that names the six columns in any order, then one NE per row.
// False with `error`, "line N: what is wrong", when a row would be lost, changed or is missing.
bool ParseInventory(std::string_view text, std::vector<InventoryRow>& rows, std::string& error);

// The same for a file; `error` then begins with its name. A file that is no UTF-8 may be GB2312, which
// spreadsheets in China write.
bool ReadInventory(const std::string& file, std::vector<InventoryRow>& rows, std::string& error);

// Whether the server's limits let one request carry the rows, in records of `fields` texts; an upper bound of
// its size.
bool FitsOneRequest(const std::vector<InventoryRow>& rows, std::size_t fields);

}  // namespace apps
