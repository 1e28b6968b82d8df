#include "platform/asncmd/asn_helper.h"

#include <gtest/gtest.h>

#include "asn1/error.h"
#include "asn1/result.h"
#include "platform/asncmd/asn_req_data.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/task/vela_error.h"
#include "platform/testkit/testkit.h"
#include "tests/platform/hostile_rows.h"

namespace {

using Encoding = std::basic_string<unsigned char>;

Encoding Encoded(const AsnType& msg) {
  unsigned char* buffer = nullptr;
  std::size_t size = 0;
  EXPECT_EQ(CAsnHelper::Encode(msg, buffer, size), 0u);
  const Encoding bytes(buffer, size);
  CAsnHelper::ReleaseAsnBuf(buffer);
  return bytes;
}

// Bytes without a byte behind them, so that the address sanitizer sees every read beyond.
class Exactly {
 public:
  explicit Exactly(const std::string& bytes)
      : m_bytes(new unsigned char[bytes.size()]), m_size(bytes.size()) {
    std::copy(bytes.begin(), bytes.end(), m_bytes.get());
  }
  std::span<const unsigned char> get() const { return {m_bytes.get(), m_size}; }

 private:
  std::unique_ptr<unsigned char[]> m_bytes;
  std::size_t m_size;
};

template <class T>
void DecodeAndDrop(const hostile::Row& row) {
  const Exactly bytes(row.bytes);
  T msg;
  std::string reason;
  const std::uint32_t code = CAsnHelper::Decode(bytes.get(), msg, reason);
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
    const Exactly bytes(hostile::FromHex(hex));
    AsnErrInfo msg;
    std::string reason;
    EXPECT_EQ(CAsnHelper::Decode(bytes.get(), msg, reason), VELA_ERR_DECODE) << hex;
    EXPECT_EQ(reason.find(where), 0u) << hex << ": " << reason;
  }
}

TEST(AsnHelper, ValuesSurviveTheWay) {
  AsnErrInfoList sent;
  for (int i = 0; i < 1000; ++i) {
    AsnErrInfo& info = *sent.append();
    info.errorCode = i % 3 == 0 ? -1 : 0x7FFFFFFF - i;
    if (i % 2 == 0) info.errorText = new SNACC::AsnOcts(std::string(i, 'x').c_str());
    if (i % 5 == 0) info.position = new SNACC::AsnOcts("\0\xFF", 2);
  }
  const Encoding bytes = Encoded(sent);
  AsnErrInfoList received;
  std::string reason = "of an earlier call";
  ASSERT_EQ(CAsnHelper::Decode(bytes, received, reason), 0u) << reason;
  EXPECT_EQ(reason, "");
  ASSERT_EQ(received.size(), 1000u);
  EXPECT_EQ(received.back().errorCode, -1);
  EXPECT_EQ(received.back().position, nullptr);
  EXPECT_EQ(Encoded(received), bytes);
}

TEST(AsnHelper, EncodeFailuresLeaveNoBuffer) {
  const std::string text(100000, 'x');
  const SNACC::AsnOcts msg(text.c_str());
  const std::size_t exact = Encoded(msg).size();
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
  const testkit::OsFaults noMemory([](vela::OsCall call, const char*) {
    return vela::OsFault{.error = call == vela::OsCall::allocate ? ENOMEM : 0};
  });
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

// Records as the compiler makes them: a list as a field, in a nested record, and behind a tag.
class OctsList : public AsnSeqOf<SNACC::AsnOcts> {
 public:
  AsnType* Clone() const override { return new OctsList(*this); }
  const char* typeName() const override { return "OctsList"; }
};

struct Record : AsnType {
  SNACC::AsnInt number = 7;
  OctsList first;
  std::unique_ptr<OctsList> tagged;
  std::unique_ptr<Record> inner;
  OctsList last;
  bool broken = false;

  AsnType* Clone() const override { return nullptr; }
  const char* typeName() const override { return "Record"; }
  void BDec(const AsnBuf&, SNACC::AsnLen&) override {}
  void Print(std::ostream&, unsigned short) const override {}
  SNACC::AsnLen BEnc(AsnBuf& out) const override {
    SNACC::AsnLen size = last.BEnc(out);
    if (inner) size += inner->BEnc(out);
    if (tagged) {
      SNACC::AsnLen wrapped = tagged->BEnc(out);
      wrapped += SNACC::BEncDefLen(out, wrapped);
      out.PutByteRvs('\xA3');
      size += wrapped + 1;
    }
    size += first.BEnc(out);
    if (broken) throw SNACC::ConstraintException("broken", "", 0, "");
    size += number.BEnc(out);
    size += SNACC::BEncDefLen(out, size);
    out.PutByteRvs('\x30');
    return size + 1;
  }
};

void Fill(OctsList& list, std::size_t count, std::size_t size) {
  for (std::size_t i = 0; i < count; ++i)
    list.append(SNACC::AsnOcts(std::string(size, char('a' + i % 26)).c_str()));
}

// What comes is the request with an empty list, and the place at which the elements belong.
void ExpectExcluded(const AsnType& request, OctsList& list, const char* what) {
  SCOPED_TRACE(what);
  std::vector<const void*> before, after;
  for (const auto& element : list) before.push_back(&element);
  const Encoding whole = Encoded(request);
  const Encoding ofList = Encoded(list);
  unsigned char* buffer = nullptr;
  std::size_t size = 0, offset = 0, octets = 0;
  ASSERT_EQ(CAsnHelper::EncodeExcludeListField(request, list, buffer, size, offset, octets), 0u);
  const Encoding emptied(buffer, size);
  CAsnHelper::ReleaseAsnBuf(buffer);
  for (const auto& element : list) after.push_back(&element);
  EXPECT_EQ(before, after);
  EXPECT_EQ(Encoded(request), whole);

  ASSERT_EQ(octets, 1u);
  EXPECT_EQ(emptied.substr(offset - 1, 2), Encoding({0x30, 0x00}));
  EXPECT_TRUE(whole.ends_with(ofList + emptied.substr(offset + 1))) << offset;
  const OctsList elements(list);
  list.clear();
  EXPECT_EQ(emptied, Encoded(request));
  list = elements;
}

TEST(AsnHelper, ExcludingOneOfEqualListsGivesItsPlace) {
  for (const std::size_t count : {0, 1, 40, 500}) {
    for (const std::size_t size : {0, 5, 300}) {
      Record request;  // all four lists are equal
      request.tagged = std::make_unique<OctsList>();
      request.inner = std::make_unique<Record>();
      for (OctsList* list : {&request.first, &request.last, request.tagged.get(), &request.inner->first}) {
        Fill(*list, count, size);
      }
      ExpectExcluded(request, request.first, "first");
      ExpectExcluded(request, request.last, "last");
      ExpectExcluded(request, *request.tagged, "tagged");
      ExpectExcluded(request, request.inner->first, "nested");
      ExpectExcluded(request, request.inner->last, "nested, empty");
      ExpectExcluded(request.first, request.first, "the request is the list");
    }
  }
}

TEST(AsnHelper, ExcludingFailsWithoutTouchingTheRequest) {
  Record request;
  Fill(request.first, 3, 10);
  OctsList elsewhere;
  Fill(elsewhere, 3, 10);
  const Encoding whole = Encoded(request);
  const auto exclude = [&](const AsnType& field) {
    unsigned char* buffer = nullptr;
    std::size_t size = 1, offset = 1, octets = 1;
    const std::uint32_t code =
        CAsnHelper::EncodeExcludeListField(request, field, buffer, size, offset, octets);
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(size + offset + octets, 0u);
    return code;
  };
  EXPECT_EQ(exclude(elsewhere), VELA_ERR_GENERAL);
  EXPECT_EQ(exclude(request.number), VELA_ERR_GENERAL);
  request.broken = true;
  EXPECT_EQ(exclude(request.first), VELA_ERR_GENERAL);
  request.broken = false;
  EXPECT_EQ(elsewhere.size(), 3u);
  EXPECT_EQ(Encoded(request), whole);
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
