#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/proc_id.h"

namespace velad {

// What the configuration of a server process says about missions that are spread over processes.
struct SpreadConfig {
  std::vector<CProcID> processes;   // the workers, in the order of the file
  unsigned piecesEach = 2;          // sub-missions for each worker
  int silenceSeconds = 120;         // a piece that gave no sign for so long has failed
  unsigned recordMicroseconds = 0;  // of a worker: slows each record down
  unsigned answerMicroseconds = 0;  // of a worker: between the last report and the answer
};

// The keys SpreadProcesses, SpreadPieces, SpreadSilenceSeconds, SpreadRecordMicroseconds and
// SpreadAnswerMicroseconds of the file; what is missing or wrong there keeps its default, numbers out of
// range count as the nearest one.
SpreadConfig LoadSpreadConfig(const std::string& file);

// "101/1, 102/1": each one instance, each once. False, with `processes` as far as it was right, when an
// element is none.
bool ParseProcesses(std::string_view text, std::vector<CProcID>& processes);

// A run of records that one process checks.
struct Cut {
  CProcID process;
  std::size_t begin;
  std::size_t end;
};

// All records, in order, in pieces of nearly the same size, none empty: `piecesEach` for each process as far
// as the records suffice.
std::vector<Cut> CutRecords(std::size_t records, const std::vector<CProcID>& processes, unsigned piecesEach);

}  // namespace velad
