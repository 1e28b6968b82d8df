#pragma once
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "apps/handlers/ems/ne_mission_book.h"
#include "apps/handlers/ems/ne_records.h"
#include "apps/handlers/request_watch.h"
#include "platform/message/proc_id.h"

namespace NSTE_util {
class TETaskContext;
}
class CAsnReqData;

namespace velad {

// An NE and the process number of the managers that look after it.
struct ManagedNE {
  std::uint32_t ne;
  std::uint16_t manager;
};

// What one process has to do with a mission.
struct NEPart {
  std::size_t nes = 0;   // handed to it
  std::size_t done = 0;  // by it
  std::uint32_t errorCode = 0;
  std::string reason = {};
  std::set<CProcID> movedTo = {};  // who has got NEs from it
};

// An NE that nobody has worked on, and why.
struct LostNE {
  std::uint32_t ne;
  std::uint32_t code;
  std::string reason;
};

// The NEs of a mission in the hands of the processes that work on them. They are cut into pieces, one for
// each live instance of their managers; each is a sub-mission, of which this process folds the progress.
//
//   a piece              | under way
//   ---------------------+------------------------------------------------------------------------------
//   reports progress     | folded into the client's figure
//   ends, all NEs done   | its results are kept
//   ends with others     | results are kept; for the rest the instance has failed
//   its instance failed: | the NEs that are left move to a live instance of the same number that has not
//   died, was started    | failed with them; is there none, they are lost
//   anew, is silent for  |
//   too long, refuses    |
//   mission stopped      | is aborted, with every tick until it ends; its NEs that are not done then are
//   lost.
//                        | One that does not end within kPatienceSeconds is not waited for
//
// Reports from an instance that has lost its piece are answered with an abort. Belongs to the thread of the
// request, its task being current.
class NEMissionParts {
 public:
  static constexpr int kTickSeconds = 1;
  static constexpr int kPatienceSeconds = 10;

  // All must outlive the object. The span of the client's progress that is open is filled by it up to `span`.
  NEMissionParts(NSTE_util::TETaskContext& context, const NEOrder& order, int silenceSeconds, float span);
  NEMissionParts(const NEMissionParts&) = delete;
  NEMissionParts& operator=(const NEMissionParts&) = delete;

  // Hands the NEs out and waits until nothing is awaited any more. Once. `nes` is ascending.
  void Run(const std::vector<ManagedNE>& nes, const std::vector<CProcID>& live);

  // 0, or why the mission was stopped.
  std::uint32_t StopCode() const { return m_stopCode; }
  const std::map<CProcID, NEPart>& Parts() const { return m_parts; }
  const std::vector<LostNE>& Lost() const { return m_lost; }
  // By NE, with the process that did it.
  std::map<std::uint32_t, std::pair<CProcID, NEResult>>& Results() { return m_results; }
  const std::vector<std::string>& Reports() const { return m_reports; }  // of the pieces, encoded

 private:
  using Clock = std::chrono::steady_clock;
  struct Piece {
    CProcID process;                 // that has it now
    std::vector<std::uint32_t> nes;  // left to do, ascending
    std::size_t size = 0;            // at first
    std::set<CProcID> tried = {};
    std::uint64_t life = 0;  // of the process
    int percent = 0;
    bool begun = false;  // by the process
    bool ended = false;
    Clock::time_point lastSign = {};
  };

  std::vector<Piece> Cut(const std::vector<ManagedNE>& nes, const std::vector<CProcID>& live);
  void LoseAll(const std::vector<ManagedNE>& nes);
  void Await();
  void HandOut(const std::vector<std::uint32_t>& ids);
  std::uint32_t Send(CProcID process, const CAsnReqData& request);
  bool IsAwaited() const;
  void Wait(Clock::time_point deadline);
  void TakeNews(const NEMissionInbox::Key& key, NEPieceNews& news);
  void TakeProgress(std::uint32_t id, Piece& piece, int percent);
  void TakeEnd(std::uint32_t id, Piece& piece, NEPieceEnd& end);
  void Keep(Piece& piece, std::vector<NEResult>& results);
  void LookAt(std::uint32_t id, Piece& piece);
  void FailSilent(std::uint32_t id, Piece& piece);
  void Fail(std::uint32_t id, Piece& piece, std::uint32_t code, const std::string& reason);
  bool Move(std::uint32_t id, Piece& piece);
  void Close(std::uint32_t id, Piece& piece, std::uint32_t code, const std::string& reason);
  void StopIfTold();
  void Stop(std::uint32_t code);
  void SendAborts();
  void CloseAll();
  int Percent() const;
  // Of a part of which others have taken all that was left over: who; empty for another part.
  std::string MovedText(CProcID process) const;
  std::string Detail(CProcID process) const;
  void Tell(CProcID process);

  NSTE_util::TETaskContext& m_context;
  const NEOrder& m_order;
  const int m_silenceSeconds;
  const float m_span;
  RequestWatch m_watch;
  const std::shared_ptr<NEMissionInbox> m_inbox = std::make_shared<NEMissionInbox>();
  std::uint32_t m_mission = 0;
  std::size_t m_total = 0;  // NEs in pieces
  std::map<std::uint32_t, Piece> m_pieces;
  std::map<CProcID, NEPart> m_parts;
  std::map<std::uint32_t, std::pair<CProcID, NEResult>> m_results;
  std::vector<LostNE> m_lost;
  std::vector<std::string> m_reports;
  std::uint32_t m_stopCode = 0;
  Clock::time_point m_stopped;
  int m_figure = 0;  // last told
};

}  // namespace velad
