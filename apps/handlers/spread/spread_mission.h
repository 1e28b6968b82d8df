#pragma once
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "apps/asn1/spread_codes.h"
#include "apps/handlers/audit/audit_rules.h"
#include "apps/handlers/mission_order.h"
#include "apps/handlers/spread/spread_config.h"
#include "asn1/spread.h"
#include "platform/message/proc_id.h"
#include "platform/os/mutex.h"
#include "util/basicutil/asynprogress_watch.h"

namespace velad {

// What a client has asked for.
struct SpreadOrder : MissionOrder {
  OnPartFailure onFailure = OnPartFailure::goOn;
  std::vector<NERecord> records;
};

// A mission whose records are checked by several processes, in the one that owns it. The records are cut into
// pieces; each is a sub-mission of a worker, which reports its progress and, at its end, what it has found.
// Nobody waits in a thread: what comes in drives the mission, and a tick every second looks after the rest.
//
//   a piece            | under way                           | has ended
//   -------------------+-------------------------------------+----------------------
//   reports progress   | folded into the client's figure     | ignored
//   ends               | its findings are kept               | ignored
//   fails: its process | go on: it has ended, with an error  | nothing
//   died, gave no sign | move: to the process with the least |
//   for too long or    |   to do that has not failed; is     |
//   said so            |   there none, as go on              |
//                      | stop: as go on, and all are aborted |
//   mission cancelled, | is aborted, again with every tick,  | nothing
//   out of time        |   until its process answers or ends |
//
// When all pieces have ended, the client is sent the result. A piece is complete only with its findings
// there: until then it counts as 99 percent at most.
//
// Thread-safe; the mission's lock is held while something is sent, which never blocks, so that the client
// gets its reports in order. Needs a current task for what it sends.
class SpreadMission {
 public:
  SpreadMission(SpreadOrder order, SpreadConfig config);

  // Registers the mission for the current task's request. 0 with its id, or why not.
  std::uint32_t Register(unsigned long& missionId);
  // Hands the pieces out.
  void Begin();

  // False when the piece is not (any more) awaited from there.
  bool OnProgress(CProcID source, std::uint32_t piece, int percent);
  void OnEnd(CProcID source, const AsnSpreadPieceEnd& end);
  void OnFailure(const NSTE_util::PartFailure& failure);
  void Tick();
  // Ends at once with what it has: the process ends.
  void Abandon();

  // The result was sent, or nobody is there to take it.
  bool IsOver();
  const NSTE_util::ClientMissionID& Client() const { return m_order.client; }

 private:
  struct Piece {
    CProcID process;  // that has it now
    std::size_t begin;
    std::size_t end;
    int percent = 0;
    bool ended = false;
    std::chrono::steady_clock::time_point lastSign = {};
  };
  struct Part {
    std::size_t records = 0;  // handed to the process at first
    std::size_t moved = 0;    // of them
    std::size_t checked = 0;
    std::uint32_t errorCode = 0;
    std::string text = {};
    bool done = false;  // nothing is left to do
  };
  using Pieces = std::map<std::uint32_t, Piece>;

  Piece* FindAwaited(CProcID source, std::uint32_t id) VELA_REQUIRES(m_mutex);
  std::uint32_t Send(std::uint32_t id, Piece& piece) VELA_REQUIRES(m_mutex);
  void HandOut(std::uint32_t id, Piece& piece) VELA_REQUIRES(m_mutex);
  void Fail(std::uint32_t id, Piece& piece, std::uint32_t code, const std::string& text)
      VELA_REQUIRES(m_mutex);
  bool Move(std::uint32_t id, Piece& piece) VELA_REQUIRES(m_mutex);
  void Close(std::uint32_t id, Piece& piece, bool complete) VELA_REQUIRES(m_mutex);
  void LookAt(std::uint32_t id, Piece& piece) VELA_REQUIRES(m_mutex);
  std::uint32_t WhyStop() VELA_REQUIRES(m_mutex);
  void Stop(std::uint32_t code) VELA_REQUIRES(m_mutex);
  void SendAborts() VELA_REQUIRES(m_mutex);
  std::size_t Awaited(CProcID process) VELA_REQUIRES(m_mutex);
  int PartPercent(CProcID process) VELA_REQUIRES(m_mutex);
  std::string Detail(CProcID process) VELA_REQUIRES(m_mutex);
  void Tell(CProcID process) VELA_REQUIRES(m_mutex);
  void FinishIfDone() VELA_REQUIRES(m_mutex);
  void FillEnd(AsnSpreadEnd& end) VELA_REQUIRES(m_mutex);
  void SendEnd() VELA_REQUIRES(m_mutex);

  const SpreadOrder m_order;
  const SpreadConfig m_config;
  const CProcID m_client;
  vela::Mutex m_mutex;
  std::uint32_t m_id VELA_GUARDED_BY(m_mutex) = 0;
  Pieces m_pieces VELA_GUARDED_BY(m_mutex);
  std::map<CProcID, Part> m_parts VELA_GUARDED_BY(m_mutex);
  std::vector<Finding> m_findings VELA_GUARDED_BY(m_mutex);
  std::size_t m_omitted VELA_GUARDED_BY(m_mutex) = 0;
  std::uint32_t m_stopCode VELA_GUARDED_BY(m_mutex) = 0;  // 0: it goes on
  int m_lastFigure VELA_GUARDED_BY(m_mutex) = -1;
  std::unique_ptr<AsnSpreadEnd> m_end VELA_GUARDED_BY(m_mutex);  // once all pieces have ended
  int m_tries VELA_GUARDED_BY(m_mutex) = 0;                      // to send it
  bool m_over VELA_GUARDED_BY(m_mutex) = false;
};

}  // namespace velad
