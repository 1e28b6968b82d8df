#include "apps/common/csv.h"

#include <algorithm>
#include <utility>

#include "apps/common/texts.h"
#include "platform/text/utf8.h"

namespace apps {
namespace {

class CsvParser {
 public:
  CsvParser(std::string_view text, std::vector<CsvRow>& rows) : m_rest(text), m_rows(rows) {}

  CsvError Run() {
    if (m_rest.starts_with("\xEF\xBB\xBF")) m_rest.remove_prefix(3);
    while (m_error.text.empty() && !m_rest.empty()) Row();
    return m_error;
  }

 private:
  void Row() {
    CsvRow row{m_line, {}};
    do {
      row.fields.push_back(m_rest.starts_with('"') ? QuotedField() : PlainField());
      if (!m_error.text.empty()) return;
    } while (Take(','));
    if (!EndOfRow()) return Fail(m_line, "INVENTORY_QUOTE_END");
    const bool blank = row.fields.size() == 1 && row.fields[0].empty();
    if (!blank) m_rows.push_back(std::move(row));
  }

  std::string PlainField() {
    std::string field(m_rest.substr(0, m_rest.find_first_of(",\n")));
    m_rest.remove_prefix(field.size());
    const bool lineEnd = m_rest.empty() || m_rest.front() == '\n';
    if (lineEnd && field.ends_with('\r')) field.pop_back();
    if (field.find('"') != std::string::npos)
      Fail(m_line, "INVENTORY_QUOTE_INSIDE");
    else
      CheckText(field, m_line);
    return field;
  }

  std::string QuotedField() {
    const std::size_t begin = m_line;
    std::string field;
    m_rest.remove_prefix(1);
    for (;;) {
      const std::size_t quote = m_rest.find('"');
      if (quote == std::string_view::npos) {
        Fail(begin, "INVENTORY_QUOTE_OPEN");
        return {};
      }
      const std::string_view part = m_rest.substr(0, quote);
      m_line += static_cast<std::size_t>(std::count(part.begin(), part.end(), '\n'));
      field += part;
      m_rest.remove_prefix(quote + 1);
      if (!Take('"')) break;
      field += '"';
    }
    if (!vela::IsUtf8(field)) Fail(begin, "INVENTORY_NOT_UTF8");
    return field;
  }

  void CheckText(std::string_view field, std::size_t line) {
    const auto control = [](unsigned char c) { return (c < 0x20 && c != '\t') || c == 0x7F; };
    if (!vela::IsUtf8(field))
      Fail(line, "INVENTORY_NOT_UTF8");
    else if (std::any_of(field.begin(), field.end(), control))
      Fail(line, "INVENTORY_CONTROL");
  }

  bool EndOfRow() {
    if (m_rest.starts_with("\r\n")) m_rest.remove_prefix(1);
    if (m_rest.empty()) return true;
    if (!Take('\n')) return false;
    ++m_line;
    return true;
  }

  bool Take(char c) {
    if (!m_rest.starts_with(c)) return false;
    m_rest.remove_prefix(1);
    return true;
  }

  void Fail(std::size_t line, apps::TextKey why) { m_error = {line, Text(why)}; }

  std::string_view m_rest;
  std::vector<CsvRow>& m_rows;
  std::size_t m_line = 1;
  CsvError m_error;
};

}  // namespace

CsvError ParseCsv(std::string_view text, std::vector<CsvRow>& rows) {
  return CsvParser(text, rows).Run();
}

}  // namespace apps
