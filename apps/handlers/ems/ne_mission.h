#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/handlers/ems/ne_mission_answer.h"
#include "apps/handlers/ems/ne_mission_parts.h"
#include "apps/handlers/ems/ne_records.h"
#include "apps/handlers/ems/ne_topology.h"
#include "apps/handlers/lock_refusal.h"

namespace NSTE_util {
class TEMutexOperNEGuard;
class TEOperErrorLogIF;
class TETaskContext;
}  // namespace NSTE_util

namespace velad {

struct NEMissionConfig {
  int silenceSeconds = 60;   // a manager that gave no sign for so long has failed
  int topologySeconds = 30;  // for the topology service's answer
};

// The keys NEMissionSilenceSeconds and NEMissionTopologySeconds of the file; what is missing or wrong there
// keeps its default, numbers out of range count as the nearest one.
NEMissionConfig LoadNEMissionConfig(const std::string& file);

// One mission on NEs, in the context and the error frame of its request:
//   locks the NEs           refused at once, with who is in the way
//   asks the topology       which managers look after them; what it does not know becomes an error
//   hands them out          ne_mission_parts.h
//   fetches the files       of an upload; not when nobody waits any more
//   folds                   the results and errors of all into the answer and the code of the frame
// It has given the locks back when Run returns, so that whoever has the answer may ask again at once.
class NEMission {
 public:
  // All must outlive the mission.
  NEMission(NSTE_util::TETaskContext& context, NSTE_util::TEOperErrorLogIF& errors, NEOrder order,
            const NEMissionConfig& config);

  // Once. The code of the mission, which is also the frame's.
  std::uint32_t Run();
  // Ends the mission before it began; `text` is the reason.
  std::uint32_t Refuse(std::uint32_t code, const std::string& text);
  // Everything but the code. False when the frame gives no errors.
  bool FillAnswer(AsnNEMissionRsp& response);

 private:
  std::uint32_t RefuseLocked(const NSTE_util::TEMutexOperNEGuard& locks);
  std::uint32_t Ask();
  std::uint32_t Work();
  void FetchFiles(NEMissionParts& parts);
  void Fetch(class NEMissionFiles& files, CProcID manager, NEResult& result);
  void AddUnknown();
  void AddLost(const NEMissionParts& parts);
  void Fold(NEMissionParts& parts);
  std::uint32_t CodeOf(const NEMissionParts& parts) const;

  NSTE_util::TETaskContext& m_context;
  NSTE_util::TEOperErrorLogIF& m_errors;
  NEOrder m_order;
  const NEMissionConfig m_config;
  std::optional<NETopology> m_topology;
  NEOutcome m_outcome;
  std::optional<KeptRefusal> m_refusal;
};

}  // namespace velad
