#include <gtest/gtest.h>

#include "apps/handlers/audit/audit_rules.h"
#include "apps/handlers/audit/ne_types.h"
#include "tests/files.h"

namespace velad {
namespace {

TEST(AuditRulesTest, Identifiers) {
  const struct {
    const char* text;
    std::int64_t value;  // -1: refused
  } cases[] = {{"9-1", 0x90001}, {"0-1", 1},    {"65535-65535", 0xFFFFFFFF},
               {"1-0", 0x10000}, {"0-0", -1},   {"65536-1", -1},
               {"1-65536", -1},  {"09-1", -1},  {"9-01", -1},
               {"9", -1},        {"9-", -1},    {"-9", -1},
               {"9--1", -1},     {"9-1-2", -1}, {" 9-1", -1},
               {"9-1 ", -1},     {"+9-1", -1},  {"9-x", -1},
               {"", -1},         {"-", -1}};
  for (const auto& c : cases) {
    const auto value = ParseNEIdentifier(c.text);
    EXPECT_EQ(value ? std::int64_t{*value} : -1, c.value) << c.text;
  }
}

TEST(AuditRulesTest, Addresses) {
  enum Kind { malformed, unfit, fit };
  const std::pair<const char*, Kind> cases[] = {
      {"10.1.2.3", fit},         {"0.0.0.1", fit},           {"223.255.255.255", fit},
      {"240.0.0.0", fit},        {"0.0.0.0", unfit},         {"255.255.255.255", unfit},
      {"224.0.0.0", unfit},      {"239.255.255.255", unfit}, {"10.1.2", malformed},
      {"10.1.2.3.4", malformed}, {"10.1.2.256", malformed},  {"10.1.2.03", malformed},
      {"10.1..3", malformed},    {"10.1.2.", malformed},     {"10.1.2.-3", malformed},
      {"10.1.2.3 ", malformed},  {"::1", malformed},         {"", malformed}};
  for (const auto& [text, kind] : cases) {
    const auto address = ParseIPv4(text);
    EXPECT_EQ(!address ? malformed : CanBelongToOneNE(*address) ? fit : unfit, kind) << text;
  }
}

TEST(AuditRulesTest, VersionsCompareByNumber) {
  const struct {
    const char* left;
    const char* right;
    bool older;
  } cases[] = {{"5.9", "5.10", true},  {"6.1", "5.9", false},  {"5.10", "5.9", false},
               {"5", "5.0.0", false},  {"5.0.0", "5", false},  {"5", "5.0.1", true},
               {"5.01", "5.1", false}, {"4.99.99", "5", true}, {"4294967295", "5", false}};
  for (const auto& c : cases)
    EXPECT_EQ(IsOlder(*ParseVersion(c.left), *ParseVersion(c.right)), c.older) << c.left << ' ' << c.right;
  for (const char* bad : {"", ".", "5.", ".5", "5..1", "V5", "5.1a", "-1", "4294967296", "1.2.3.4.5.6.7"})
    EXPECT_FALSE(ParseVersion(bad)) << bad;
}

TEST(AuditRulesTest, FindingsOfOneRecord) {
  NETypes types;
  ASSERT_TRUE(types.Add("OTN", "5.10"));
  EXPECT_FALSE(types.Add("OTN", "1")) << "twice";
  EXPECT_FALSE(types.Add("PTN", "new"));
  const NERecord good{"9-1", "a", "OTN", "10.0.0.1", "5.10", ""};
  const struct {
    std::string NERecord::*field;
    const char* value;
    std::vector<AuditFault> faults;
  } cases[] = {
      {&NERecord::name, "x", {}},
      {&NERecord::identifier, "9", {AuditFault::identifierForm}},
      {&NERecord::name, " \t", {AuditFault::nameEmpty}},
      {&NERecord::address, "10.0.0", {AuditFault::addressForm}},
      {&NERecord::address, "0.0.0.0", {AuditFault::addressUse}},
      {&NERecord::type, "otn", {AuditFault::typeUnknown}},
      {&NERecord::version, "5.9", {AuditFault::versionLow}},
      {&NERecord::version, "", {AuditFault::versionForm}},
  };
  for (const auto& c : cases) {
    NERecord record = good;
    record.*c.field = c.value;
    std::vector<Finding> findings;
    CheckForm(record, 7, findings);
    CheckType(record, 7, types, findings);
    ASSERT_EQ(findings.size(), c.faults.size()) << c.value;
    for (std::size_t i = 0; i < findings.size(); ++i) {
      EXPECT_EQ(findings[i].fault, c.faults[i]);
      EXPECT_EQ(findings[i].record, 7U);
    }
  }
}

TEST(AuditRulesTest, BothPlacesOfADuplicateAreNamed) {
  const NERecord records[] = {{"9-1", "first", "", "10.0.0.1", "", ""},
                              {"9-2", "second", "", "10.0.0.1", "", ""},
                              {"9-1", "third", "", "10.0.0.1", "", ""},
                              {"x", "bad", "", "0.0.0.0", "", ""},
                              {"x", "bad", "", "0.0.0.0", "", ""}};
  CrossCheck check;
  std::vector<Finding> findings;
  for (std::size_t i = 0; i < std::size(records); ++i) check.Add(records[i], i, findings);
  ASSERT_EQ(findings.size(), 3U) << "malformed values are no duplicates";
  EXPECT_EQ(findings[0].fault, AuditFault::addressTwice);
  EXPECT_EQ(findings[0].record, 1U);
  EXPECT_EQ(findings[0].other, 0U);
  EXPECT_EQ(findings[0].text, "address 10.0.0.1 is also that of \"first\" (9-1)");
  EXPECT_EQ(findings[1].fault, AuditFault::identifierTwice);
  EXPECT_EQ(findings[1].other, 0U);
  EXPECT_EQ(findings[2].record, 2U);
}

TEST(AuditRulesTest, ForeignTextStaysOnOneLineAndShort) {
  EXPECT_EQ(Shown("a\nb\x1B"), "a\\x0Ab\\x1B");
  EXPECT_EQ(Shown("深圳", 4), "深...") << "whole characters";
  EXPECT_EQ(Shown(std::string(100, 'a')).size(), 67U);
}

TEST(NETypesTest, TableOfTheRootAndBrokenOnes) {
  NETypes types;
  std::string reason;
  EXPECT_TRUE(LoadNETypes(files::Root() + "conf/ne_types.cfg", types, reason)) << reason;
  EXPECT_NE(types.Find("OTN-9600"), nullptr);

  const std::string file = files::Root() + "types";
  const std::pair<const char*, std::string> cases[] = {{"# nothing\n", file + " holds no type"},
                                                       {"A = 1\n\nB = x\n", file + ":3: "},
                                                       {"A = 1\nA = 2\n", file + ":2: "}};
  for (const auto& [text, start] : cases) {
    files::Write("types", text);
    NETypes broken;
    EXPECT_FALSE(LoadNETypes(file, broken, reason)) << text;
    EXPECT_EQ(reason.substr(0, start.size()), start);
  }
  EXPECT_FALSE(LoadNETypes(file + "x", types, reason));
  EXPECT_EQ(reason, file + "x: No such file or directory");
}

}  // namespace
}  // namespace velad
