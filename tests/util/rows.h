#pragma once
#include <string>
#include <utility>
#include <vector>

// Cases in few lines: "input -> expected" becomes that pair; blanks beside the arrow's own belong to the
// texts.
inline std::vector<std::pair<std::string, std::string>> Rows(const std::vector<std::string>& rows) {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const std::string& row : rows) {
    const std::size_t arrow = row.find(" -> ");
    pairs.emplace_back(row.substr(0, arrow), row.substr(arrow + 4));
  }
  return pairs;
}
