#pragma once
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "apps/handlers/nemgr/ne_access.h"
#include "apps/handlers/network.h"
#include "apps/handlers/request_watch.h"
#include "util/basicutil/translog.h"

namespace NSTE_util {
class TEOperErrorLogIF;
}

namespace velad {

// What the work on all NEs of a piece has in common. All must outlive the work.
struct PieceFrame {
  std::uint32_t operation;  // NE_UPLOAD_COMMAND or NE_RESET_COMMAND
  const Network& network;
  const NEFaults& faults;
  NSTE_util::TEOperErrorLogIF& errors;
  RequestWatch& watch;
};

// What became of one NE.
struct NEDone {
  std::uint32_t ne = 0;
  std::uint32_t errorCode = 0;  // 0: all went well
  std::string version = {};
  std::string file = {};  // from the root on; empty: none
  std::size_t boards = 0;
  std::size_t ports = 0;
  std::size_t alarms = 0;
  std::chrono::milliseconds time{};
};

// An upload or a reset of one NE, which no other request of this process works on meanwhile. Its progress is
// a part of that of `parent`, with its boards as parts.
//
// Errors: a board's are a transaction, dropped when it does well when it is asked again; an NE's are one
// around them, dropped when the NE is lost or the request ends. An upload leaves out the boards that have
// errors, and does not mind traffic; a reset does not mind full memories, it empties them.
class NEWork {
 public:
  NEWork(PieceFrame& frame, std::uint32_t ne) : m_frame(frame) { m_done.ne = ne; }

  // False when the request is to end before the NE is done: then it has left neither errors nor a file.
  bool Run(const void* parent, int weight);
  const NEDone& Done() const { return m_done; }

 private:
  bool Ended();
  std::uint32_t Operate();
  std::uint32_t WorkOn(const NetworkNE& ne);
  void WorkOnBoards(NEAccess& access);
  void WorkOnBoard(NEAccess& access, const NEBoard& board);
  std::uint32_t Ask(NEAccess& access, const NEBoard& board);  // the first error
  void AddErr(const NEError& error);

  PieceFrame& m_frame;
  NEDone m_done;
  NSTE_util::TETransactionLog m_session;
  bool m_ended = false;  // before it was done
};

// What part `index` of `count` is of a whole, in percent: together they are 100.
int ShareOf(std::size_t index, std::size_t count);

}  // namespace velad
