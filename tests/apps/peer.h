#pragma once
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>

#include "apps/asn1/nms_codes.h"
#include "asn1/nms.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/testkit/testkit.h"
#include "tests/apps/child.h"
#include "tests/platform/bus_member.h"

// What tests of missions on NEs need: real servers, and processes on the bus that live in the test.
namespace apps_test {

inline constexpr CProcID kEms(110, 1);
inline constexpr std::uint32_t kFirst = 0x90001;  // 9-1

template <class Message>
void Decode(const std::string& body, Message& message) {
  EXPECT_EQ(CAsnHelper::Decode({reinterpret_cast<const unsigned char*>(body.data()), body.size()}, message),
            0U);
}

inline std::uint32_t Value(const AsnInt& value) {
  return static_cast<std::uint32_t>(static_cast<AsnIntType>(value));
}

// A server process at a tenth of the times that its configuration names.
inline const std::map<std::string, std::string> kTenth = {{"VELA_TIME_SCALE", "100"}};

struct NmsServer : Child {
  NmsServer(int number, int handle, const std::string& set)
      : Child({VELA_BIN_DIR "/velad", "-f", Config(std::to_string(number), std::to_string(handle), set)},
              kTenth) {
    EXPECT_TRUE(Says(out, "ready\n")) << Text(err);
  }
  static std::string Config(const std::string& number, const std::string& handle, const std::string& set) {
    return WriteConfig(set + ".cfg",
                       "ProcNumber = " + number + "\nProcHandle = " + handle + "\nHandlerSets = " + set +
                           "\nWorkerThreads = 16\nLogDirectory = " + "var/logs/" + number + "_" + handle +
                           "\nNEMissionSilenceSeconds = 50\nNEMissionTopologySeconds = 300\n");
  }
};

// A process that does what its script says to each frame, in the bus' thread.
class Peer {
 public:
  using Script = std::function<void(Peer&, const Received&)>;

  explicit Peer(CProcID self, Script script = {}) : m_self(self), m_script(std::move(script)) {
    EXPECT_EQ(m_bus->Open(self, [this](VelaMsgPtr frame) { Take(*frame); }), vela::BusResult::ok);
  }
  ~Peer() { m_bus->Close(); }

  void Send(CProcID to, std::uint32_t cmd, std::uint8_t kind, const AsnType& message,
            const Received* asked = {}) {
    testkit::Request request{.cmdCode = cmd, .kind = kind, .payload = testkit::Encoded(message)};
    request.srcProcId = m_self.Number();
    request.srcHandle = m_self.Handle();
    request.sn = asked != nullptr ? asked->sn : ++m_sn;
    const VelaMsgPtr frame = testkit::MakeFrame(request);
    frame->dstProcId = to.Number();
    frame->dstHandle = to.Handle();
    if (asked != nullptr) frame->dstTaskId = asked->srcTaskId;
    m_bus->Send(*frame);
  }
  void Answer(const Received& asked, const AsnType& message) {
    Send({asked.srcProcId, asked.srcHandle}, asked.cmdCode, VELA_KIND_RESPONSE, message, &asked);
  }
  // The frames with that command and kind that have come, once there are `count`.
  std::vector<Received> Await(std::uint32_t cmd, std::size_t count, std::uint8_t kind = 0) {
    SCOPED_TRACE(cmd);
    return AwaitThose(count, [&](const Received& frame) {
      return frame.cmdCode == cmd && (kind == 0 || frame.kind == kind);
    });
  }
  template <class Which>
  std::vector<Received> AwaitThose(std::size_t count, const Which& which) {
    std::vector<Received> found;
    std::unique_lock lock(m_lock);
    m_came.wait_for(lock, std::chrono::seconds(60), [&] {
      found.clear();
      std::copy_if(m_frames.begin(), m_frames.end(), std::back_inserter(found), which);
      return found.size() >= count;
    });
    EXPECT_GE(found.size(), count);
    return found;
  }

 private:
  void Take(const VelaCmdMSG& frame) {
    const Received taken(frame);
    if (m_script) m_script(*this, taken);
    const std::lock_guard lock(m_lock);
    m_frames.push_back(taken);
    m_came.notify_all();
  }

  const CProcID m_self;
  const Script m_script;
  const std::unique_ptr<vela::Bus> m_bus = vela::MakeLocalBus({});
  std::atomic<std::uint32_t> m_sn{0};
  std::mutex m_lock;
  std::condition_variable m_came;
  std::vector<Received> m_frames;
};

inline std::string Hex(std::uint32_t code) {
  char text[16];
  std::snprintf(text, sizeof text, "%X", code);
  return text;
}

// "1:0 2:42012031" for the results, "120/1 2/2 0" for the parts.
inline std::string Told(const AsnNEMissionRsp& response) {
  std::string text = Hex(Value(response.errorCode)) + " |";
  for (const AsnNEResult& r : response.results)
    text += ' ' + std::to_string(Value(r.ne) - kFirst + 1) + ':' + Hex(Value(r.errorCode)) +
            (Value(r.errorCode) == 0 && r.file.Len() == 0 ? "?" : "");
  for (const AsnMissionPartEnd& p : response.parts)
    text += " | " + std::to_string(Value(p.process)) + '/' + std::to_string(Value(p.handle)) + ' ' +
            std::to_string(Value(p.done)) + '/' + std::to_string(Value(p.nes)) + ' ' +
            Hex(Value(p.errorCode));
  return text;
}

class Client : public Peer {
 public:
  explicit Client(std::uint16_t handle = 5) : Peer({3003, handle}) {}
  void Ask(std::uint32_t cmd, int mission, const std::vector<std::uint32_t>& nes, int timeOut = 0) {
    AsnNEMissionReq request;
    request.missionID = mission;
    request.userID = 7;
    request.timeOut = timeOut;
    for (const std::uint32_t ne : nes) *request.nes.append() = static_cast<AsnIntType>(kFirst + ne - 1);
    Send(kEms, cmd, VELA_KIND_REQUEST, request);
  }
  void Answered(std::uint32_t cmd, AsnNEMissionRsp& response, std::size_t count = 1) {
    const auto answers = Await(cmd, count, VELA_KIND_RESPONSE);
    if (answers.size() >= count) Decode(answers[count - 1].body, response);
  }
};

}  // namespace apps_test
