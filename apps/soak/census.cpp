#include "apps/soak/census.h"

#include <unistd.h>

#include <chrono>

#include "apps/asn1/nms_codes.h"
#include "asn1/nms.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/task/vela_task.h"

namespace soak {
namespace {

Facts Look(VelaGnlTask& task, CProcID process) {
  Facts facts;
  facts.process = process;
  AsnStatusReq request;
  request.userID = 0;
  AsnStatusRsp status;
  facts.answered = CAsnPhyCmd(STATUS_COMMAND, request, process, 30, 0, 0).Exec(&task, status) == 0;
  if (!facts.answered) return facts;
  facts.memory = status.memory;
  facts.descriptors = status.descriptors;
  facts.threads = status.threads;
  facts.busy = static_cast<std::int64_t>(status.queued) + status.running + status.locks + status.frames +
               static_cast<std::int64_t>(status.missions.size());
  facts.produced = status.produced;
  facts.written = status.logged;
  facts.dropped = status.logDropped;
  return facts;
}

}  // namespace

std::vector<Facts> TakeCensus(const std::vector<CProcID>& processes, int seconds) {
  VelaGnlTask task("soak census");
  const VelaCurrentTaskScope current(&task);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  std::vector<Facts> all;
  for (const CProcID process : processes) {
    Facts facts = Look(task, process);
    while (facts.answered && (facts.busy != 0 || facts.produced != facts.written + facts.dropped) &&
           std::chrono::steady_clock::now() < deadline) {
      usleep(100000);
      facts = Look(task, process);
    }
    all.push_back(facts);
  }
  return all;
}

}  // namespace soak
