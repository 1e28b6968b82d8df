#include "util/basicutil/asnassist.h"

#include <numeric>

#include "asn1/split.h"
#include "platform/asncmd/asn_checker.h"
#include "tests/platform/hostile_rows.h"
#include "tests/util/util_test.h"

namespace {

// An element that encodes as the bytes it is given, or not at all.
struct Raw : AsnType {
  std::string bytes;
  bool broken = false;
  AsnType* Clone() const override { return new Raw(*this); }
  const char* typeName() const override { return "Raw"; }
  void BDec(const AsnBuf&, SNACC::AsnLen&) override {}
  void Print(std::ostream&, unsigned short) const override {}
  SNACC::AsnLen BEnc(AsnBuf& out) const override {
    if (broken) throw SNACC::ConstraintException("broken", "", 0, "");
    out.PutSegRvs(bytes.data(), static_cast<long>(bytes.size()));
    return bytes.size();
  }
};

class RawList : public AsnSeqOf<Raw> {
 public:
  AsnType* Clone() const override { return new RawList(*this); }
  const char* typeName() const override { return "RawList"; }
};

constexpr auto A = CAsnSplitStrategyType(7), B = CAsnSplitStrategyType(3), C = CAsnSplitStrategyType(5);
using Results = std::map<CAsnSplitStrategyType, std::string>;

Results Bytes(const TEAsnSplitResult& result) {
  Results bytes;
  for (const auto& [type, data] : result) {
    EXPECT_EQ(data->Count(), 1);
    bytes[type] = std::string(reinterpret_cast<const char*>(data->Buffer()), data->Size());
  }
  return bytes;
}

unsigned long Split(AsnType& request, const AsnType& list, std::vector<TEAsnNESection> sections,
                    TEAsnSplitResult& result) {
  return MultiNEAsnTypeSplit(request, &request, sizeof(request), list, &list, sections, result);
}

void Fill(AsnSplitNEList& list, int count) {
  for (int i = 0; i < count; ++i) {
    AsnSplitNE& ne = *list.append();
    ne.identifier = i;
    ne.name = SNACC::AsnOcts("NE");
  }
}

// Both forms of the split against the runtime's encoding of the request with a part of the list.
void ExpectSplit(AsnType& request, AsnSplitNEList& list) {
  const std::string whole = testkit::Encoded(request);
  const AsnSplitNE* const first = list.empty() ? nullptr : &list.front();
  const auto all = static_cast<std::uint32_t>(list.size());
  const std::vector<TEAsnNESection> sections = {{A, all / 3}, {B, all - all / 3}, {C, 2}};
  TEAsnListPath path;
  TEAsnSplitResult ofObject, ofBytes;
  ASSERT_EQ(Split(request, list, sections, ofObject), 0U);
  ASSERT_EQ(FindAsnListPath(request, list, path), 0U);
  ASSERT_EQ(MultiNEBytesSplit(Exactly(whole), path, sections, ofBytes), 0U);
  EXPECT_EQ(testkit::Encoded(request), whole);
  EXPECT_TRUE(first == nullptr || first == &list.front()) << "the elements keep their addresses";

  Results expected;
  const AsnSplitNEList elements(list);
  AsnSplitNEList rest(list);
  for (const TEAsnNESection& section : sections) {
    const std::size_t count = std::min<std::size_t>(section.m_nCount, rest.size());
    list.clear();
    list.splice(list.end(), rest, rest.begin(), std::next(rest.begin(), count));
    expected[section.m_eType] = testkit::Encoded(request);
  }
  list = elements;
  EXPECT_EQ(Bytes(ofObject), expected);
  EXPECT_EQ(Bytes(ofBytes), expected);
}

// Counts around those at which a length of the list, of what is around it or of the request grows by an
// octet.
TEST(AsnSplit, EachPartIsTheRequestWithItsElementsWhereverTheListIs) {
  std::vector<int> counts(60);
  std::iota(counts.begin(), counts.end(), 0);
  counts.insert(counts.end(), {7278, 7290, 40000});
  for (const int count : counts) {
    SCOPED_TRACE(count);
    AsnSplitReq request;
    request.user = -1;
    request.text = SNACC::AsnOcts("behind");
    request.tagged = new AsnSplitNEList;
    const auto lists = {&request.first, &request.scope.inner, request.tagged, &request.hidden, &request.last};
    if (count < 100) {
      for (AsnSplitNEList* list : lists) Fill(*list, count);
      for (AsnSplitNEList* list : lists) ExpectSplit(request, *list);
    } else {
      Fill(request.scope.inner, count);
      ExpectSplit(request, request.scope.inner);
    }
    ExpectSplit(request.scope.inner, request.scope.inner);  // the list is the request
  }
}

// One section takes the request itself; of several of one type the last one counts.
TEST(AsnSplit, ResultsReplaceThoseOfTheirTypeOnly) {
  AsnSplitNEList request, fourth, third;
  Fill(request, 4);
  fourth.push_back(request.back());
  third.push_back(*std::next(request.begin(), 2));
  std::vector<TEAsnNESection> sections = {{A, 2}, {B, 1}, {A, 1}};
  for (const bool bytes : {false, true}) {
    TEAsnSplitResult result;
    for (const auto type : {A, C}) ASSERT_EQ(Split(request, request, {{type, 1}}, result), 0U);
    ASSERT_EQ(bytes ? MultiNEBytesSplit(Exactly(testkit::Encoded(request)), {{0x30}}, sections, result)
                    : Split(request, request, sections, result),
              0U);
    EXPECT_EQ(result[C]->Request(), &request);
    result.erase(C);
    EXPECT_EQ(Bytes(result), (Results{{A, testkit::Encoded(fourth)}, {B, testkit::Encoded(third)}}));
  }
}

TEST(AsnSplit, ElementsThatNoEncoderOfOursMakes) {
  const struct {
    std::string first, second;
    const char *a, *b;
  } rows[] = {{"0500", "040341", "3002 0500", "3005 0403 410000"},  // runs out: zeros for what is missing
              {"308005000000", "0500", "3006 308005000000", "3002 0500"},
              {"0500", "04847FFFFFFF41", nullptr, nullptr},  // runs out beyond all requests
              {"0500", "04", nullptr, nullptr},
              {"0000", "0500", nullptr, nullptr}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.first + " " + row.second);
    RawList request;
    for (const std::string& hex : {row.first, row.second}) request.append()->bytes = hostile::FromHex(hex);
    TEAsnSplitResult result;
    Results expected;
    if (row.a != nullptr) {
      expected = {{A, hostile::FromHex(row.a)}, {B, hostile::FromHex(row.b)}, {C, hostile::FromHex("3000")}};
    }
    EXPECT_EQ(Split(request, request, {{A, 1}, {B, 1}, {C, 1}}, result),
              row.a == nullptr ? VELA_ERR_GENERAL : 0U);
    EXPECT_EQ(Bytes(result), expected);
  }
}

TEST(AsnSplit, FailsWithoutTouchingTheRequest) {
  AsnSplitReq request;
  AsnSplitNEList elsewhere;
  for (AsnSplitNEList* list : {&request.first, &elsewhere}) Fill(*list, 2);
  const std::string whole = testkit::Encoded(request);
  RawList broken;
  broken.append()->broken = true;
  const std::pair<AsnType*, AsnType*> rows[] = {
      {&request, &elsewhere}, {&request, &request.user}, {&broken, &broken}};
  for (const auto& [in, list] : rows) {
    TEAsnSplitResult result;
    TEAsnListPath path = {{0x30}};
    EXPECT_EQ(Split(*in, *list, {{A, 1}, {B, 1}}, result), VELA_ERR_GENERAL);
    EXPECT_EQ(FindAsnListPath(*in, *list, path), VELA_ERR_GENERAL);
    EXPECT_TRUE(result.empty() && path.empty());
  }
  EXPECT_EQ(testkit::Encoded(request), whole);
  EXPECT_EQ(elsewhere.size() + broken.size(), 3U);
}

TEST(AsnSplit, BytesKeepTheirFormExceptAroundTheList) {
  const struct {
    const char *why, *request;
    TEAsnListPath path;
    std::vector<std::pair<std::uint32_t, const char*>> parts;
  } rows[] = {
      {"all lengths indefinite",
       "3080 020107 A180 3080 020101 020102 020103 0000 0000 0500 0000",
       {{0x30}, {0xA1}, {0x30}},
       {{2, "300F 020107 A108 3006 020101 020102 0500"}, {1, "300C 020107 A105 3003 020103 0500"}}},
      {"longer lengths than needed",
       "3084 0000000B 3083 000006 0401AA 0401BB",
       {{0x30}, {0x30}},
       {{1, "3005 3003 0401AA"}, {1, "3005 3003 0401BB"}}},
      {"elements keep theirs",
       "300B 3080 0500 0000 0482 000141",
       {{0x30}},
       {{1, "3006 3080 0500 0000"}, {1, "3005 0482 000141"}}},
      {"an element of the same tag before it",
       "3080 3080 3080 0000 0000 3005 0500 020107 0000",
       {{0x30}, {0x30, 1}},
       {{1, "300C 3080 3080 0000 0000 3002 0500"}, {9, "300D 3080 3080 0000 0000 3003 020107"}}},
      {"elements in no section", "3080 0500 3080 0000 0000", {{0x30}}, {{0, "3000"}, {1, "3002 0500"}}},
      {"one section: nothing is cut", "3080 0500 0000", {}, {{1, "3080 0500 0000"}}},
      {"no section", "3080 0500 0000", {{0x30}}, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    const std::string request = hostile::FromHex(row.request);
    std::vector<TEAsnNESection> sections;
    Results expected;
    for (const auto& [count, hex] : row.parts) {
      sections.push_back({CAsnSplitStrategyType(expected.size()), count});
      expected[sections.back().m_eType] = hostile::FromHex(hex);
    }
    ASSERT_TRUE(vela::CheckAsn(Exactly(request), {}).ok());
    TEAsnSplitResult result;
    EXPECT_EQ(MultiNEBytesSplit(Exactly(request), row.path, sections, result), 0U);
    for (std::size_t size = 0; size < request.size() && sections.size() > 1; ++size) {
      EXPECT_NE(MultiNEBytesSplit(Exactly(request.substr(0, size)), row.path, sections, result), 0U) << size;
    }
    EXPECT_EQ(Bytes(result), expected);
  }
}

TEST(AsnSplit, BytesThatCannotBeCutAreRefused) {
  const struct {
    const char *why, *request;
    TEAsnListPath path;
    std::uint32_t code;
  } rows[] = {
      {"no such field", "3003 020101", {{0x30}, {0x30}}, VELA_ERR_GENERAL},
      {"fewer of its tag", "3004 3000 3000", {{0x30}, {0x30, 2}}, VELA_ERR_GENERAL},
      {"no list", "3003 020101", {{0x30}, {0x02}}, VELA_ERR_GENERAL},
      {"no path", "3000", {}, VELA_ERR_GENERAL},
      {"bytes behind", "3002 0500 0500", {{0x30}}, VELA_ERR_DECODE},
      {"list longer than the request", "3004 3003 0500", {{0x30}, {0x30}}, VELA_ERR_DECODE},
      {"element longer than the list", "3005 0402 410500", {{0x30}}, VELA_ERR_DECODE},
      {"the last of like elements longer than the list",
       "3008 040141 040142 0405",
       {{0x30}},
       VELA_ERR_DECODE},
      {"end-of-contents in a definite list", "3004 0500 0000", {{0x30}}, VELA_ERR_DECODE},
      {"indefinite primitive", "3004 0480 0000", {{0x30}}, VELA_ERR_DECODE},
      {"five length octets", "3007 0485 0000000000", {{0x30}}, VELA_ERR_DECODE},
  };
  const testkit::LogCapture log;
  for (const auto& row : rows) {
    TEAsnSplitResult result;
    const auto bytes = Exactly(hostile::FromHex(row.request));
    EXPECT_EQ(MultiNEBytesSplit(bytes, row.path, {{A, 1}, {B, 9}}, result), row.code) << row.why;
    EXPECT_TRUE(result.empty()) << row.why;
  }
  EXPECT_EQ(log.Count("MultiNEBytesSplit"), static_cast<int>(std::size(rows)));
}

TEST(AsnSplit, MemoryExhaustionAtEachStep) {
  AsnSplitNEList request;
  Fill(request, 2);
  const auto bytes = Exactly(testkit::Encoded(request));
  std::vector<TEAsnNESection> sections = {{A, 1}, {B, 1}};
  for (int step = 0; step < 4; ++step) {  // the two encodings, the two results
    int left = step;
    TEAsnSplitResult ofObject, ofBytes;
    const testkit::OsFaults faults([&left](OsCall call, const char*) {
      return OsFault{.error = call == OsCall::allocate && left-- == 0 ? ENOMEM : 0};
    });
    if (step < 2) {
      EXPECT_EQ(Split(request, request, sections, ofObject), VELA_ERR_MEMORY);
      left = step;
      EXPECT_EQ(MultiNEBytesSplit(bytes, {{0x30}}, sections, ofBytes), VELA_ERR_MEMORY);
    } else {
      EXPECT_THROW(Split(request, request, sections, ofObject), std::bad_alloc);
    }
    EXPECT_EQ(ofObject.size() + ofBytes.size(), step == 3 ? 1U : 0U);
  }
}

TEST(AsnSplit, FieldsOutsideTheRequestAreReported) {
  AsnSplitReq request;
  const auto* at = reinterpret_cast<const char*>(&request);
  const testkit::LogCapture log;
  for (const char* field :
       {static_cast<const char*>(nullptr), at, at + sizeof(request) - 1, at + sizeof(request)})
    EXPECT_EQ(CheckValidAsnType(request, at, sizeof(request), request.user, field),
              field >= at && field < at + sizeof(request) ? 0U : 0xFFFFFFFFU);
  EXPECT_EQ(log.Count("ASSERT: file util/basicutil/asnassist, line 316 assertion failed for 'false'.\n"), 2);
}

TEST(AsnSplit, TheLastHandlerOfAStrategyCounts) {
  const CAsnSplitOnFunc first = [](AsnType*, AsnType*, TETask*) {};
  const CAsnSplitOnFunc second = [](AsnType*, AsnType*, TETask*) {};
  for (const CAsnSplitOnFunc each : {first, second})
    CAsnSplitStrategyMgr::Instance()->RegistOnFunction(A, each);
  EXPECT_EQ(CAsnSplitStrategyMgr::Instance()->FindOnFunc(A), second);
  CAsnSplitStrategyMgr::Destroy();
  EXPECT_EQ(CAsnSplitStrategyMgr::Instance()->FindOnFunc(A), nullptr);
}

}  // namespace
