#include <array>
#include <limits>
#include <optional>

#include "asn1/qcommon.h"
#include "asn1/result.h"
#include "tests/util/util_test.h"
#include "util/basicutil/asn_convert.h"
#include "util/basicutil/client_records.h"

namespace {

constexpr std::uint32_t NOTICE = SUCCESS_WITH_NOTICE;

template <class Record>
std::optional<std::uint32_t> Code(const Record& record) {
  if (record.errorCode == nullptr) return std::nullopt;
  return static_cast<std::uint32_t>(static_cast<AsnIntType>(*record.errorCode));
}

TEST(SingleReturn, AssignmentDropsTheStringErrorCodeThatACopyKeeps) {
  TESingleReturn result(5, "reason", "E-5"), assigned;
  const TESingleReturn& alias = result;
  assigned = result;
  result = alias;
  EXPECT_EQ(TESingleReturn(result).GetStrErrCode() + assigned.GetStrErrCode(), "E-5");
  EXPECT_EQ(assigned.GetReason(), "reason");
  result = 0;
  EXPECT_TRUE(result.IsSuccess() && (result.GetReason() + result.GetStrErrCode()).empty());
}

TEST(SingleReturn, ComparesUnsignedCodesOnly) {
  const TESingleReturn small(5, "a", ""), same(0x100000005UL, "b", "x"), big(0xFFFFFFFF, "", "");
  EXPECT_TRUE(small == same && !(small != same) && !(small < same));
  EXPECT_TRUE(small < big && small < -1 && big == -1 && big != 5 && big == 0xFFFFFFFFU);
}

TEST(Conversion, ResultToRecordAndBack) {
  const std::tuple<std::uint32_t, bool, std::optional<std::uint32_t>> rows[] = {
      // code, the record's flag and its code
      {0, true, std::nullopt},
      {NOTICE, true, NOTICE},
      {5, false, 5U},
      {0xFFFFFFFF, false, 0xFFFFFFFF}};
  for (const auto& [code, flag, inRecord] : rows) {
    SCOPED_TRACE(code);
    AsnSingleReturn record;
    record.errorCode = new AsnInt(77);  // a code that was there before
    SingleReturnE2A(TESingleReturn(code, "why", "E"), record);
    EXPECT_EQ(static_cast<bool>(record.result), flag);
    EXPECT_EQ(Code(record), inRecord);
    TESingleReturn back(1, "old", "old");
    SingleReturnA2E(record, back);
    EXPECT_EQ(back.GetReason() + "/" + back.GetStrErrCode(), "why/");
    EXPECT_TRUE(back == code && back.IsSuccess() == flag);

    qcommon::QAsnSingleReturn second;
    second.reason = new AsnOcts("old");
    CfgFillRspRslt(code, &second);
    EXPECT_EQ(Code(second), inRecord);
    EXPECT_EQ(second.reason, nullptr);
    SingleReturnQA2E(second, back);
    EXPECT_TRUE(back == code);
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
  const std::tuple<__int64, long, unsigned long, bool> rows[] = {
      // value, high and low half, whether they make the value again
      {0, 0, 0, true},
      {0x1234567890, 0x12, 0x34567890, true},
      {std::numeric_limits<__int64>::max(), 0x7FFFFFFF, 0xFFFFFFFF, true},
      {-1, 0, 0xFFFFFFFF, false},
      {-0x100000001, -1, 0xFFFFFFFF, false},
      {std::numeric_limits<__int64>::min(), -0x80000000L, 0, true}};
  for (const auto& [value, high, low, inverse] : rows) {
    long upper = 1;
    unsigned long lower = 1;
    SplitLongLong(value, upper, lower);
    EXPECT_EQ(std::pair(upper, lower), std::pair(high, low)) << value;
    EXPECT_EQ(MakeLongLong(upper, lower) == value, inverse) << value;
    EXPECT_EQ(Str2BigInt(BigInt2Str(value).c_str()), value);
  }
  EXPECT_EQ(MakeLongLong(-1, 0xFFFFFFFF), -1);
  EXPECT_EQ(Str2BigInt(" \t+12x") + Str2BigInt("x") + Str2BigInt(nullptr), 12);
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
  const std::tuple<ClientMissionID, ClientMissionID, bool, bool, const char*> rows[] = {
      {key(1, 1, 1, 0), key(1, 1, 1, 5), true, false, "wildcard on the left"},
      {key(1, 1, 1, 5), key(1, 1, 1, 0), true, false, "wildcard on the right"},
      {key(1, 1, 1, 4), key(1, 1, 1, 5), false, true, "both given"},
      {key(1, 1, 1, 5), key(1, 1, 2, 0), false, true, "the desk decides before"},
      {key(-1, 9, 9, 9), key(0, 1, 1, 1), false, true, "mission numbers are signed"},
      {key(1, 2, 1, 0), key(1, 0x80000000, 1, 0), false, true, "client numbers are not"}};
  for (const auto& [left, right, equal, less, why] : rows)
    EXPECT_EQ(std::pair(left == right, left < right), std::pair(equal, less)) << why;
  EXPECT_TRUE(ClientMissionIDExactLess()(key(1, 1, 1, 0), key(1, 1, 1, 5)));
  EXPECT_FALSE(ClientMissionIDExactLess()(key(1, 1, 1, 5), key(1, 1, 1, 0)));
}

}  // namespace
