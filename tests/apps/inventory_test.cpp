#include <gtest/gtest.h>

#include "apps/common/csv.h"
#include "apps/common/inventory.h"
#include "tests/files.h"

namespace apps {
namespace {

// Fields are shown as [a][b], rows with their line.
std::string Shown(const std::vector<CsvRow>& rows) {
  std::string text;
  for (const CsvRow& row : rows) {
    text += std::to_string(row.line);
    for (const std::string& field : row.fields) text += '[' + field + ']';
    text += ' ';
  }
  return text;
}

TEST(CsvTest, RowsAndErrors) {
  const struct {
    std::string text;
    const char* rows;
    std::size_t errorLine;  // 0: none
    const char* why;
  } cases[] = {
      {"", "", 0, "nothing"},
      {"a,b\nc,d", "1[a][b] 2[c][d] ", 0, "the last line needs no end"},
      {"\xEF\xBB\xBF"
       "a\r\nb\r\n",
       "1[a] 2[b] ", 0, "byte-order mark and CRLF"},
      {"a,,\n", "1[a][][] ", 0, "empty fields count"},
      {" a , b ", "1[ a ][ b ] ", 0, "blanks belong to the field"},
      {"\n\na\n\n", "3[a] ", 0, "empty lines are skipped and counted"},
      {"\"\"\n", "", 0, "a line that holds an empty field only is empty"},
      {"\"a,\"\"b\"\"\",c\n", "1[a,\"b\"][c] ", 0, "comma and quotes inside quotes"},
      {"\"x\ny\",1\nz,2\n", "1[x\ny][1] 3[z][2] ", 0, "a line end inside quotes counts"},
      {"\xE6\xB7\xB1,1", "1[\xE6\xB7\xB1][1] ", 0, "UTF-8"},
      {"a\nb\"c\n", "1[a] ", 2, "stray quote"},
      {"a\n\"b\"c\n", "1[a] ", 2, "text behind a closing quote"},
      {"a\n\n\"b\nc\nd", "1[a] ", 3, "never closed: the line where it began"},
      {"a\n\xE6\xB7\n", "1[a] ", 2, "cut UTF-8"},
      {"\"\xC0\xAF\"\n", "", 1, "overlong UTF-8 inside quotes"},
      {std::string("a\0b\n", 4), "", 1, "NUL"},
      {"a\x7F\n", "", 1, "DEL"},
      {"a\rb\n", "", 1, "a carriage return alone ends no line"},
  };
  for (const auto& c : cases) {
    std::vector<CsvRow> rows;
    const CsvError error = ParseCsv(c.text, rows);
    EXPECT_EQ(Shown(rows), c.rows) << c.why;
    EXPECT_EQ(error.line, c.errorLine) << c.why;
    EXPECT_EQ(error.text.empty(), c.errorLine == 0) << c.why;
  }
}

TEST(InventoryTest, HeadAndRows) {
  const std::string head = "identifier,name,type,address,version,position\n";
  const struct {
    std::string text;
    const char* error;  // part of it; empty: none
  } cases[] = {
      {"", "line 1: the head is missing"},
      {head, "line 1: no NE follows"},
      {"identifier,name\n1,2\n", "line 1: column 'type' is missing"},
      {"identifier,name,type,address,version,rack\n", "line 1: column 'rack' is not known"},
      {"identifier,name,name,type,address,version,position\n", "line 1: column 'name' stands there twice"},
      {head + "1,2,3,4,5,6\n\n1,2,3,4,5\n", "line 4: 5 fields instead of 6"},
      {head + "1,2,3,4,5,6,7\n", "line 2: 7 fields instead of 6"},
      {head + "1,\"2\n,3,4,5,6\n", "line 2: a quoted field is not closed"},
      {"position,name,type,address,version,identifier\nRoom 1,N,T,A,V,9-1\n", ""},
  };
  for (const auto& c : cases) {
    std::vector<InventoryRow> rows;
    std::string error;
    EXPECT_EQ(ParseInventory(c.text, rows, error), *c.error == '\0') << c.text;
    EXPECT_NE(error.find(c.error), std::string::npos) << error;
    if (*c.error != '\0') continue;
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].identifier, "9-1");
    EXPECT_EQ(rows[0].position, "Room 1");
    EXPECT_EQ(rows[0].line, 2U);
  }
  std::vector<InventoryRow> rows;
  std::string error;
  EXPECT_FALSE(ReadInventory("/tmp", rows, error));
  EXPECT_EQ(error, "/tmp: Is a directory");

  ASSERT_TRUE(ReadInventory(files::Write("gb.csv", head + "9-1,\xC9\xEE\xDB\xDA,T,A,V,P\n"), rows, error))
      << error;
  EXPECT_EQ(rows[0].name, "深圳");
  EXPECT_FALSE(ReadInventory(files::Write("bad.csv", head + "9-1,\xFF\xFE,T,A,V,P\n"), rows, error))
      << "neither UTF-8 nor GB2312";
}

}  // namespace
}  // namespace apps
