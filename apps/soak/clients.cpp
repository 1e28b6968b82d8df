#include "apps/soak/clients.h"

#include <unistd.h>

#include <random>

#include "apps/asn1/nms_codes.h"
#include "asn1/nms.h"
#include "asn1/progress.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"

namespace soak {
namespace {

constexpr std::uint32_t kAbortCommand = 0x208001;
constexpr std::uint32_t kNoCommand = 0x2FFFFF;  // served by nobody
constexpr int kAnswerSeconds = 120;
const CProcID kEms(110, 1);

std::atomic<int> g_mission{0};

// One client's thread: its task, its dice.
class Client {
 public:
  Client(unsigned seed, Tally& tally) : m_dice(seed), m_task("soak"), m_tally(tally) {}

  void AskSomething() {
    const VelaCurrentTaskScope current(&m_task);
    const int what = Roll(100);
    if (what < 45)
      Mission(NE_UPLOAD_COMMAND, what < 10);
    else if (what < 60)
      Mission(NE_RESET_COMMAND, false);
    else if (what < 80)
      Status();
    else if (what < 90)
      Lists();
    else if (what < 95)
      Reload();
    else
      Nonsense();
  }

 private:
  int Roll(int sides) { return static_cast<int>(m_dice() % static_cast<unsigned>(sides)); }

  std::uint32_t Ask(std::uint32_t command, const AsnType& request, CProcID server, AsnType& response) {
    ++m_tally.sent;
    const std::uint32_t result =
        CAsnPhyCmd(command, request, server, kAnswerSeconds, 0, 0).Exec(&m_task, response);
    if (result != VELA_ERR_NO_RECEIVER && result != VELA_ERR_NO_ANSWER) ++m_tally.answered;
    return result;
  }

  void Mission(std::uint32_t command, bool cancel) {
    AsnNEMissionReq request;
    request.missionID = ++g_mission;
    request.userID = 1;
    request.timeOut = 60;
    const int first = Roll(100) + 1;
    const int count = Roll(8) + 1;
    for (int i = 0; i < count; ++i) *request.nes.append() = 0x90000 + first + i;
    std::thread canceller;
    if (cancel) canceller = std::thread([id = g_mission.load(), pause = Roll(200)] { Cancel(id, pause); });
    AsnNEMissionRsp response;
    if (Ask(command, request, kEms, response) == 0) Count(response);
    if (canceller.joinable()) canceller.join();
  }

  static void Cancel(int mission, int pause) {
    usleep(static_cast<unsigned>(pause) * 1000);
    VelaGnlTask task("soak cancel");
    AsnAbortMissionReq request;
    request.scope = 255;
    request.missionID = mission;
    task.AsnSendNBC(kEms, 0, kAbortCommand, request, VELA_MSG_FORMAT);
  }

  void Count(const AsnNEMissionRsp& response) {
    const auto code = static_cast<std::uint32_t>(static_cast<AsnIntType>(response.errorCode));
    ++m_tally.missions;
    if (code == NE_MISSION_ERR_UPLOADING || code == NE_MISSION_ERR_RESETTING) ++m_tally.refused;
    if (code == NE_MISSION_ERR_CANCELED) ++m_tally.cancelled;
  }

  void Status() {
    static const CProcID kAsked[] = {{51, 1}, {52, 1}, {110, 1}, {120, 1}, {121, 1}};
    AsnStatusReq request;
    request.userID = 1;
    AsnStatusRsp response;
    Ask(STATUS_COMMAND, request, kAsked[Roll(5)], response);
  }

  void Lists() {
    AsnTopoNEReq topology;
    AsnTopoNERsp nes;
    Ask(TOPO_NE_COMMAND, topology, CProcID(51, 1), nes);
    AsnSessionListReq session;
    session.userID = 1;
    AsnSessionListRsp operations;
    Ask(SESSION_LIST_COMMAND, session, CProcID(52, 1), operations);
  }

  void Reload() {
    AsnReloadReq request;
    request.userID = 1;
    AsnReloadRsp response;
    Ask(RELOAD_COMMAND, request, kEms, response);
  }

  void Nonsense() {
    AsnStatusReq request;
    request.userID = 1;
    AsnStatusRsp response;
    Ask(Roll(2) == 0 ? kNoCommand : NE_UPLOAD_COMMAND, request, kEms, response);
  }

  std::minstd_rand m_dice;
  VelaGnlTask m_task;
  Tally& m_tally;
};

}  // namespace

Clients::Clients(unsigned count, Tally& tally) {
  for (unsigned i = 0; i < count; ++i)
    m_threads.emplace_back([this, i, &tally] {
      Client client(i + 1, tally);
      while (!m_stop) client.AskSomething();
    });
}

Clients::~Clients() {
  Stop();
}

void Clients::Stop() {
  m_stop = true;
  for (std::thread& thread : m_threads)
    if (thread.joinable()) thread.join();
}

}  // namespace soak
