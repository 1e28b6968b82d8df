// Splitting a request of many NEs into 8: beside decoding, regrouping and encoding it with the ASN.1 runtime,
// and the split of its bytes beside walking over the elements once and copying them. With 100 NEs the entries
// of the result alone, four allocations each, take more than three times that.
#include "bench/bench_util.h"

#include <malloc.h>

#include <span>

#include "asn1/audit.h"
#include "asn1/error.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"
#include "util/basicutil/asnassist.h"

namespace {

using namespace NSTE_util;

constexpr std::uint32_t parts = 8;

// A request that is one list of small records, and one with a list of larger ones behind other fields.
struct Small {
  using Request = AsnErrInfoList;
  static constexpr const char* name = "small records";
  static AsnErrInfoList& List(Request& request) { return request; }
  static void Append(Request& request, int i) { request.append()->errorCode = i; }
};

struct Large {
  using Request = AsnAuditReq;
  static constexpr const char* name = "large records";
  static AsnNERecordList& List(Request& request) { return request.records; }
  static void Append(Request& request, int i) {
    AsnNERecord& record = *request.records.append();
    record.identifier = std::to_string(i).c_str();
    record.name = "Network element";
    record.type = "ADM";
    record.address = "10.1.2.3";
    record.version = "1.0";
    record.position = "Rack 17";
  }
};

template <class Kind>
class Split {
 public:
  explicit Split(int count) {
    for (int i = 0; i < count; ++i) Kind::Append(m_request, i);
    for (std::uint32_t i = 0; i < parts; ++i) {
      const auto first = static_cast<std::uint32_t>(count) * i / parts;
      const auto end = static_cast<std::uint32_t>(count) * (i + 1) / parts;
      m_sections.push_back({CAsnSplitStrategyType(i), end - first});
    }
    if (CAsnHelper::Encode(m_request, m_buffer, m_size) != 0) std::abort();
    if (FindAsnListPath(m_request, Kind::List(m_request), m_path) != 0) std::abort();
    FindElements();
  }
  ~Split() { CAsnHelper::ReleaseAsnBuf(m_buffer); }
  Split(const Split&) = delete;
  Split& operator=(const Split&) = delete;

  void Object() {
    TEAsnSplitResult result;
    auto& list = Kind::List(m_request);
    Require(MultiNEAsnTypeSplit(m_request, &m_request, sizeof(m_request), list, &list, m_sections, result));
    bench::Keep(result.size());
  }

  void Bytes() {
    TEAsnSplitResult result;
    Require(MultiNEBytesSplit({m_buffer, m_size}, m_path, m_sections, result));
    bench::Keep(result.size());
  }

  void Runtime() {
    typename Kind::Request request;
    const SNACC::AsnBuf in(reinterpret_cast<const char*>(m_buffer), m_size);
    SNACC::AsnLen consumed = 0;
    request.BDec(in, consumed);
    auto rest = std::move(Kind::List(request));
    for (const TEAsnNESection& section : m_sections) {
      auto& list = Kind::List(request);
      list.clear();
      list.splice(list.begin(), rest, rest.begin(), std::next(rest.begin(), section.m_nCount));
      SNACC::AsnBuf out;
      const SNACC::AsnLen size = request.BEnc(out);
      const std::unique_ptr<char[]> encoded(out.GetSeg(static_cast<long>(size)));
      bench::Keep(encoded[0]);
    }
  }

  // What no split can do without: find each element's end, and copy the elements of each part.
  void WalkAndCopy() {
    const unsigned char* at = m_elements;
    for (const TEAsnNESection& section : m_sections) {
      const unsigned char* const start = at;
      for (std::uint32_t i = 0; i < section.m_nCount; ++i) at += 2 + at[1];
      const auto size = static_cast<std::size_t>(at - start);
      auto* copy = static_cast<unsigned char*>(std::malloc(size));
      std::memcpy(copy, start, size);
      bench::Keep(copy[0]);
      std::free(copy);
    }
  }

 private:
  static void Require(unsigned long code) {
    if (code != 0) std::abort();
  }

  // The list is the last field, and all elements are shorter than 128 bytes.
  void FindElements() {
    unsigned char* list = nullptr;
    std::size_t size = 0;
    if (CAsnHelper::Encode(Kind::List(m_request), list, size) != 0) std::abort();
    const std::size_t header = list[1] < 0x80 ? 2 : 2 + (list[1] & 0x7F);
    CAsnHelper::ReleaseAsnBuf(list);
    m_elements = m_buffer + m_size - (size - header);
  }

  typename Kind::Request m_request;
  std::vector<TEAsnNESection> m_sections;
  TEAsnListPath m_path;
  unsigned char* m_buffer = nullptr;
  const unsigned char* m_elements = nullptr;
  std::size_t m_size = 0;
};

// Nanoseconds per NE.
template <class Operation>
bench::Side PerElement(long rounds, int count, Operation operation) {
  return [rounds, count, operation] {
    return bench::NanosecondsEach(rounds * count, [&](long) {
      for (long i = 0; i < rounds; ++i) operation();
    });
  };
}

template <class Kind>
void Measure(const bench::Options& options, std::vector<bench::Row>& rows) {
  for (const int count : {100, 1000, 10000, 100000}) {
    Split<Kind> split(count);
    const long rounds = std::max(1L, options.Operations(100000) / count);
    const auto samples =
        bench::Interleaved(options, {
                                        PerElement(rounds, count, [&] { split.Object(); }),
                                        PerElement(rounds, count, [&] { split.Bytes(); }),
                                        PerElement(rounds, count, [&] { split.Runtime(); }),
                                        PerElement(rounds, count, [&] { split.WalkAndCopy(); }),
                                    });
    const std::string what = std::to_string(count) + " " + Kind::name;
    rows.push_back(
        {"split of " + what + " against the runtime, ns each", samples[0], samples[2], samples[3], 0.35});
    rows.push_back(
        {"split of the bytes of " + what + " against the floor, ns each", samples[1], samples[3], {}, 3});
  }
}

}  // namespace

int main(int argc, char** argv) {
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  const bench::Options options = bench::Parse(argc, argv);
  std::vector<bench::Row> rows;
  Measure<Small>(options, rows);
  Measure<Large>(options, rows);
  bench::Print(options, rows);
}
