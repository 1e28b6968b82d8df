#include "apps/common/inventory.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "apps/common/csv.h"
#include "apps/common/texts.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/os/vela_os.h"
#include "platform/text/utf8.h"
#include "util/basicutil/unicode.h"

namespace apps {
namespace {

// What could not be sent in one message anyway.
constexpr std::size_t kLargestFile = std::size_t{32} << 20;

struct Column {
  std::string_view name;
  std::string InventoryRow::*field;
};
constexpr std::array<Column, 6> kColumns = {{{"identifier", &InventoryRow::identifier},
                                             {"name", &InventoryRow::name},
                                             {"type", &InventoryRow::type},
                                             {"address", &InventoryRow::address},
                                             {"version", &InventoryRow::version},
                                             {"position", &InventoryRow::position}}};

constexpr char kHead[] = "identifier,name,type,address,version,position";

std::string At(std::size_t line, const std::string& text) {
  return Text("INVENTORY_LINE", {std::to_string(line), text});
}

// Which field each column of the file fills.
std::optional<std::vector<std::string InventoryRow::*>> ReadHead(const CsvRow& head, std::string& error) {
  std::vector<std::string InventoryRow::*> fields;
  for (const std::string& name : head.fields) {
    const auto* column =
        std::find_if(kColumns.begin(), kColumns.end(), [&](const Column& c) { return c.name == name; });
    if (column == kColumns.end()) {
      error = At(head.line, Text("INVENTORY_UNKNOWN_COLUMN", {vela::EscapeControls(name), kHead}));
      return std::nullopt;
    }
    if (std::find(fields.begin(), fields.end(), column->field) != fields.end()) {
      error = At(head.line, Text("INVENTORY_COLUMN_TWICE", {name}));
      return std::nullopt;
    }
    fields.push_back(column->field);
  }
  for (const Column& column : kColumns) {
    if (std::find(fields.begin(), fields.end(), column.field) != fields.end()) continue;
    error = At(head.line, Text("INVENTORY_NO_COLUMN", {std::string(column.name)}));
    return std::nullopt;
  }
  return fields;
}

// What GB2312 text, as spreadsheets write it in China, is in UTF-8; empty when it holds a pair that is no
// character.
std::string FromGb2312(std::string text) {
  constexpr unsigned short none = 0xFFFF;
  const int size = static_cast<int>(text.size());
  std::vector<unsigned short> units(text.size());
  const int count =
      NSTE_util::gb_unicode(units.data(), reinterpret_cast<unsigned char*>(text.data()), size, size).second;
  units.resize(static_cast<std::size_t>(count));
  if (std::find(units.begin(), units.end(), none) != units.end()) return {};
  std::string converted(units.size() * 3, '\0');
  const int bytes = NSTE_util::unicode_utf8(reinterpret_cast<unsigned char*>(converted.data()), units.data(),
                                            static_cast<int>(converted.size()), count)
                        .second;
  converted.resize(static_cast<std::size_t>(bytes));
  return converted;
}

}  // namespace

bool ParseInventory(std::string_view text, std::vector<InventoryRow>& rows, std::string& error) {
  std::vector<CsvRow> lines;
  const CsvError csvError = ParseCsv(text, lines);
  if (!csvError.text.empty()) {
    error = At(csvError.line, csvError.text);
    return false;
  }
  if (lines.empty()) {
    error = At(1, Text("INVENTORY_NO_HEAD", {kHead}));
    return false;
  }
  const auto fields = ReadHead(lines[0], error);
  if (!fields) return false;
  for (std::size_t i = 1; i < lines.size(); ++i) {
    CsvRow& line = lines[i];
    if (line.fields.size() != fields->size()) {
      error = At(line.line, Text("INVENTORY_FIELDS",
                                 {std::to_string(line.fields.size()), std::to_string(fields->size())}));
      return false;
    }
    InventoryRow row{line.line, {}, {}, {}, {}, {}, {}};
    for (std::size_t j = 0; j < fields->size(); ++j) row.*(*fields)[j] = std::move(line.fields[j]);
    rows.push_back(std::move(row));
  }
  if (rows.empty()) error = At(lines[0].line, Text("INVENTORY_EMPTY"));
  return !rows.empty();
}

bool ReadInventory(const std::string& file, std::vector<InventoryRow>& rows, std::string& error) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> in(VELA_OS::fopen(file.c_str(), "rb"),
                                                           VELA_OS::fclose);
  std::string text;
  if (in) {
    char block[65536];
    std::size_t got = 0;
    while ((got = VELA_OS::fread(block, 1, sizeof block, in.get())) != 0 && text.size() <= kLargestFile)
      text.append(block, got);
  }
  if (!in || std::ferror(in.get()) != 0) {
    error = file + ": " + std::strerror(errno);
    return false;
  }
  if (text.size() > kLargestFile) {
    error = Text("INVENTORY_TOO_LARGE", {file, std::to_string(kLargestFile >> 20)});
    return false;
  }
  if (!vela::IsUtf8(text))
    if (std::string converted = FromGb2312(text); vela::IsUtf8(converted) && !converted.empty())
      text = std::move(converted);
  if (ParseInventory(text, rows, error)) return true;
  error.insert(0, file + ": ");
  return false;
}

bool FitsOneRequest(const std::vector<InventoryRow>& rows, std::size_t fields) {
  const std::size_t headersEach = 4 + 6 * fields;
  std::size_t bytes = 64;
  for (const InventoryRow& row : rows)
    bytes += headersEach + row.identifier.size() + row.name.size() + row.type.size() + row.address.size() +
             row.version.size() + row.position.size();
  const vela::AsnLimits& limits = vela::ConfiguredAsnLimits();
  return bytes <= limits.maxBytes && rows.size() * (fields + 1) + 8 <= limits.maxElements;
}

}  // namespace apps
