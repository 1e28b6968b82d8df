#include "apps/handlers/oper/ne_oper_run.h"

#include <list>
#include <string>

#include "apps/asn1/ne_oper_codes.h"
#include "apps/common/texts.h"
#include "platform/os/clock.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/taskcontext.h"
#include "util/basicutil/tecommonerror.h"

namespace velad {
namespace {

constexpr EndCodes kEndCodes = {NE_OPER_ERR_CANCELED, NE_OPER_ERR_STOPPING, NE_OPER_ERR_TIMEOUT,
                                NE_OPER_ERR_CLIENT_GONE};

// Who only reads is stopped neither by traffic nor by a full memory.
bool Stops(NEOper oper, const NEFault& fault) {
  return oper == NEOper::configure || (fault.code != PORT_ERR_BUSY && fault.code != BOARD_ERR_MEMORY);
}

}  // namespace

NEOperRun::NEOperRun(NSTE_util::TETaskContext& context, NSTE_util::TEOperErrorLogIF& errors, NEOper oper,
                     const std::vector<unsigned long>& nes, const NEFaults& faults, std::int64_t seconds)
    : m_context(context),
      m_errors(errors),
      m_oper(oper),
      m_nes(nes),
      m_faults(faults),
      m_duration(vela::ScaledSeconds(seconds)),
      m_watch(context) {}

void NEOperRun::Run() {
  for (; m_nesDone < m_nes.size(); ++m_nesDone) {
    WorkOn(static_cast<std::uint32_t>(m_nes[m_nesDone]));
    if (m_end != RequestEnd::none) return EndEarly();
  }
  Report(static_cast<std::uint32_t>(m_nes.back()));
  if (m_failed) m_errors.SetErrCode(NE_OPER_ERR_FAILED);
}

void NEOperRun::WorkOn(std::uint32_t ne) {
  m_errors.AddErrTransStart();
  for (std::uint32_t slot = 1; slot <= NEFaults::kSlots && !Ended(); ++slot) {
    Report(ne);
    if (!WorkOnBoard(ne, slot)) m_failed = true;
    BoardDone();
  }
  const NEFault* lost = m_end == RequestEnd::none ? m_faults.OfNE(ne) : nullptr;
  if (lost == nullptr) {
    m_errors.CommitAddErr();
    return;
  }
  m_errors.RollbackAddErr();
  AddErr({.ne = ne}, *lost);
  m_failed = true;
}

bool NEOperRun::WorkOnBoard(std::uint32_t ne, std::uint32_t slot) {
  m_errors.AddErrTransStart();
  if (Ask(ne, slot, false)) return m_errors.CommitAddErr() == 0;
  m_errors.RollbackAddErr();
  m_errors.AddErrTransStart();
  const bool good = Ask(ne, slot, true);
  m_errors.CommitAddErr();
  return good;
}

bool NEOperRun::Ask(std::uint32_t ne, std::uint32_t slot, bool again) {
  bool good = true;
  m_faults.OfBoard(ne, slot, [&](const NEPlace& place, const NEFault& fault) {
    if ((again && fault.once) || !Stops(m_oper, fault)) return;
    AddErr(place, fault);
    good = false;
  });
  return good;
}

// A code that says it all travels without a text: who shows it has texts of its own.
void NEOperRun::AddErr(const NEPlace& place, const NEFault& fault) {
  const std::string text = fault.detail.empty() ? "" : apps::ErrorText(fault.code, {fault.detail});
  m_errors.AddErr({NSTE_util::TEOperObject(place.ne, place.slot, place.port)}, fault.code, text,
                  PlaceText(place));
}

bool NEOperRun::Ended() {
  m_end = m_watch.Ended();
  return m_end != RequestEnd::none;
}

void NEOperRun::BoardDone() {
  ++m_boardsDone;
  m_watch.PauseUntil(m_begin + m_duration * static_cast<std::int64_t>(m_boardsDone) / Boards());
}

std::int64_t NEOperRun::Boards() const {
  return static_cast<std::int64_t>(m_nes.size() * NEFaults::kSlots);
}

void NEOperRun::Report(std::uint32_t ne) {
  const auto percent = static_cast<int>(static_cast<std::int64_t>(m_boardsDone) * 100 / Boards());
  if (percent == m_percent) return;
  m_percent = percent;
  const std::string name = PlaceText({.ne = ne});
  m_context.SendProgress(percent, NSTE_util::TaskProgressInfo(m_oper == NEOper::configure
                                                                  ? apps::Text("OPER_CONFIGURING", {name})
                                                                  : apps::Text("OPER_INSPECTING", {name})));
}

void NEOperRun::EndEarly() {
  const std::uint32_t code = CodeOf(m_end, kEndCodes);
  m_errors.SetErrCode(code);
  m_errors.AddErr({}, code, apps::ErrorText(code, {std::to_string(m_nesDone), std::to_string(m_nes.size())}),
                  PlaceText({.ne = static_cast<std::uint32_t>(m_nes[m_nesDone])}));
}

}  // namespace velad
