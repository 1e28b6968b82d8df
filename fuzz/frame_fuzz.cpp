// Bytes as the bus would bring them: what is taken for a frame has lengths that agree, and its payload goes
// through the decoder into the type of its command.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "asn1/audit.h"
#include "asn1/error.h"
#include "asn1/progress.h"
#include "asn1/result.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/message/te_cmd_msg.h"
#include "platform/message/vela_cmd_msg.h"

namespace {

std::unique_ptr<AsnType> NewRequest(std::uint32_t cmdCode) {
  switch (cmdCode) {
    case 0x208002:
      return std::make_unique<AsnProgressReportEx>();
    case 0x218004:
      return std::make_unique<AsnParallelTaskProgressReport>();
    case 0x218005:
      return std::make_unique<AsnSubMissionReport>();
    case 0x208001:
      return std::make_unique<AsnAbortMissionReq>();
    case 0x203107:
      return std::make_unique<AsnTaskFinishNotify>();
    default:
      break;
  }
  if (cmdCode % 3 == 0) return std::make_unique<AsnAuditReq>();
  if (cmdCode % 3 == 1) return std::make_unique<AsnErrInfoList>();
  return std::make_unique<AsnAttribValue>();
}

void Require(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", property);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  VelaMsgPtr frame = VelaMsgFromBytes(data, size);
  if (!frame) return 0;
  Require(frame->format == VELA_MSG_FORMAT, "a frame without the format mark");
  Require(VelaFrameSize(*frame) == size, "a frame whose length field is wrong");
  Require(std::memcmp(frame.get(), data, size) == 0, "a frame that was changed on the way");

  const TECmdMsg request(std::move(frame));
  const std::unique_ptr<AsnType> msg = NewRequest(request.Header().cmdCode);
  std::string reason;
  const std::uint32_t code = CAsnHelper::Decode(request.Payload(), *msg, reason);
  Require((code == 0) == reason.empty(), "a decoder that fails without a reason");
  return 0;
}
