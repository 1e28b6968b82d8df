#include "apps/velactl/table.h"

#include <algorithm>
#include <utility>

#include "apps/velactl/utf8.h"
#include "platform/os/vela_os.h"

namespace velactl {

Table::Table(std::vector<std::string> head) : m_widths(head.size()) {
  Add(std::move(head));
}

void Table::Add(std::vector<std::string> cells) {
  cells.resize(m_widths.size());
  for (std::size_t i = 0; i < cells.size(); ++i) {
    cells[i] = vela::EscapeControls(cells[i]);
    m_widths[i] = std::max(m_widths[i], DisplayWidth(cells[i]));
  }
  m_rows.push_back(std::move(cells));
}

std::string Table::Text() const {
  std::string text;
  for (const auto& row : m_rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      text += row[i];
      if (i + 1 < row.size()) text.append(m_widths[i] - DisplayWidth(row[i]) + 2, ' ');
    }
    text += '\n';
  }
  return text;
}

}  // namespace velactl
