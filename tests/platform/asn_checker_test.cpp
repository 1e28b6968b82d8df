#include "platform/asncmd/asn_checker.h"

#include "tests/platform/hostile_rows.h"
#include "tests/test_base.h"

namespace {

std::span<const unsigned char> Bytes(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

TEST(AsnChecker, SaysWhatIsWrongAndWhere) {
  for (const hostile::Row& row : hostile::Rows()) {
    const vela::AsnVerdict verdict = vela::CheckAsn(Bytes(row.bytes), vela::AsnLimits{});
    EXPECT_EQ(verdict.ok(), row.reason.empty()) << row.name << ": " << (verdict.ok() ? "" : verdict.reason);
    EXPECT_EQ(verdict.offset, row.offset) << row.name;
    if (!verdict.ok()) {
      EXPECT_NE(std::string(verdict.reason).find(row.reason), std::string::npos)
          << row.name << ": " << verdict.reason;
    }
  }
}

// A request with a list, an optional field behind a tag, and both forms of length.
const std::string message = hostile::FromHex(
    "30 24 020101 A0 05 0403414243 A1 80 30 03 0101FF 0000 30 81 0E 30 05 04820001 58 3005 0C03C3A4"
    "41");

TEST(AsnChecker, RefusesEveryTruncationAndEveryExtension) {
  ASSERT_TRUE(vela::CheckAsn(Bytes(message), {}).ok());
  for (std::size_t size = 0; size < message.size(); ++size) {
    EXPECT_FALSE(vela::CheckAsn(Bytes(message.substr(0, size)), {}).ok()) << size;
  }
  EXPECT_EQ(vela::CheckAsn(Bytes(message + '\0'), {}).offset, message.size());
}

TEST(AsnChecker, LimitsAreInclusive) {
  const std::string nested = hostile::Repeat("3080", 70) + hostile::Repeat("0000", 70);
  const std::string integer = hostile::FromHex("3003020101");
  const std::tuple<vela::AsnLimits, std::string, bool> rows[] = {
      {{.maxBytes = 5, .maxDepth = 1, .maxElements = 2}, integer, true},
      {{.maxBytes = 4, .maxDepth = 1, .maxElements = 2}, integer, false},
      {{.maxBytes = 5, .maxDepth = 0, .maxElements = 2}, integer, false},
      {{.maxBytes = 5, .maxDepth = 1, .maxElements = 1}, integer, false},
      {{.maxDepth = 1000}, nested, false},  // the ceiling holds whatever the limit says
      {{.maxDepth = 1000}, nested.substr(12, 256), true},
  };
  for (const auto& [limits, bytes, accepted] : rows)
    EXPECT_EQ(vela::CheckAsn(Bytes(bytes), limits).ok(), accepted);
}

TEST(AsnChecker, ConfiguredLimitsAreClamped) {
  files::Write("etc/conf/vela.cfg", "AsnMaxBytes = 2000\nAsnMaxDepth = 1000\nAsnMaxElements = -1\n");
  const vela::AsnLimits& limits = vela::ConfiguredAsnLimits();
  EXPECT_EQ(limits.maxBytes, 2000u);
  EXPECT_EQ(limits.maxDepth, vela::AsnLimits::depthCeiling);
  EXPECT_EQ(limits.maxElements, 100u);
}

}  // namespace
