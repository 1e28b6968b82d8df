#include "apps/handlers/nemgr/ne_work.h"

#include "apps/asn1/ne_oper_codes.h"
#include "apps/asn1/nms_codes.h"
#include "apps/common/texts.h"
#include "apps/handlers/nemgr/ne_config_file.h"
#include "apps/handlers/nemgr/simulated_ne.h"
#include "platform/log/log_process.h"
#include "platform/task/vela_app_mgr.h"
#include "util/basicutil/mutex.h"
#include "util/basicutil/progress_if.h"
#include "util/basicutil/stringutil.h"
#include "util/basicutil/tecommonerror.h"
#include "util/basicutil/timelog.h"

namespace velad {
namespace {

// An NE on which something is done shows under its number among the pending operations of the process.
class NEOperTime {
 public:
  NEOperTime(std::uint32_t ne, const std::string& what) : m_ne(ne) {
    if (auto* log = NSTE_util::TETimeLog::Instance()) log->BeginNEOper(ne, NSTE_util::TIME_NE_OPER, what);
  }
  ~NEOperTime() {
    if (auto* log = NSTE_util::TETimeLog::Instance()) log->EndNEOper(m_ne);
  }
  NEOperTime(const NEOperTime&) = delete;
  NEOperTime& operator=(const NEOperTime&) = delete;

 private:
  const std::uint32_t m_ne;
};

bool Stops(std::uint32_t operation, std::uint32_t code) {
  return code != (operation == NE_RESET_COMMAND ? BOARD_ERR_MEMORY : PORT_ERR_BUSY);
}

}  // namespace

int ShareOf(std::size_t index, std::size_t count) {
  return static_cast<int>((index + 1) * 100 / count - index * 100 / count);
}

bool NEWork::Ended() {
  m_ended = m_frame.watch.Ended() != RequestEnd::none;
  return m_ended;
}

bool NEWork::Run(const void* parent, int weight) {
  NSTE_util::TEOperProgressIF* progress = NSTE_util::TEOperProgressIF::Instance();
  const NSTE_util::TEOperProgressRegister registered(this, parent, weight);
  progress->SendProgress(this, 0, PlaceText({.ne = m_done.ne}).c_str(), true);
  const auto begin = std::chrono::steady_clock::now();
  m_frame.errors.AddErrTransStart();
  const std::uint32_t code = Operate();
  if (m_ended) {
    m_frame.errors.RollbackAddErr();
    return false;
  }
  if (code == NE_ERR_LOST) {
    m_frame.errors.RollbackAddErr();
    m_done = {.ne = m_done.ne};
  } else {
    m_frame.errors.CommitAddErr();
  }
  if (code != 0) {
    m_done.errorCode = code;
    AddErr({{.ne = m_done.ne}, code, {}});
  }
  m_done.time =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
  progress->SendProgress(this, 100, nullptr, true);  // with what rounding has left over
  return true;
}

// 0, or what is wrong with the NE as a whole.
std::uint32_t NEWork::Operate() {
  const NetworkNE* ne = m_frame.network.Find(m_done.ne);
  if (ne == nullptr || ne->manager != VelaGetProcId()) return NE_ERR_UNKNOWN;
  const NSTE_util::TEMutexOperGuard lock(static_cast<int>(m_frame.operation),
                                         NSTE_util::TEOperObject(ne->ne, 0, 0));
  return lock.GetResult() == 0 ? WorkOn(*ne) : NE_ERR_BUSY;
}

std::uint32_t NEWork::WorkOn(const NetworkNE& ne) {
  const bool reset = m_frame.operation == NE_RESET_COMMAND;
  const NEOperTime time(ne.ne, (reset ? "reset " : "upload ") + NSTE_util::TENEID2Str(ne.ne));
  SimulatedNE access(m_frame.network, ne, m_frame.faults, [this](std::chrono::microseconds wait) {
    m_frame.watch.PauseUntil(std::chrono::steady_clock::now() + wait);
  });
  std::uint32_t code = access.Connect();
  if (code == 0 && reset && !Ended()) code = access.Reset();
  if (code != 0) return code;
  m_done.version = access.SoftwareVersion();
  WorkOnBoards(access);
  if (Ended()) return 0;  // from here on, it is done
  m_done.alarms = access.Alarms().size();
  code = access.Disconnect();
  if (code != 0 || reset) return code;
  code = WriteConfiguration(ne, m_done.version, m_session.GetHandle());
  if (code == 0) m_done.file = ConfigurationFile(ne.ne);
  return code;
}

void NEWork::WorkOnBoards(NEAccess& access) {
  const std::vector<NEBoard> boards = access.Boards();
  for (std::size_t i = 0; i < boards.size() && !Ended(); ++i) {
    const NSTE_util::TEOperProgressRegister progress(&boards[i], this, ShareOf(i, boards.size()));
    WorkOnBoard(access, boards[i]);
    NSTE_util::TEOperProgressIF::Instance()->SendProgress(&boards[i], 100, nullptr, true);
  }
}

void NEWork::WorkOnBoard(NEAccess& access, const NEBoard& board) {
  m_frame.errors.AddErrTransStart();
  std::uint32_t code = Ask(access, board);
  if (code != 0) {
    m_frame.errors.RollbackAddErr();
    m_frame.errors.AddErrTransStart();
    code = Ask(access, board);
  }
  m_frame.errors.CommitAddErr();
  if (m_done.errorCode == 0) m_done.errorCode = code;
  if (code != 0) return;
  ++m_done.boards;
  m_done.ports += access.Ports(board).size();
  if (m_frame.operation == NE_UPLOAD_COMMAND)
    m_session.AddBuffer(kBoardBuffer, board.slot, new BoardBuffer(access.Configuration(board)));
}

std::uint32_t NEWork::Ask(NEAccess& access, const NEBoard& board) {
  std::uint32_t first = 0;
  for (const NEError& error : access.AskBoard(board)) {
    if (!Stops(m_frame.operation, error.code)) continue;
    AddErr(error);
    if (first == 0) first = error.code;
  }
  return first;
}

// A code that says it all travels without a text: who shows it has texts of its own.
void NEWork::AddErr(const NEError& error) {
  const std::string text = error.detail.empty() ? "" : apps::ErrorText(error.code, {error.detail});
  m_frame.errors.AddErr({NSTE_util::TEOperObject(error.place.ne, error.place.slot, error.place.port)},
                        error.code, text, PlaceText(error.place));
}

}  // namespace velad
