#include <gtest/gtest.h>

#include <string>

#include "apps/velactl/audit_options.h"
#include "apps/velactl/json.h"
#include "apps/velactl/progress_bar.h"
#include "apps/velactl/table.h"
#include "apps/velactl/utf8.h"

namespace velactl {
namespace {

TEST(TableTest, AlignsWhatATerminalShows) {
  Table table({"A", "NAME", "X"});
  table.Add({"1", "深圳", "wide"});
  table.Add({"22", "e\xCC\x81", "combining"});
  table.Add({"3", "a\x1B[2Jb", "escaped"});
  EXPECT_EQ(table.Text(),
            "A   NAME       X\n"
            "1   深圳       wide\n"
            "22  e\xCC\x81          combining\n"
            "3   a\\x1B[2Jb  escaped\n");
}

TEST(Utf8Test, FitsWholeCharacters) {
  EXPECT_EQ(FitColumns("a深圳", 4), "a深");
  EXPECT_EQ(FitColumns("e\xCC\x81x", 1), "e\xCC\x81");
  EXPECT_EQ(FitColumns("abc", 9), "abc");
}

TEST(JsonTest, IsAlwaysValid) {
  const std::pair<std::string, const char*> cases[] = {
      {"a\"\\b", R"("a\"\\b")"},
      {"\n\x1B\x7F", R"("\u000a\u001b\u007f")"},
      {std::string("\0", 1), R"("\u0000")"},
      {"深", "\"深\""},
      {"\xE0\x80\xAF", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""},  // overlong
      {"a\xFFz", "\"a\xEF\xBF\xBDz\""},
      {"\xED\xA0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""}};  // a surrogate
  for (const auto& [text, json] : cases) EXPECT_EQ(JsonString(text), json);
}

TEST(ProgressBarTest, PlainLinesForStepsAndTenths) {
  ProgressBar bar(0);
  EXPECT_EQ(bar.Update(0, "reading"), "0% reading\n");
  EXPECT_EQ(bar.Update(9, "reading"), "");
  EXPECT_EQ(bar.Update(10, "reading"), "10% reading\n");
  EXPECT_EQ(bar.Update(11, "checking"), "11% checking\n");
  EXPECT_EQ(bar.Update(5, ""), "") << "never backwards";
  EXPECT_EQ(bar.Update(4, "late\x1B"), "11% late\\x1B\n") << "a late step keeps the percentage";
  EXPECT_EQ(bar.Note("note"), "note\n");
  EXPECT_EQ(bar.Finish(true), "100% late\\x1B\n");
  EXPECT_EQ(bar.Update(1000, ""), "") << "not beyond 100";
}

TEST(ProgressBarTest, OneLineOnATerminal) {
  ProgressBar bar(32);
  EXPECT_EQ(bar.Update(50, "checking 深圳"), "[#####.....]  50%  checking 深");
  const std::string next = bar.Update(60, "");
  EXPECT_EQ(next.substr(0, 5), "\r\033[K[") << "drawn anew";
  EXPECT_LT(DisplayWidth(next.substr(4)), 32U);
  EXPECT_EQ(bar.Note("cancelling").substr(0, 15), "\r\033[Kcancelling\n");
  EXPECT_EQ(bar.Finish(false), "\n") << "an early end stays where it was";
  bar.SetSize({12, 1});
  EXPECT_EQ(bar.Update(61, "x"), " 61%  x") << "no room for a bar";
}

TEST(AuditOptionsTest, CommandLines) {
  const struct {
    std::vector<std::string> arguments;
    const char* error;  // part of it; empty: none
  } cases[] = {
      {{"f"}, ""},
      {{"--process", "7/9", "f", "--timeout=5", "--json"}, ""},
      {{}, "no inventory file"},
      {{"f", "g"}, "one inventory file"},
      {{"f", "--process"}, "--process takes"},
      {{"f", "--process", "0"}, "--process takes"},
      {{"f", "--process", "1/10001"}, "--process takes"},
      {{"f", "--process=65536"}, "--process takes"},
      {{"f", "--processes=1"}, "unknown option"},
      {{"f", "--timeout", "0"}, "--timeout takes"},
      {{"f", "--timeout", "1s"}, "--timeout takes"},
  };
  for (const auto& c : cases) {
    AuditOptions options;
    std::string error;
    EXPECT_EQ(ParseAuditOptions(c.arguments, options, error), *c.error == '\0') << error;
    EXPECT_NE(error.find(c.error), std::string::npos) << error;
    if (c.arguments.size() != 5) continue;
    EXPECT_EQ(options.server.process, 7);
    EXPECT_EQ(options.server.handle, 9);
    EXPECT_EQ(options.timeOut, 5);
    EXPECT_TRUE(options.json);
  }
}

}  // namespace
}  // namespace velactl
