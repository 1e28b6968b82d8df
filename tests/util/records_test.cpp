#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <optional>

#include "asn1/qcommon.h"
#include "asn1/result.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/task/vela_error.h"
#include "util/basicutil/asn_convert.h"
#include "util/basicutil/client_records.h"

using namespace NSTE_util;

namespace {

constexpr std::uint32_t NOTICE = SUCCESS_WITH_NOTICE;

template <class Record>
std::optional<std::uint32_t> Code(const Record& record) {
  if (record.errorCode == nullptr) return std::nullopt;
  return static_cast<std::uint32_t>(static_cast<AsnIntType>(*record.errorCode));
}

TEST(SingleReturn, AssignmentDropsTheStringErrorCodeThatACopyKeeps) {
  const TESingleReturn result(5, "reason", "E-5");
  TESingleReturn assigned;
  assigned = result;
  EXPECT_EQ(TESingleReturn(result).GetStrErrCode(), "E-5");
  EXPECT_EQ(assigned.GetStrErrCode(), "");
  EXPECT_EQ(assigned.GetReason(), "reason");

  TESingleReturn itself(5, "reason", "E-5");
  const TESingleReturn& alias = itself;
  itself = alias;
  EXPECT_EQ(itself.GetStrErrCode(), "E-5");

  itself = 0;
  EXPECT_TRUE(itself.IsSuccess());
  EXPECT_EQ(itself.GetReason() + itself.GetStrErrCode(), "");
}

TEST(SingleReturn, ComparesUnsignedCodesOnly) {
  const TESingleReturn small(5, "a", ""), same(5, "b", "x"), big(0xFFFFFFFF, "", "");
  EXPECT_TRUE(small == same && !(small != same) && !(small < same));
  EXPECT_TRUE(small < big && small < -1 && big == -1 && big != 5 && big == 0xFFFFFFFFU);
  EXPECT_EQ(static_cast<unsigned long>(TESingleReturn(0x100000005UL, "", "")), 5UL) << "codes have 32 bits";
}

TEST(Conversion, ResultToRecordAndBack) {
  const struct {
    std::uint32_t code;
    bool flag;
    std::optional<std::uint32_t> inRecord;
  } rows[] = {{0, true, std::nullopt},
              {NOTICE, true, NOTICE},
              {5, false, 5U},
              {VELA_ERR_GENERAL, false, VELA_ERR_GENERAL},
              {0xFFFFFFFF, false, 0xFFFFFFFF}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.code);
    AsnSingleReturn record;
    record.errorCode = new AsnInt(77);  // a code that was there before
    SingleReturnE2A(TESingleReturn(row.code, "why", "E"), record);
    EXPECT_EQ(static_cast<bool>(record.result), row.flag);
    EXPECT_EQ(Code(record), row.inRecord);
    TESingleReturn back(1, "old", "old");
    SingleReturnA2E(record, back);
    EXPECT_TRUE(back == row.code);
    EXPECT_EQ(back.GetReason() + "/" + back.GetStrErrCode(), "why/");
    EXPECT_EQ(back.IsSuccess(), row.flag);

    qcommon::QAsnSingleReturn second;
    second.reason = new AsnOcts("old");
    CfgFillRspRslt(row.code, &second);
    EXPECT_EQ(Code(second), row.inRecord);
    EXPECT_EQ(second.reason, nullptr);
    SingleReturnQA2E(second, back);
    EXPECT_TRUE(back == row.code);
  }
}

TEST(Conversion, RecordsThatTheLibraryWouldNotWrite) {
  AsnSingleReturn record;
  TESingleReturn result;
  record.result = true;
  record.errorCode = new AsnInt(5);
  SingleReturnA2E(record, result);
  EXPECT_TRUE(result == 0 && result.IsSuccess()) << "a success has no code but the notice";

  record.result = false;
  delete std::exchange(record.errorCode, nullptr);
  SingleReturnA2E(record, result);
  EXPECT_TRUE(result == 0 && !result.IsSuccess()) << "a failure without a code stays a failure";

  record.errorCode = new AsnInt("\x01\x02\x03\x04\x05\x06\x07\x08\x09", std::size_t{9});
  SingleReturnA2E(record, result);
  EXPECT_TRUE(result == VELA_ERR_GENERAL) << "a code that does not fit";
}

TEST(Conversion, AReasonInTheRecordIsKeptUnlessTheResultHasNone) {
  AsnSingleReturn record;
  CfgFillSingleReturn(TESingleReturn(1, std::string("a\0b", 3), ""), &record);
  EXPECT_EQ(record.reason->data(), std::string("a\0b", 3));
  CfgFillSingleReturn(TESingleReturn(1, "second", ""), &record);
  EXPECT_EQ(record.reason->data(), std::string("a\0b", 3));
  CfgFillSingleReturn(TESingleReturn(1, "", ""), &record);
  EXPECT_EQ(record.reason, nullptr);
}

TEST(Conversion, AttributeValuesByTypeCode) {
  AsnAttribValue part;
  EXPECT_EQ(GetValueFromAsn1(part), TEValue(0));
  const TEValue values[] = {TEValue("one", TEValue::TEXT_LONG), TEValue("first"),
                            TEValue("two", TEValue::TEXT2_LONG), TEValue("second", TEValue::TEXT2),
                            TEValue(-7)};
  const TEValue read[] = {TEValue("one"), TEValue("first"), TEValue("two"), TEValue("second"), TEValue(-7)};
  for (std::size_t i = 0; i < std::size(values); ++i) {  // each wins over what was set before
    SetAsn1Value(part, values[i]);
    EXPECT_EQ(GetValueFromAsn1(part), read[i]) << i;
  }
  EXPECT_EQ(part.firstText->data(), "first") << "other parts stay";
}

TEST(LongLong, SplitsTowardZero) {
  const struct {
    __int64 value;
    long high;
    unsigned long low;
    bool inverse;
  } rows[] = {{0, 0, 0, true},
              {0x1234567890, 0x12, 0x34567890, true},
              {std::numeric_limits<__int64>::max(), 0x7FFFFFFF, 0xFFFFFFFF, true},
              {-1, 0, 0xFFFFFFFF, false},
              {-0x100000001, -1, 0xFFFFFFFF, false},
              {std::numeric_limits<__int64>::min(), -0x80000000L, 0, true}};
  for (const auto& row : rows) {
    long high = 1;
    unsigned long low = 1;
    SplitLongLong(row.value, high, low);
    EXPECT_EQ(std::pair(high, low), std::pair(row.high, row.low)) << row.value;
    EXPECT_EQ(MakeLongLong(high, low) == row.value, row.inverse) << row.value;
    EXPECT_EQ(Str2BigInt(BigInt2Str(row.value).c_str()), row.value);
  }
  EXPECT_EQ(MakeLongLong(-1, 0xFFFFFFFF), -1);
  EXPECT_EQ(Str2BigInt(" \t+12x"), 12);
  EXPECT_EQ(Str2BigInt("x"), 0);
  EXPECT_EQ(Str2BigInt(nullptr), 0);
}

TEST(ClientRecords, AClientsFieldsCompareInTheOrderOfTheConstructor) {
  const std::array<TEClientStru, 7> ascending = {
      TEClientStru(0, 9, 9, 9, 9, 9),         TEClientStru(1, 1, 0, 0, 0, 0), TEClientStru(1, 1, 1, 1, 9, 9),
      TEClientStru(1, 1, 1, 2, 1, 9),         TEClientStru(1, 1, 1, 2, 2, 1), TEClientStru(1, 1, 1, 2, 2, 2),
      TEClientStru(0x80000000, 0, 0, 0, 0, 0)};
  for (std::size_t i = 0; i < ascending.size(); ++i)
    for (std::size_t j = 0; j < ascending.size(); ++j) {
      EXPECT_EQ(ascending[i] < ascending[j], i < j) << i << " " << j;
      EXPECT_EQ(ascending[i] != ascending[j], i != j) << i << " " << j;
    }
}

TEST(ClientRecords, AReplyAttributeOfZeroEqualsAny) {
  const auto key = [](std::int32_t mission, std::uint32_t client, std::uint16_t desk, std::uint16_t reply) {
    return ClientMissionID{mission, client, 1, 1, desk, reply};
  };
  const struct {
    ClientMissionID left, right;
    bool equal, less;
    const char* why;
  } rows[] = {{key(1, 1, 1, 0), key(1, 1, 1, 5), true, false, "wildcard on the left"},
              {key(1, 1, 1, 5), key(1, 1, 1, 0), true, false, "wildcard on the right"},
              {key(1, 1, 1, 4), key(1, 1, 1, 5), false, true, "both given"},
              {key(1, 1, 1, 5), key(1, 1, 2, 0), false, true, "the desk decides before"},
              {key(-1, 9, 9, 9), key(0, 1, 1, 1), false, true, "mission numbers are signed"},
              {key(1, 2, 1, 0), key(1, 0x80000000, 1, 0), false, true, "client numbers are not"}};
  for (const auto& row : rows) {
    EXPECT_EQ(row.left == row.right, row.equal) << row.why;
    EXPECT_EQ(row.left < row.right, row.less) << row.why;
  }
  EXPECT_TRUE(ClientMissionIDExactLess()(rows[0].left, rows[0].right));
  EXPECT_FALSE(ClientMissionIDExactLess()(rows[0].right, rows[0].left));
}

}  // namespace
