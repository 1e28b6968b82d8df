#include "apps/handlers/spread/spread_mission.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "apps/common/asn_values.h"
#include "apps/common/texts.h"
#include "apps/handlers/mission_messages.h"
#include "apps/handlers/spread/spread_result.h"
#include "platform/log/log_process.h"
#include "platform/os/clock.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/asynprogressmgr.h"
#include "util/basicutil/progressmgr.h"

namespace velad {
namespace {

using apps::HexCode;
using apps::SetText;
using apps::Unsigned;

constexpr int kWorkDone = 99;   // percent of a piece until its findings are there
constexpr int kMostTries = 60;  // to hand over the result, one a tick

}  // namespace

SpreadMission::SpreadMission(SpreadOrder order, SpreadConfig config)
    : m_order(std::move(order)),
      m_config(std::move(config)),
      m_client(m_order.client.m_wProcID, m_order.client.m_wProcHandle) {}

std::uint32_t SpreadMission::Register(unsigned long& missionId) {
  const vela::MutexLock lock(m_mutex);
  const std::vector<Cut> cuts = CutRecords(m_order.records.size(), m_config.processes, m_config.piecesEach);
  if (m_config.processes.empty()) return SPREAD_ERR_NO_WORKERS;
  if (cuts.empty()) return SPREAD_ERR_EMPTY;
  std::vector<NSTE_util::ProcWeightPairEx> shares;
  for (const Cut& cut : cuts) {
    m_parts[cut.process].records += cut.end - cut.begin;
    if (shares.empty() || shares.back().process != cut.process) shares.push_back({cut.process, 0, 0});
    shares.back().weight +=
        static_cast<float>(cut.end - cut.begin) / static_cast<float>(m_order.records.size());
    ++shares.back().count;
  }
  NSTE_util::SubMissionIds ids;
  if (!NSTE_util::AsynProgressMgr::Instance()->RegisterEx(shares, m_order.client.m_nMissionNo, missionId,
                                                          ids))
    return SPREAD_ERR_TWICE;
  m_id = static_cast<std::uint32_t>(missionId);
  std::map<CProcID, std::size_t> next;
  for (const Cut& cut : cuts)
    m_pieces[ids[cut.process][next[cut.process]++]] = {cut.process, cut.begin, cut.end};
  CrossCheck check;
  for (std::size_t i = 0; i < m_order.records.size(); ++i) check.Add(m_order.records[i], i, m_findings);
  return 0;
}

void SpreadMission::Begin() {
  const vela::MutexLock lock(m_mutex);
  LogProcess::Info("spread mission " + HexCode(m_id) + ": " + std::to_string(m_order.records.size()) +
                   " NEs in " + std::to_string(m_pieces.size()) + " pieces for " +
                   std::to_string(m_parts.size()) + " processes");
  for (const auto& [process, part] : m_parts) Tell(process);
  for (auto& [id, piece] : m_pieces)
    if (!piece.ended) HandOut(id, piece);
  FinishIfDone();
}

SpreadMission::Piece* SpreadMission::FindAwaited(CProcID source, std::uint32_t id) {
  const auto found = m_pieces.find(id);
  if (found == m_pieces.end() || found->second.ended || found->second.process != source) return nullptr;
  return &found->second;
}

std::uint32_t SpreadMission::Send(std::uint32_t id, Piece& piece) {
  AsnSpreadPieceReq request;
  request.subMissionID = static_cast<AsnIntType>(id);
  request.userID = m_order.userID;
  request.timeOut = SecondsUntil(m_order.deadline);
  FillRecords(m_order.records, piece.begin, piece.end, request.records);
  VelaGnlTask sender("SpreadMission");
  return sender.AsnSendNBC(piece.process, 0, SPREAD_PIECE_COMMAND, request, VELA_MSG_FORMAT);
}

void SpreadMission::HandOut(std::uint32_t id, Piece& piece) {
  piece.lastSign = std::chrono::steady_clock::now();
  const std::uint32_t code = m_stopCode != 0 ? m_stopCode : Send(id, piece);
  if (code == 0)
    LogProcess::Info("spread mission " + HexCode(m_id) + ": piece " + HexCode(id) + " is handed to " +
                     VelaAddressText(piece.process));
  else if (m_stopCode != 0)
    Close(id, piece, false);
  else
    Fail(id, piece, code, WhyNotSent(code, piece.process));
}

bool SpreadMission::OnProgress(CProcID source, std::uint32_t id, int percent) {
  const vela::MutexLock lock(m_mutex);
  Piece* piece = FindAwaited(source, id);
  if (piece == nullptr) return false;
  piece->lastSign = std::chrono::steady_clock::now();
  const int before = PartPercent(source);
  piece->percent = std::clamp(percent, piece->percent, kWorkDone);
  NSTE_util::AsynProgressMgr::Instance()->WriteProcProgress(m_id, source, id,
                                                            static_cast<unsigned long>(piece->percent));
  if (PartPercent(source) > before) Tell(source);
  return true;
}

void SpreadMission::OnEnd(CProcID source, const AsnSpreadPieceEnd& end) {
  const vela::MutexLock lock(m_mutex);
  const auto id = Unsigned(end.subMissionID);
  Piece* piece = FindAwaited(source, id);
  if (piece == nullptr) return;
  const std::size_t size = piece->end - piece->begin;
  Part& part = m_parts[source];
  part.checked += std::min(static_cast<std::size_t>(static_cast<AsnIntType>(end.checked)), size);
  m_omitted += static_cast<std::size_t>(std::max<AsnIntType>(0, end.omitted));
  AddFindings(end.findings, piece->begin, size, m_findings);
  const auto code = Unsigned(end.errorCode);
  if (code == AUDIT_ERR_CANCELED || code == AUDIT_ERR_TIMEOUT) Stop(code);
  if (code == 0 || m_stopCode != 0)
    Close(id, *piece, code == 0);
  else
    Fail(id, *piece, code, WhyNotSent(code, source));
  FinishIfDone();
}

void SpreadMission::OnFailure(const NSTE_util::PartFailure& failure) {
  const vela::MutexLock lock(m_mutex);
  for (const std::uint32_t id : failure.subMissions)
    if (Piece* piece = FindAwaited(failure.process, id))
      Fail(id, *piece, failure.errorCode,
           failure.errorCode == VELA_ERR_NO_RECEIVER ? WhyNotSent(failure.errorCode, failure.process)
                                                     : failure.text);
  FinishIfDone();
}

void SpreadMission::Fail(std::uint32_t id, Piece& piece, std::uint32_t code, const std::string& text) {
  Part& part = m_parts[piece.process];
  if (part.errorCode == 0) {
    part.errorCode = code;
    part.text = apps::Text("SPREAD_PART_FAILED", {text});
  }
  LogProcess::Error("spread mission " + HexCode(m_id) + ": piece " + HexCode(id) + " of " +
                    VelaAddressText(piece.process) + " has failed, code " + HexCode(code));
  if (m_order.onFailure == OnPartFailure::move && m_stopCode == 0 && Move(id, piece)) return;
  Close(id, piece, m_stopCode == 0 && m_order.onFailure != OnPartFailure::stop);
  if (m_order.onFailure == OnPartFailure::stop) Stop(SPREAD_ERR_PARTS);
}

bool SpreadMission::Move(std::uint32_t id, Piece& piece) {
  std::optional<CProcID> target;
  for (const auto& [process, part] : m_parts)
    if (part.errorCode == 0 && IsProcessAlive(process) && (!target || Awaited(process) < Awaited(*target)))
      target = process;
  if (!target) return false;
  const CProcID from = std::exchange(piece.process, *target);
  piece.percent = 0;
  m_parts[from].moved += piece.end - piece.begin;
  NSTE_util::AsynProgressMgr::Instance()->MoveSubMission(id, *target);
  LogProcess::Info("spread mission " + HexCode(m_id) + ": piece " + HexCode(id) + " moves from " +
                   VelaAddressText(from) + " to " + VelaAddressText(*target));
  m_parts[*target].done = false;
  Tell(from);
  HandOut(id, piece);
  return true;
}

// `complete`: counts as such, so that the figure goes on.
void SpreadMission::Close(std::uint32_t id, Piece& piece, bool complete) {
  piece.ended = true;
  NSTE_util::AsynProgressMgr* progress = NSTE_util::AsynProgressMgr::Instance();
  const CProcID process = piece.process;
  Part& part = m_parts[process];
  if (complete && m_stopCode == 0) {
    piece.percent = 100;
    progress->WriteProcProgress(m_id, process, id, 100);
  }
  if (m_stopCode != 0 && part.errorCode == 0) {
    part.errorCode = m_stopCode;
    part.text = apps::Text("SPREAD_PART_STOPPED");
  }
  part.done = Awaited(process) == 0;
  if (part.done && part.errorCode != 0 && complete) NSTE_util::GoOnWithout(m_id, process);
  Tell(process);
}

void SpreadMission::Stop(std::uint32_t code) {
  if (m_stopCode != 0) return;
  m_stopCode = code;
  LogProcess::Info("spread mission " + HexCode(m_id) + ": is stopped, code " + HexCode(code));
  NSTE_util::AsynProgressMgr::Instance()->MissionStop(m_order.client);
}

// A piece that its process has not begun yet does not know its abort: hence again and again.
void SpreadMission::SendAborts() {
  for (const auto& [id, piece] : m_pieces)
    if (!piece.ended) AbortSubMission(piece.process, id);
}

std::uint32_t SpreadMission::WhyStop() {
  NSTE_util::ProgressMgr* progress = NSTE_util::ProgressMgr::Instance();
  if (VelaIsExit()) return AUDIT_ERR_STOPPING;
  if (progress->IsCanceled(m_order.client)) return AUDIT_ERR_CANCELED;
  if (m_order.deadline != 0 && vela::NowSeconds() > m_order.deadline) return AUDIT_ERR_TIMEOUT;
  return IsProcessAlive(m_client) ? 0 : AUDIT_ERR_CLIENT_GONE;
}

void SpreadMission::LookAt(std::uint32_t id, Piece& piece) {
  const std::string address = VelaAddressText(piece.process);
  const auto silence = std::chrono::steady_clock::now() - piece.lastSign;
  if (!IsProcessAlive(piece.process))
    Fail(id, piece, VELA_ERR_NO_RECEIVER, WhyNotSent(VELA_ERR_NO_RECEIVER, piece.process));
  else if (silence > vela::ScaledSeconds(m_config.silenceSeconds))
    Fail(id, piece, SPREAD_ERR_SILENT,
         apps::Text("SPREAD_PART_SILENT", {address, std::to_string(m_config.silenceSeconds)}));
}

void SpreadMission::Tick() {
  const vela::MutexLock lock(m_mutex);
  if (m_end) return SendEnd();
  if (const std::uint32_t code = WhyStop()) Stop(code);
  if (m_stopCode != 0) SendAborts();
  for (auto& [id, piece] : m_pieces)
    if (!piece.ended) LookAt(id, piece);
  FinishIfDone();
}

void SpreadMission::Abandon() {
  const vela::MutexLock lock(m_mutex);
  if (m_end) return;
  VelaGnlTask task("SpreadMission");
  const VelaCurrentTaskScope current(&task);
  Stop(AUDIT_ERR_STOPPING);
  for (auto& [id, piece] : m_pieces)
    if (!piece.ended) Close(id, piece, false);
  FinishIfDone();
}

std::size_t SpreadMission::Awaited(CProcID process) {
  return static_cast<std::size_t>(std::count_if(m_pieces.begin(), m_pieces.end(), [&](const auto& entry) {
    return entry.second.process == process && !entry.second.ended;
  }));
}

int SpreadMission::PartPercent(CProcID process) {
  int sum = 0;
  int count = 0;
  for (const auto& [id, piece] : m_pieces) {
    if (piece.process != process) continue;
    sum += piece.percent;
    ++count;
  }
  return count == 0 ? 0 : sum / count;
}

std::string SpreadMission::Detail(CProcID process) {
  const Part& part = m_parts[process];
  if (part.errorCode != 0) return part.text;
  if (part.done) return apps::Text("SPREAD_PART_DONE");
  const int percent = PartPercent(process);
  return percent >= kWorkDone ? apps::Text("SPREAD_PART_CHECKED") : std::to_string(percent) + "%";
}

// What was stopped counts as complete in the figure: to the client, it stands still from then on.
void SpreadMission::Tell(CProcID process) {
  NSTE_util::ProgressMgr* progress = NSTE_util::ProgressMgr::Instance();
  const bool stopped = m_stopCode != 0 || progress->IsCanceled(m_order.client);
  const auto figure = static_cast<int>(NSTE_util::AsynProgressMgr::Instance()->GetMissionProgress(m_id));
  progress->SendParalProgress(
      nullptr, m_order.client,
      {stopped ? std::max(m_lastFigure, 0) : figure, VelaAddressText(process), Detail(process)});
  if (stopped || figure <= m_lastFigure) return;
  m_lastFigure = figure;
  LogProcess::Info("spread mission " + HexCode(m_id) + ": process " + VelaAddressText(process) + " at " +
                   std::to_string(PartPercent(process)) + ", folded to " + std::to_string(figure));
}

void SpreadMission::FinishIfDone() {
  if (m_end ||
      std::any_of(m_pieces.begin(), m_pieces.end(), [](const auto& entry) { return !entry.second.ended; }))
    return;
  m_end = std::make_unique<AsnSpreadEnd>();
  FillEnd(*m_end);
  NSTE_util::AsynProgressMgr::Instance()->UnRegister(m_id);
  NSTE_util::ProgressMgr::Instance()->UnRegisterMission(m_order.client);
  LogProcess::Info("spread mission " + HexCode(m_id) + ": has ended, code " +
                   HexCode(Unsigned(m_end->errorCode)));
  SendEnd();
}

void SpreadMission::FillEnd(AsnSpreadEnd& end) {
  std::size_t checked = 0;
  bool failed = false;
  for (const auto& [process, part] : m_parts) {
    checked += part.checked;
    failed = failed || part.errorCode != 0;
    AddPart(end, {process, part.records, part.checked, part.moved, part.errorCode, part.text});
  }
  const bool incomplete = failed && checked < m_order.records.size();
  const std::uint32_t code = m_stopCode != 0 ? m_stopCode : incomplete ? SPREAD_ERR_PARTS : 0;
  end.missionID = m_order.client.m_nMissionNo;
  end.checked = static_cast<AsnIntType>(checked);
  end.errorCode = static_cast<AsnIntType>(code);
  const std::string reason =
      code == 0 ? ""
                : apps::ErrorText(code, {std::to_string(checked), std::to_string(m_order.records.size())});
  SetText(end.reason, reason);
  std::stable_sort(m_findings.begin(), m_findings.end(),
                   [](const Finding& a, const Finding& b) { return a.record < b.record; });
  end.omitted = static_cast<AsnIntType>(m_omitted + FillFindings(m_findings, end.findings));
}

// A client that does not take its messages now may do so later.
void SpreadMission::SendEnd() {
  if (m_over) return;
  VelaGnlTask sender("SpreadMission");
  const std::uint32_t code = sender.AsnSendNBC(m_client, 0, SPREAD_END_COMMAND, *m_end, VELA_MSG_FORMAT);
  m_over = code == 0 || code == VELA_ERR_NO_RECEIVER || code == VELA_ERR_TOO_LARGE || ++m_tries >= kMostTries;
  if (code != 0)
    LogProcess::Error("spread mission " + HexCode(m_id) + ": the result was not sent, code " + HexCode(code));
}

bool SpreadMission::IsOver() {
  const vela::MutexLock lock(m_mutex);
  return m_over;
}

}  // namespace velad
