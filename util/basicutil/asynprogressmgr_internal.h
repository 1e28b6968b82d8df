#pragma once
#include <compare>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/message/proc_id.h"

namespace NSTE_util {

// The arithmetic of one mission of the asynchronous progress manager: its processes, their sub-missions and
// what they have reported. Two flat, sorted tables and a running total: with thousands of missions, a report
// costs what it takes to fetch them from memory. Not locked.
class AsynMission {
 public:
  struct Abort {
    CProcID process;
    std::vector<std::uint32_t> subMissions;  // empty when the process had finished
  };

  // A process that is there already starts anew.
  void SetProcess(const CProcID& process, float weight, std::uint32_t count,
                  std::span<const std::uint32_t> subMissions);
  // False when the process is unknown or stopped.
  bool Write(const CProcID& process, std::uint32_t subMissionId, std::uint32_t percent);
  // False when the holder's count contradicts what it holds.
  bool Move(std::uint32_t subMissionId, const CProcID& newProcess);
  // Marks what has not finished as stopped; one element for each process.
  std::vector<Abort> Stop();
  // The sum of the processes' shares, each cut to the whole percent.
  std::int64_t Progress() const { return m_total; }

 private:
  struct Process {
    CProcID id;
    float weight = 0;
    std::int32_t percent = 0;  // as of the last report: a sub-mission that moves away does not change it
    std::uint32_t count = 0;
    std::uint32_t sum = 0;  // of the sub-missions' percents
    std::int32_t share = 0;
    bool stopped = false;
  };
  struct SubMission {
    CProcID process;
    std::uint32_t id = 0;
    std::uint32_t percent = 0;
  };

  std::vector<Process>::iterator LowerProcess(const CProcID& id);
  std::vector<SubMission>::iterator LowerSubMission(const CProcID& process, std::uint32_t id);
  Process* FindProcess(const CProcID& id);
  Process& GetProcess(const CProcID& id);
  SubMission* FindSubMission(const CProcID& process, std::uint32_t id);
  void Apply(Process& process, std::uint32_t subMissionId, std::uint32_t percent);
  void Refresh(Process& process);

  std::vector<Process> m_processes;       // by id
  std::vector<SubMission> m_subMissions;  // by process and id
  std::int64_t m_total = 0;
};

// Toward zero, and into 32 bits: weights are the callers', so the value may be anything.
std::int32_t TruncatePercent(float value);

}  // namespace NSTE_util
