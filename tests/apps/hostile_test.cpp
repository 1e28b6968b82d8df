#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <sstream>
#include <string>

#include "apps/asn1/audit_codes.h"
#include "asn1/audit.h"
#include "platform/bus/bus.h"
#include "platform/os/mutex.h"
#include "platform/task/vela_error.h"
#include "platform/testkit/testkit.h"
#include "tests/apps/child.h"
#include "tests/platform/hostile_rows.h"

// What outsiders may send over the bus to a running server.
namespace apps_test {
namespace {

// A client that speaks frames, not commands.
class RawClient {
 public:
  RawClient() : m_bus(vela::MakeLocalBus({})) {
    m_opened = m_bus->Open(kSelf, [this](VelaMsgPtr frame) {
      const vela::MutexLock lock(m_mutex);
      if (frame->kind == VELA_KIND_RESPONSE) m_answers[frame->sn] = frame->status;
      m_arrived.NotifyAll();
    }) == vela::BusResult::ok;
  }
  ~RawClient() { m_bus->Close(); }

  bool Opened() const { return m_opened; }

  // The serial number of the request; 0: not sent.
  std::uint32_t Send(std::uint32_t command, const std::string& payload) {
    VelaMsgPtr frame(VelaAllocMsg(VELA_MSG_HEADER + payload.size()));
    if (!frame) return 0;
    frame->srcProcId = kSelf.Number();
    frame->srcHandle = kSelf.Handle();
    frame->dstProcId = 100;
    frame->dstHandle = 1;
    frame->cmdCode = command;
    frame->kind = VELA_KIND_REQUEST;
    frame->length = static_cast<std::uint32_t>(payload.size()) + 2;
    VelaMsgSetSn(frame.get(), ++m_sn);
    std::memcpy(frame->data, payload.data(), payload.size());
    return m_bus->Send(*frame) == vela::BusResult::ok ? m_sn : 0;
  }

  // The status of the answer, or nothing within half a minute.
  std::optional<std::uint32_t> Await(std::uint32_t sn) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    const vela::MutexLock lock(m_mutex);
    while (!m_answers.contains(sn))
      if (!m_arrived.WaitUntil(m_mutex, deadline)) return std::nullopt;
    return m_answers[sn];
  }

 private:
  static constexpr CProcID kSelf{VELA_CLIENT_GROUP, 9999};
  std::unique_ptr<vela::Bus> m_bus;
  bool m_opened = false;
  std::uint32_t m_sn = 0;
  vela::Mutex m_mutex;
  vela::CondVar m_arrived;
  std::map<std::uint32_t, std::uint32_t> m_answers VELA_GUARDED_BY(m_mutex);
};

TEST(HostileTest, BytesAreRefusedWithReasonAndOffset) {
  Server server("");
  ASSERT_TRUE(server.Ready());
  RawClient client;
  ASSERT_TRUE(client.Opened());
  for (const hostile::Row& row : hostile::Rows()) {
    const std::uint32_t sn = client.Send(AUDIT_COMMAND, row.bytes);
    ASSERT_NE(sn, 0U) << row.name;
    EXPECT_EQ(client.Await(sn), VELA_ERR_DECODE) << row.name << ": well-formed rows are no audit request";
  }
  EXPECT_EQ(client.Await(client.Send(0x123456, "")), VELA_ERR_NO_HANDLER);
  EXPECT_EQ(Audit(SmallInventory()).End(), 0) << "the next good request is served";
  server.Signal(SIGTERM);
  EXPECT_EQ(server.End(), 0);

  // One refusal for each row, in their order.
  std::istringstream log(Server::Log());
  std::string line;
  for (const hostile::Row& row : hostile::Rows()) {
    while (std::getline(log, line) && line.find("the payload was refused") == std::string::npos) continue;
    if (row.reason.empty()) continue;
    EXPECT_NE(line.find(row.reason), std::string::npos) << row.name << ": " << line;
    EXPECT_NE(line.find(": byte " + std::to_string(row.offset) + ": "), std::string::npos)
        << row.name << ": " << line;
  }
}

// A client must not have more under way than its own queue can take answers and reports for: 1000 frames.
TEST(HostileTest, EachOfTenThousandMissionsIsAnsweredOnce) {
  Server server("QueueLimit = 50\n");
  ASSERT_TRUE(server.Ready());
  RawClient client;
  ASSERT_TRUE(client.Opened());
  AsnAuditReq request;
  std::map<std::uint32_t, int> answers;
  for (int first = 1; first <= 10000; first += 200) {
    std::vector<std::uint32_t> sent;
    for (int mission = first; mission < first + 200; ++mission) {
      request.missionID = mission;
      sent.push_back(client.Send(AUDIT_COMMAND, testkit::Encoded(request)));
      ASSERT_NE(sent.back(), 0U);
    }
    for (const std::uint32_t sn : sent) {
      const std::optional<std::uint32_t> status = client.Await(sn);
      ASSERT_TRUE(status) << "request " << sn;
      ++answers[*status];
    }
  }
  EXPECT_EQ(answers[0] + answers[VELA_ERR_OVERLOAD], 10000);
  EXPECT_GT(answers[0], 0);
  EXPECT_EQ(Audit(SmallInventory()).End(), 0) << "the next good request is served";
  server.Signal(SIGTERM);
  EXPECT_EQ(server.End(), 0);
}

// Frames keep their order: when the second has its answer, the first waits for the only worker.
TEST(HostileTest, QueuedRequestIsAnsweredAtShutdown) {
  Server server("WorkerThreads = 1\nAuditRecordMicroseconds = 20000\n");
  ASSERT_TRUE(server.Ready());
  Audit audit(kInventory);
  ASSERT_TRUE(audit.Runs());
  RawClient client;
  ASSERT_TRUE(client.Opened());
  const std::uint32_t queued = client.Send(AUDIT_COMMAND, hostile::FromHex("3000"));
  ASSERT_TRUE(client.Await(client.Send(0x123456, "")));
  server.Signal(SIGTERM);
  EXPECT_EQ(client.Await(queued), VELA_ERR_STOPPING);
  EXPECT_EQ(server.End(), 0);
  EXPECT_EQ(audit.End(), 1);
}

}  // namespace
}  // namespace apps_test
