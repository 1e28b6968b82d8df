#include "platform/asncmd/asn_helper.h"

#include "asn1/error.h"
#include "asn1/result.h"
#include "platform/asncmd/asn_req_data.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/task/vela_error.h"
#include "tests/platform/hostile_rows.h"
#include "tests/test_base.h"

namespace {

template <class T>
void DecodeAndDrop(const hostile::Row& row) {
  T msg;
  std::string reason;
  const std::uint32_t code = CAsnHelper::Decode(Exactly(row.bytes), msg, reason);
  EXPECT_EQ(code == 0, reason.empty()) << row.name;
  if (row.reason.empty()) return;
  EXPECT_EQ(code, VELA_ERR_DECODE) << row.name;
  EXPECT_EQ(reason.find("byte " + std::to_string(row.offset) + ": "), 0u) << row.name << ": " << reason;
}

TEST(AsnHelper, HostileBytesAreRefusedForEveryType) {
  for (const hostile::Row& row : hostile::Rows()) {
    DecodeAndDrop<SNACC::AsnInt>(row);
    DecodeAndDrop<SNACC::AsnOcts>(row);
    DecodeAndDrop<SNACC::AsnBits>(row);
    DecodeAndDrop<SNACC::AsnOid>(row);
    DecodeAndDrop<SNACC::UTF8String>(row);
    DecodeAndDrop<AsnErrInfoList>(row);
    DecodeAndDrop<AsnAttribValue>(row);
  }
}

// Well-formed, but not what the type says: the decoder meets the end of the bytes, or another tag.
TEST(AsnHelper, WhatTheDecoderRefusesIsReportedWithItsPlace) {
  const std::pair<const char*, const char*> rows[] = {
      {"3000", "byte 2: "},
      {"0500", "byte 1: "},
      {"3002 3000", "byte 3: "},
      {"3003 0101FF", "byte 3: "},
      {"3006 020101 020102", "byte 6: "},
      {"3007 020101 A0020500", "byte 8: "},
  };
  for (const auto& [hex, where] : rows) {
    AsnErrInfo msg;
    std::string reason;
    EXPECT_EQ(CAsnHelper::Decode(Exactly(hostile::FromHex(hex)), msg, reason), VELA_ERR_DECODE) << hex;
    EXPECT_EQ(reason.find(where), 0u) << hex << ": " << reason;
  }
}

TEST(AsnHelper, EncodeFailuresLeaveNoBuffer) {
  const SNACC::AsnOcts msg(std::string(100000, 'x').c_str());
  const std::size_t exact = testkit::Encoded(msg).size();
  const auto encode = [&](std::size_t limit) {
    unsigned char* buffer = nullptr;
    std::size_t size = 1;
    const std::uint32_t code = CAsnHelper::Encode(msg, buffer, size, limit);
    EXPECT_EQ(buffer == nullptr, code != 0);
    EXPECT_EQ(size, code == 0 ? exact : 0);
    CAsnHelper::ReleaseAsnBuf(buffer);
    return code;
  };
  EXPECT_EQ(encode(exact), 0u);
  EXPECT_EQ(encode(exact - 1), VELA_ERR_GENERAL);
  EXPECT_EQ(encode(10), VELA_ERR_GENERAL);
  const auto none = NoMemory();
  EXPECT_EQ(encode(exact), VELA_ERR_MEMORY);
}

TEST(AsnHelper, LengthOctetsAreTheShortest) {
  const std::pair<std::uint32_t, const char*> rows[] = {{0, "00"},          {0x7F, "7F"},
                                                        {0x80, "8180"},     {0x100, "820100"},
                                                        {0xFFFF, "82FFFF"}, {0x1000000, "8401000000"}};
  for (const auto& [length, hex] : rows) {
    unsigned char octets[5];
    const std::size_t count = CAsnHelper::EncodeAsnLen(length, octets);
    EXPECT_EQ(std::string(octets, octets + count), hostile::FromHex(hex)) << length;
  }
}

TEST(AsnReqData, DeletesOnlyWhatItOwns) {
  struct Counted : SNACC::AsnNull {
    explicit Counted(int& gone) : m_gone(gone) {}
    ~Counted() override { ++m_gone; }
    int& m_gone;
  };
  int gone = 0;
  auto* mine = new Counted(gone);
  { const CAsnReqData data(*mine, 1, false); }
  EXPECT_EQ(gone, 0);
  { const CAsnReqData data(*mine, 1, true); }
  EXPECT_EQ(gone, 1);
}

}  // namespace
