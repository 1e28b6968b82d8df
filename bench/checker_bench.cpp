// What the checker adds to decoding, and what encoding costs beside the runtime's own buffers.
#include "bench/bench_util.h"

#include "asn1/error.h"
#include "asn1/progress.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"

namespace {

AsnProgressReportEx Report() {
  AsnProgressReportEx report;
  report.missionID = 17;
  report.progress = 50;
  report.info = new AsnTaskProgressInfo;
  report.info->value = 50;
  report.info->third = "Reading the inventory of network element 9-1";
  return report;
}

AsnErrInfoList Errors(int count) {
  AsnErrInfoList list;
  for (int i = 0; i < count; ++i) {
    AsnErrInfo& error = *list.append();
    error.errorCode = 0x4101F003;
    error.errorText = new SNACC::AsnOcts("No answer of the network element");
    error.position = new SNACC::AsnOcts("9-1, rack 17");
  }
  return list;
}

template <class T>
void Measure(const bench::Options& options, const std::string& name, const T& msg, long full,
             std::vector<bench::Row>& rows) {
  unsigned char* buffer = nullptr;
  std::size_t size = 0;
  if (CAsnHelper::Encode(msg, buffer, size) != 0) return;
  const std::span<const unsigned char> bytes(buffer, size);
  const long operations = options.Operations(full);
  const auto each = [operations](auto operation) {
    return [operations, operation] {
      return bench::NanosecondsEach(operations, [&](long count) {
        for (long i = 0; i < count; ++i) operation();
      });
    };
  };
  const auto check = each([bytes] { bench::Keep(vela::CheckAsn(bytes, vela::AsnLimits{}).offset); });
  const auto decode = each([bytes] {
    T decoded;
    bench::Keep(CAsnHelper::Decode(bytes, decoded));
  });
  const auto decodeBare = each([bytes] {
    T decoded;
    const SNACC::AsnBuf runtime(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    SNACC::AsnLen consumed = 0;
    decoded.BDec(runtime, consumed);
    bench::Keep(consumed);
  });
  const auto encode = each([&msg] {
    unsigned char* encoded = nullptr;
    std::size_t length = 0;
    bench::Keep(CAsnHelper::Encode(msg, encoded, length));
    CAsnHelper::ReleaseAsnBuf(encoded);
  });
  const auto encodeBare = each([&msg] {
    SNACC::AsnBuf runtime;
    const SNACC::AsnLen length = msg.BEnc(runtime);
    const std::unique_ptr<char[]> encoded(runtime.GetSeg(static_cast<long>(length)));
    bench::Keep(encoded[0]);
  });
  const auto samples = bench::Interleaved(options, {check, decodeBare, decode, encode, encodeBare});
  CAsnHelper::ReleaseAsnBuf(buffer);
  rows.push_back({name + ", check against bare decode, ns", samples[0], samples[1], {}, 0.10});
  rows.push_back({name + ", check and decode against bare decode, ns", samples[2], samples[1], {}, 1.15});
  rows.push_back(
      {name + ", encode and copy against the runtime's buffers, ns", samples[3], samples[4], {}, 1.2});
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  std::vector<bench::Row> rows;
  Measure(options, "progress report", Report(), 20000, rows);
  Measure(options, "10 errors", Errors(10), 4000, rows);
  Measure(options, "10,000 errors", Errors(10000), 4, rows);
  bench::Print(options, rows);
}
