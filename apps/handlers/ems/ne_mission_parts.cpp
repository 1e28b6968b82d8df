#include "apps/handlers/ems/ne_mission_parts.h"

#include <algorithm>
#include <utility>

#include "apps/asn1/nms_codes.h"
#include "apps/common/asn_values.h"
#include "apps/common/texts.h"
#include "apps/handlers/mission_messages.h"
#include "apps/handlers/ne_mission_code.h"
#include "platform/asncmd/asn_req_data.h"
#include "platform/bus/bus.h"
#include "platform/log/log_process.h"
#include "platform/os/clock.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/asnassist.h"
#include "util/basicutil/asynprogress_watch.h"
#include "util/basicutil/asynprogressmgr.h"
#include "util/basicutil/msg_if.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/taskcontext.h"

namespace velad {
namespace {

using apps::HexCode;

using NSTE_util::AsynProgressMgr;

constexpr int kWorkDone = 99;  // percent of a piece until its results are there

// The mission's inbox is open to the service tasks for the scope's life.
class OpenInbox {
 public:
  OpenInbox(std::uint32_t mission, std::shared_ptr<NEMissionInbox> inbox) : m_mission(mission) {
    NEMissionBook::Instance().Open(mission, std::move(inbox));
  }
  ~OpenInbox() { NEMissionBook::Instance().Close(m_mission); }
  OpenInbox(const OpenInbox&) = delete;
  OpenInbox& operator=(const OpenInbox&) = delete;

 private:
  const std::uint32_t m_mission;
};

}  // namespace

NEMissionParts::NEMissionParts(NSTE_util::TETaskContext& context, const NEOrder& order, int silenceSeconds,
                               float span)
    : m_context(context), m_order(order), m_silenceSeconds(silenceSeconds), m_span(span), m_watch(context) {}

void NEMissionParts::Run(const std::vector<ManagedNE>& nes, const std::vector<CProcID>& live) {
  std::vector<Piece> pieces = Cut(nes, live);
  if (pieces.empty()) return;
  std::vector<NSTE_util::ProcWeightPairEx> shares;
  for (const Piece& piece : pieces)
    shares.push_back({piece.process, static_cast<float>(piece.size) / static_cast<float>(m_total), 1});
  NSTE_util::AsynProgRegisterGuardEx registration(shares, m_order.client.m_nMissionNo, m_span);
  std::vector<std::uint32_t> ids;
  for (Piece& piece : pieces) {
    const auto id = static_cast<std::uint32_t>(registration.GetMissionID(piece.process));
    if (id == 0) return LoseAll(nes);
    ids.push_back(id);
    m_pieces[id] = std::move(piece);
  }
  m_mission = NEMissionBook::MissionOf(ids.front());
  const OpenInbox open(m_mission, m_inbox);
  for (const auto& [process, part] : m_parts) Tell(process);
  HandOut(ids);
  Await();
  for (auto& [process, part] : m_parts)
    if (const std::string moved = MovedText(process); !moved.empty()) part.reason = moved;
}

// The library did not take the mission, and has said why in the log.
void NEMissionParts::LoseAll(const std::vector<ManagedNE>& nes) {
  m_lost.clear();
  for (const ManagedNE& ne : nes) m_lost.push_back({ne.ne, VELA_ERR_GENERAL, {}});
}

// One piece an instance, in the order of the managers and their NEs.
std::vector<NEMissionParts::Piece> NEMissionParts::Cut(const std::vector<ManagedNE>& nes,
                                                       const std::vector<CProcID>& live) {
  std::map<std::uint16_t, std::vector<std::uint32_t>> nesOf;
  for (const ManagedNE& ne : nes) nesOf[ne.manager].push_back(ne.ne);
  std::vector<Piece> pieces;
  for (const auto& [number, its] : nesOf) {
    std::vector<CProcID> instances;
    std::copy_if(live.begin(), live.end(), std::back_inserter(instances),
                 [&, wanted = number](CProcID process) { return process.Number() == wanted; });
    if (instances.empty()) {
      const std::string reason = apps::ErrorText(NE_PART_ERR_NO_MANAGER, {std::to_string(number)});
      m_parts[CProcID(number, 0)] = {its.size(), 0, NE_PART_ERR_NO_MANAGER, reason};
      for (const std::uint32_t ne : its) m_lost.push_back({ne, NE_PART_ERR_NO_MANAGER, reason});
      continue;
    }
    const std::size_t count = std::min(instances.size(), its.size());
    for (std::size_t i = 0; i < count; ++i) {
      const auto begin = its.begin() + static_cast<std::ptrdiff_t>(its.size() * i / count);
      const auto end = its.begin() + static_cast<std::ptrdiff_t>(its.size() * (i + 1) / count);
      pieces.push_back({instances[i], {begin, end}, static_cast<std::size_t>(end - begin)});
      m_parts[instances[i]].nes = pieces.back().size;
      m_total += pieces.back().size;
    }
  }
  return pieces;
}

// One request for all, of which each process gets its own NEs.
void NEMissionParts::HandOut(const std::vector<std::uint32_t>& ids) {
  AsnNEPieceReq request;
  request.operation = static_cast<AsnIntType>(m_order.operation);
  request.userID = m_order.userID;
  request.timeOut = SecondsUntil(m_order.deadline);
  std::vector<NSTE_util::TEAsnNESection> sections;
  for (const std::uint32_t id : ids) {
    Piece& piece = m_pieces[id];
    piece.life = LifeOfProcess(piece.process);
    piece.lastSign = Clock::now();
    piece.begun = false;
    piece.tried.insert(piece.process);
    AsnPieceShare& share = *request.shares.append();
    share.process = piece.process.Number();
    share.handle = piece.process.Handle();
    share.subMissionID = static_cast<AsnIntType>(id);
    for (const std::uint32_t ne : piece.nes) *request.nes.append() = static_cast<AsnIntType>(ne);
    sections.push_back({static_cast<NSTE_util::CAsnSplitStrategyType>(sections.size()),
                        static_cast<std::uint32_t>(piece.nes.size())});
  }
  NSTE_util::TEAsnSplitResult split;
  const auto splitCode = static_cast<std::uint32_t>(NSTE_util::MultiNEAsnTypeSplit(
      request, &request, sizeof request, request.nes, &request.nes, sections, split));
  for (std::size_t i = 0; i < ids.size(); ++i) {
    Piece& piece = m_pieces[ids[i]];
    const std::uint32_t code = splitCode != 0 ? splitCode : Send(piece.process, *split[sections[i].m_eType]);
    LogProcess::Info("NE mission " + HexCode(m_mission) + ": " + std::to_string(piece.nes.size()) +
                     " NEs for " + VelaAddressText(piece.process) + ", code " + HexCode(code));
    if (code == VELA_ERR_NO_RECEIVER)
      Fail(ids[i], piece, NE_PART_ERR_ENDED,
           apps::ErrorText(NE_PART_ERR_ENDED, {VelaAddressText(piece.process)}));
    else if (code != 0)
      Fail(ids[i], piece, NE_PART_ERR_REFUSED,
           apps::ErrorText(NE_PART_ERR_REFUSED, {VelaAddressText(piece.process), HexCode(code)}));
  }
}

// A request that was not split is still an object.
std::uint32_t NEMissionParts::Send(CProcID process, const CAsnReqData& request) {
  VelaGnlTask* task = m_context.GetTask();
  if (request.Request() != nullptr)
    return task->AsnSendNBC(process, 0, NE_PIECE_COMMAND, *request.Request(), VELA_MSG_FORMAT);
  VelaCmdMSG* frame = NSTE_util::CfgCreateReqMsg(
      task, NE_PIECE_COMMAND, const_cast<unsigned char*>(request.Buffer()),
      static_cast<unsigned>(request.Size()), process.Number(), process.Handle(), 0, VELA_KIND_COMMAND, 0);
  if (frame == nullptr) return VELA_ERR_MEMORY;
  VelaAppMgr* app = VelaAppMgr::Instance();
  return app->VelaOutSendMsg(frame, 0) == 1 ? 0 : app->LastSendError();
}

bool NEMissionParts::IsAwaited() const {
  return std::any_of(m_pieces.begin(), m_pieces.end(), [](const auto& entry) { return !entry.second.ended; });
}

// An abort reaches the managers by other ways too: whether the mission was stopped is asked before what they
// say to it is taken.
void NEMissionParts::Await() {
  auto tick = Clock::now();
  while (IsAwaited()) {
    NEMissionInbox::News news = m_inbox->Take(tick);
    StopIfTold();
    for (auto& [key, its] : news) TakeNews(key, its);
    if (Clock::now() < tick) continue;
    if (m_stopCode != 0) SendAborts();
    for (auto& [id, piece] : m_pieces)
      if (!piece.ended) LookAt(id, piece);
    tick = Clock::now() + vela::ScaledSeconds(kTickSeconds);
  }
}

void NEMissionParts::TakeNews(const NEMissionInbox::Key& key, NEPieceNews& news) {
  const auto& [source, id] = key;
  const auto found = m_pieces.find(id);
  if (found == m_pieces.end() || found->second.ended || found->second.process != source) {
    // Who was given up goes on in vain.
    if (!news.end) AbortSubMission(source, id);
    return;
  }
  if (news.end) return TakeEnd(id, found->second, *news.end);
  if (news.percent) TakeProgress(id, found->second, *news.percent);
}

void NEMissionParts::TakeProgress(std::uint32_t id, Piece& piece, int percent) {
  piece.lastSign = Clock::now();
  piece.begun = true;
  if (percent <= piece.percent) return;
  piece.percent = std::min(percent, kWorkDone);
  if (m_stopCode != 0) return;
  AsynProgressMgr::Instance()->WriteProcProgress(m_mission, piece.process, id,
                                                 static_cast<unsigned long>(piece.percent));
  Tell(piece.process);
}

void NEMissionParts::TakeEnd(std::uint32_t id, Piece& piece, NEPieceEnd& end) {
  Keep(piece, end.results);
  if (!end.report.empty()) m_reports.push_back(std::move(end.report));
  // The manager may have noticed it first.
  if (end.errorCode == NE_MISSION_ERR_CANCELED || end.errorCode == NE_MISSION_ERR_TIMEOUT)
    Stop(end.errorCode);
  if (piece.nes.empty() || m_stopCode != 0) return Close(id, piece, 0, {});
  const std::uint32_t code =
      end.errorCode == NE_MISSION_ERR_STOPPING ? NE_PART_ERR_ENDED : NE_PART_ERR_REFUSED;
  Fail(id, piece, code,
       apps::ErrorText(code,
                       {VelaAddressText(piece.process),
                        end.reason.empty() ? HexCode(end.errorCode) : vela::EscapeControls(end.reason)}));
}

// Results of NEs that are not (any more) the piece's do not count.
void NEMissionParts::Keep(Piece& piece, std::vector<NEResult>& results) {
  std::set<std::uint32_t> left(piece.nes.begin(), piece.nes.end());
  for (NEResult& result : results) {
    if (left.erase(result.ne) == 0) continue;
    ++m_parts[piece.process].done;
    const std::uint32_t ne = result.ne;
    m_results[ne] = {piece.process, std::move(result)};
  }
  piece.nes.assign(left.begin(), left.end());
}

void NEMissionParts::LookAt(std::uint32_t id, Piece& piece) {
  const auto now = Clock::now();
  // One that has not begun may wait behind others, of which its process tells meanwhile.
  const auto sign = piece.begun ? piece.lastSign
                                : std::max(piece.lastSign, NEMissionBook::Instance().LastSign(piece.process));
  if (LifeOfProcess(piece.process) != piece.life)
    Fail(id, piece, NE_PART_ERR_ENDED, apps::ErrorText(NE_PART_ERR_ENDED, {VelaAddressText(piece.process)}));
  else if (now - sign > vela::ScaledSeconds(m_silenceSeconds))
    FailSilent(id, piece);
  else if (m_stopCode != 0 && now - m_stopped > vela::ScaledSeconds(kPatienceSeconds))
    Close(id, piece, 0, {});
}

// It does not keep the NEs when it goes on one day.
void NEMissionParts::FailSilent(std::uint32_t id, Piece& piece) {
  AbortSubMission(piece.process, id);
  Fail(id, piece, NE_PART_ERR_SILENT,
       apps::ErrorText(NE_PART_ERR_SILENT,
                       {VelaAddressText(piece.process), std::to_string(m_silenceSeconds)}));
}

void NEMissionParts::Fail(std::uint32_t id, Piece& piece, std::uint32_t code, const std::string& reason) {
  NEPart& part = m_parts[piece.process];
  if (part.errorCode == 0) {
    part.errorCode = code;
    part.reason = reason;
  }
  LogProcess::Error("NE mission " + HexCode(m_mission) + ": " + reason);
  if (m_stopCode != 0 || !Move(id, piece)) Close(id, piece, code, reason);
}

bool NEMissionParts::Move(std::uint32_t id, Piece& piece) {
  const vela::Bus* bus = VelaAppMgr::Instance()->GetBus();
  if (bus == nullptr) return false;
  const std::vector<CProcID> live = bus->LiveProcesses();
  const auto target = std::find_if(live.begin(), live.end(), [&](CProcID process) {
    return process.Number() == piece.process.Number() && !piece.tried.contains(process);
  });
  if (target == live.end()) return false;
  const CProcID from = std::exchange(piece.process, *target);
  m_parts[*target].nes += piece.nes.size();
  m_parts[from].movedTo.insert(*target);
  AsynProgressMgr::Instance()->MoveSubMission(id, *target);
  LogProcess::Info("NE mission " + HexCode(m_mission) + ": " + std::to_string(piece.nes.size()) +
                   " NEs move from " + VelaAddressText(from) + " to " + VelaAddressText(*target));
  Tell(from);
  HandOut({id});
  return true;
}

// What is left of it is lost, for the code, or because the mission was stopped.
void NEMissionParts::Close(std::uint32_t id, Piece& piece, std::uint32_t code, const std::string& reason) {
  piece.ended = true;
  NEPart& part = m_parts[piece.process];
  if (code == 0 && !piece.nes.empty()) code = m_stopCode;
  if (part.errorCode == 0 && code != 0) {
    part.errorCode = code;
    part.reason = reason.empty() ? apps::Text("SPREAD_PART_STOPPED") : reason;
  }
  for (const std::uint32_t ne : piece.nes) m_lost.push_back({ne, code, reason});
  if (m_stopCode == 0) {
    piece.percent = 100;
    if (piece.nes.empty())
      AsynProgressMgr::Instance()->WriteProcProgress(m_mission, piece.process, id, 100);
    else
      NSTE_util::GoOnWithout(m_mission, piece.process);
  }
  Tell(piece.process);
}

// Nothing reaches a process that ends: it does not wait for the others.
void NEMissionParts::StopIfTold() {
  const std::uint32_t code = NEMissionCode(m_watch.Ended());
  if (code != 0) Stop(code);
  if (code == NE_MISSION_ERR_STOPPING) CloseAll();
}

void NEMissionParts::Stop(std::uint32_t code) {
  if (m_stopCode != 0) return;
  m_stopCode = code;
  m_stopped = Clock::now();
  LogProcess::Info("NE mission " + HexCode(m_mission) + ": is stopped, code " + HexCode(code));
  AsynProgressMgr::Instance()->MissionStop(m_order.client);
}

void NEMissionParts::SendAborts() {
  for (const auto& [id, piece] : m_pieces)
    if (!piece.ended) AbortSubMission(piece.process, id);
}

void NEMissionParts::CloseAll() {
  SendAborts();
  for (auto& [id, piece] : m_pieces)
    if (!piece.ended) Close(id, piece, 0, {});
}

int NEMissionParts::Percent() const {
  std::size_t sum = 0;
  for (const auto& [id, piece] : m_pieces) sum += piece.size * static_cast<std::size_t>(piece.percent);
  return m_total == 0 ? 0 : static_cast<int>(sum / m_total);
}

std::string NEMissionParts::MovedText(CProcID process) const {
  const bool holds = std::any_of(m_pieces.begin(), m_pieces.end(),
                                 [&](const auto& entry) { return entry.second.process == process; });
  if (holds) return {};
  std::string list;
  for (const CProcID target : m_parts.at(process).movedTo)
    list += (list.empty() ? "" : ", ") + VelaAddressText(target);
  return list.empty() ? list : apps::Text("MISSION_PART_MOVED", {list});
}

std::string NEMissionParts::Detail(CProcID process) const {
  if (std::string moved = MovedText(process); !moved.empty()) return moved;
  const NEPart& part = m_parts.at(process);
  std::size_t sum = 0;
  std::size_t size = 0;
  bool ended = true;
  for (const auto& [id, piece] : m_pieces) {
    if (piece.process != process) continue;
    sum += piece.size * static_cast<std::size_t>(piece.percent);
    size += piece.size;
    ended = ended && piece.ended;
  }
  if (ended && part.errorCode == m_stopCode && m_stopCode != 0) return apps::Text("SPREAD_PART_STOPPED");
  if (ended && part.errorCode != 0) return apps::Text("SPREAD_PART_FAILED", {part.reason});
  if (ended) return apps::Text("SPREAD_PART_DONE");
  return std::to_string(sum / size) + "%";
}

// To the client, a mission that was stopped stands still.
void NEMissionParts::Tell(CProcID process) {
  if (m_stopCode == 0) m_figure = std::max(m_figure, Percent());
  m_context.SendParalProgress({m_figure, VelaAddressText(process), Detail(process)});
}

}  // namespace velad
