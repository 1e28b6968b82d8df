#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/message/proc_id.h"
#include "util/basicutil/few_rows_internal.h"

namespace NSTE_util {

// The arithmetic of one mission of the asynchronous progress manager: its processes, their sub-missions and
// what they have reported. Not locked.
//
// With thousands of missions, a report costs what it takes to fetch the mission from memory: so the tables of
// a usual one lie in the object, one after the other, and the total is kept.
class AsynMission {
 public:
  struct Abort {
    CProcID process;
    std::vector<std::uint32_t> subMissions;  // empty when the process had finished
  };
  struct Part {
    CProcID process;
    float weight;
    int percent;
    std::uint32_t count;
    bool stopped;
  };

  explicit AsynMission(std::uint32_t id) : m_id(id) {}

  // Sub-mission ids are those of this mission. A process that is there already starts anew.
  void SetProcess(const CProcID& process, float weight, std::uint32_t count,
                  std::span<const std::uint32_t> subMissions);
  // False when the process is unknown or stopped.
  bool Write(const CProcID& process, std::uint32_t subMissionId, std::uint32_t percent);
  // False when the holder's count contradicts what it holds.
  bool Move(std::uint32_t subMissionId, const CProcID& newProcess);
  // Marks what has not finished as stopped; one element for each process.
  std::vector<Abort> Stop();
  // One process only. False when it is unknown.
  bool Stop(const CProcID& process);

  std::vector<Part> Parts() const;
  // The sub-missions of a process that may still report; none when it is unknown or stopped.
  std::vector<std::uint32_t> Unfinished(const CProcID& process) const;
  // Under which address the mission knows the sub-mission that `process` runs: its own, or that of any
  // instance.
  std::optional<CProcID> Holder(const CProcID& process, std::uint32_t subMissionId);

  // The sum of the processes' shares, each cut to the whole percent.
  std::int64_t Progress() const { return m_total; }

 private:
  struct Process {
    std::int32_t Share() const;  // in the mission's total, cut to the whole percent

    CProcID id;
    float weight = 0;
    std::uint32_t count = 0;
    std::uint32_t sum = 0;     // of the sub-missions' percents
    std::uint8_t percent = 0;  // as of the last report: a sub-mission that moves away does not change it
    bool stopped = false;
  };
  struct SubMission {
    CProcID process;
    std::uint16_t number = 0;  // the id's lower half
    std::uint8_t percent = 0;
  };

  static constexpr std::size_t USUAL = 10;

  Process* FindProcess(const CProcID& id);
  Process& GetProcess(const CProcID& id);
  // The first sub-mission of a process that is not below the number.
  SubMission* LowerSubMission(const CProcID& process, std::uint16_t number);
  // Null when the process does not hold it, or the id is another mission's.
  SubMission* FindSubMission(const CProcID& process, std::uint32_t id);
  bool HoldsAny(const CProcID& process);
  void Stop(Process& process);
  void Apply(Process& process, std::uint32_t subMissionId, std::uint32_t percent);

  std::int64_t m_total = 0;
  std::uint32_t m_id;
  FewRows<Process, USUAL> m_processes;       // by id
  FewRows<SubMission, USUAL> m_subMissions;  // by process and number
};

// Toward zero, and into 32 bits: weights are the callers', so the value may be anything.
std::int32_t TruncatePercent(float value);

}  // namespace NSTE_util
