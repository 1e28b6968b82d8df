#include "apps/velactl/spread_session.h"

#include "apps/asn1/spread_codes.h"
#include "apps/velactl/asker.h"
#include "apps/velactl/asn_values.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/mission_watch.h"
#include "apps/velactl/spread_inbox.h"
#include "platform/asncmd/asn_cmd.h"

namespace velactl {
namespace {

constexpr int kAnswerSeconds = 60;

// Empty when the owner has begun.
std::string WhyNotBegun(std::uint32_t result, const AsnSpreadRsp& answer, CProcID owner) {
  const std::uint32_t code = result != 0 ? result : Unsigned(answer.errorCode);
  if (code == 0) return {};
  const std::string reason = Bytes(answer.reason);
  return reason.empty() ? WhyFailed(code, owner) : reason;
}

}  // namespace

std::unique_ptr<AsnSpreadEnd> AwaitSpread(const AsnSpreadReq& request, CProcID owner, bool quiet,
                                          std::string& error) {
  const auto mission = static_cast<std::int32_t>(request.missionID);
  MissionWatch watch(mission, owner, quiet);
  AsnSpreadRsp answer;
  const Asker asker(SPREAD_COMMAND, request, owner, kAnswerSeconds, answer);
  std::unique_ptr<AsnSpreadEnd> end;
  std::string why;
  while (!end && why.empty()) {
    watch.Turn();
    end = SpreadInbox::Instance().TakeEnd(owner, mission);
    why = watch.WhyHopeless();
    if (why.empty() && asker.Done()) why = WhyNotBegun(asker.Result(), answer, owner);
  }
  watch.Finish(end && Unsigned(end->errorCode) == 0);
  if (end) return end;
  error = why;
  CAsnCmd::Destroy();
  return nullptr;
}

}  // namespace velactl
