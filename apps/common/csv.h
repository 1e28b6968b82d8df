#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace apps {

struct CsvRow {
  std::size_t line;  // where it begins, from 1
  std::vector<std::string> fields;
};

struct CsvError {
  std::size_t line = 0;
  std::string text;  // empty: none
};

// Splits comma-separated text into rows. Fields may stand in double quotes, then hold commas, line ends and
// doubled quotes; LF, CRLF and a leading byte-order mark are accepted; empty lines are skipped; blanks belong
// to the field. Nothing is guessed: stray quotes, a quote that is never closed, control characters outside
// quotes and bytes that are no UTF-8 are errors, and then `rows` holds what came before.
CsvError ParseCsv(std::string_view text, std::vector<CsvRow>& rows);

}  // namespace apps
