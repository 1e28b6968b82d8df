#include "platform/asncmd/asn_helper.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>
#include <new>

#include "asn1/error.h"
#include "asn1/qcommon.h"
#include "asn1/result.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_req_data.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/os/os_faults.h"
#include "platform/task/vela_error.h"
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

// Bytes that end where the address space ends.
class AtPageEnd {
 public:
  explicit AtPageEnd(const std::string& bytes) : m_room((bytes.size() + 2 * page) / page * page) {
    m_map =
        static_cast<char*>(mmap(nullptr, m_room, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(m_map + m_room - page, page, PROT_NONE);
    m_bytes = m_map + m_room - page - bytes.size();
    std::memcpy(m_bytes, bytes.data(), bytes.size());
    m_size = bytes.size();
  }
  ~AtPageEnd() { munmap(m_map, m_room); }
  std::span<const unsigned char> get() const { return {reinterpret_cast<unsigned char*>(m_bytes), m_size}; }

 private:
  static constexpr std::size_t page = 4096;
  std::size_t m_room;
  char* m_map;
  char* m_bytes;
  std::size_t m_size;
};

template <class T>
void DecodeAndDrop(const hostile::Row& row) {
  const AtPageEnd bytes(row.bytes);
  T msg;
  std::string reason;
  const std::uint32_t code = CAsnHelper::Decode(bytes.get(), msg, reason);
  EXPECT_EQ(code == 0, reason.empty()) << row.name;
  if (row.reason.empty()) return;
  EXPECT_EQ(code, VELA_ERR_DECODE) << row.name;
  EXPECT_EQ(reason.find("byte " + std::to_string(row.offset) + ": "), 0u) << row.name << ": " << reason;
  EXPECT_NE(reason.find(row.reason), std::string::npos) << row.name << ": " << reason;
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
  struct {
    const char* hex;
    const char* where;
  } const rows[] = {
      {"3000", "byte 2: "},
      {"0500", "byte 1: "},
      {"3002 3000", "byte 3: "},
      {"3003 0101FF", "byte 3: "},
      {"3006 020101 020102", "byte 6: "},
      {"3007 020101 A0020500", "byte 8: "},
  };
  for (const auto& row : rows) {
    const AtPageEnd bytes(hostile::FromHex(row.hex));
    AsnErrInfo msg;
    std::string reason;
    EXPECT_EQ(CAsnHelper::Decode(bytes.get(), msg, reason), VELA_ERR_DECODE) << row.hex;
    EXPECT_EQ(reason.find(row.where), 0u) << row.hex << ": " << reason;
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
  struct {
    std::size_t limit;
    bool memory;
    std::uint32_t code;
  } const rows[] = {{exact, true, 0},
                    {exact - 1, true, VELA_ERR_GENERAL},
                    {10, true, VELA_ERR_GENERAL},
                    {exact, false, VELA_ERR_MEMORY}};
  for (const auto& row : rows) {
    if (!row.memory) {
      vela::SetOsFaultHook([](vela::OsCall call, const char*) {
        return vela::OsFault{.error = call == vela::OsCall::allocate ? ENOMEM : 0};
      });
    }
    unsigned char* buffer = nullptr;
    std::size_t size = 1;
    EXPECT_EQ(CAsnHelper::Encode(msg, buffer, size, row.limit), row.code);
    EXPECT_EQ(buffer == nullptr, row.code != 0);
    EXPECT_EQ(size, row.code == 0 ? exact : 0);
    CAsnHelper::ReleaseAsnBuf(buffer);
    vela::SetOsFaultHook({});
  }
}

TEST(AsnHelper, LengthOctetsAreTheShortest) {
  struct {
    std::uint32_t length;
    const char* hex;
  } const rows[] = {{0, "00"},
                    {0x7F, "7F"},
                    {0x80, "8180"},
                    {0xFF, "81FF"},
                    {0x100, "820100"},
                    {0xFFFF, "82FFFF"},
                    {0x10000, "83010000"},
                    {0x1000000, "8401000000"},
                    {0xFFFFFFFF, "84FFFFFFFF"}};
  for (const auto& row : rows) {
    unsigned char octets[5];
    const std::size_t count = CAsnHelper::EncodeAsnLen(row.length, octets);
    EXPECT_EQ(std::string(octets, octets + count), hostile::FromHex(row.hex)) << row.length;
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

Encoding Header(unsigned char tag, std::size_t length) {
  unsigned char octets[5];
  return Encoding(1, tag) +
         Encoding(octets, CAsnHelper::EncodeAsnLen(static_cast<std::uint32_t>(length), octets));
}

// `emptied` with `elements` in the list whose length octet stands at `at`, and all lengths around it
// corrected. All tags have one octet.
Encoding Splice(const Encoding& emptied, std::size_t at, const Encoding& elements) {
  if (at == 1) return Header(emptied[0], elements.size()) + elements;
  Encoding content;
  const std::size_t headerSize = emptied[1] < 0x80 ? 2 : 2 + (emptied[1] & 0x7F);
  for (std::size_t child = headerSize; child < emptied.size();) {
    std::size_t length = emptied[child + 1], header = 2;
    if (length >= 0x80) {
      header += length & 0x7F;
      length = 0;
      for (std::size_t i = 2; i < header; ++i) length = length << 8 | emptied[child + i];
    }
    const Encoding whole = emptied.substr(child, header + length);
    const bool holdsList = at > child && at < child + whole.size();
    content += holdsList ? Splice(whole, at - child, elements) : whole;
    child += whole.size();
  }
  return Header(emptied[0], content.size()) + content;
}

void Fill(OctsList& list, std::size_t count, std::size_t size) {
  for (std::size_t i = 0; i < count; ++i)
    list.append(SNACC::AsnOcts(std::string(size, char('a' + i % 26)).c_str()));
}

void ExpectSpliceRebuilds(const AsnType& request, const OctsList& list, const char* what) {
  std::vector<const void*> before, after;
  for (const auto& element : list) before.push_back(&element);
  const Encoding whole = Encoded(request);
  Encoding elements;
  for (const auto& element : list) elements += Encoded(element);
  unsigned char* buffer = nullptr;
  std::size_t size = 0, offset = 0, octets = 0;
  ASSERT_EQ(CAsnHelper::EncodeExcludeListField(request, list, buffer, size, offset, octets), 0u) << what;
  const Encoding emptied(buffer, size);
  CAsnHelper::ReleaseAsnBuf(buffer);
  ASSERT_EQ(octets, 1u) << what;
  EXPECT_EQ(emptied.substr(offset - 1, 2), Encoding({0x30, 0x00})) << what;
  EXPECT_EQ(Splice(emptied, offset, elements), whole) << what;
  for (const auto& element : list) after.push_back(&element);
  EXPECT_EQ(before, after) << what;
  EXPECT_EQ(Encoded(request), whole) << what;
}

TEST(AsnHelper, SplicingTheElementsBackGivesTheRequest) {
  for (const std::size_t count : {0, 1, 40, 500}) {
    for (const std::size_t size : {0, 5, 300}) {
      Record request;  // all four lists are equal
      request.tagged = std::make_unique<OctsList>();
      request.inner = std::make_unique<Record>();
      for (OctsList* list : {&request.first, &request.last, request.tagged.get(), &request.inner->first}) {
        Fill(*list, count, size);
      }
      ExpectSpliceRebuilds(request, request.first, "first");
      ExpectSpliceRebuilds(request, request.last, "last");
      ExpectSpliceRebuilds(request, *request.tagged, "tagged");
      ExpectSpliceRebuilds(request, request.inner->first, "nested");
      ExpectSpliceRebuilds(request, request.inner->last, "nested, empty");
      ExpectSpliceRebuilds(request.first, request.first, "the request is the list");
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

TEST(AsnHelper, GeneratedClassesCrossLibraries) {
  const std::unique_ptr<AsnType> msg = std::make_unique<qcommon::QAsnSingleReturn>();
  EXPECT_NE(dynamic_cast<qcommon::QAsnSingleReturn*>(msg.get()), nullptr);
  EXPECT_EQ(dynamic_cast<AsnSingleReturn*>(msg.get()), nullptr);
}

struct Counted : SNACC::AsnNull {
  static inline int alive = 0;
  Counted() { ++alive; }
  ~Counted() override { --alive; }
};

TEST(AsnReqData, DeletesOnlyWhatItOwns) {
  auto* mine = new Counted;
  { const CAsnReqData data(*mine, 1, false); }
  EXPECT_EQ(Counted::alive, 1);
  { const CAsnReqData data(*mine, 1, true); }
  EXPECT_EQ(Counted::alive, 0);
}

}  // namespace
