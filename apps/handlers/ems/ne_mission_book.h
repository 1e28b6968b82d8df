#pragma once
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "apps/handlers/ems/ne_records.h"
#include "platform/message/proc_id.h"
#include "platform/os/mutex.h"
#include "util/basicutil/mission_map.h"

namespace velad {

struct NEPieceEnd {
  std::uint32_t errorCode = 0;
  std::string reason;
  std::vector<NEResult> results;
  std::string report;  // an encoded AsnErrReport
};

// What NE managers have said about a piece since it was last looked at.
struct NEPieceNews {
  std::optional<int> percent;
  std::optional<NEPieceEnd> end;
};

// Where the service tasks leave what NE managers report, for the thread of the mission's request.
// Thread-safe.
class NEMissionInbox {
 public:
  using Key = std::pair<CProcID, std::uint32_t>;  // who, about which sub-mission
  using News = std::map<Key, NEPieceNews>;

  // Dropped when nobody takes the news: what many processes make up is bounded.
  void PutProgress(const Key& key, int percent);
  void PutEnd(const Key& key, NEPieceEnd end);

  // All news, in the order of their keys; waits for some until `deadline`.
  News Take(std::chrono::steady_clock::time_point deadline);

 private:
  NEPieceNews* Entry(const Key& key) VELA_REQUIRES(m_mutex);

  vela::Mutex m_mutex;
  vela::CondVar m_came;
  News m_news VELA_GUARDED_BY(m_mutex);
};

// The missions under way. Thread-safe.
class NEMissionBook {
 public:
  static NEMissionBook& Instance();

  // False when the client has that mission here already.
  bool Enter(const NSTE_util::ClientMissionID& client);
  void Leave(const NSTE_util::ClientMissionID& client);

  void Open(std::uint32_t mission, std::shared_ptr<NEMissionInbox> inbox);
  void Close(std::uint32_t mission);
  // That of a sub-mission of which `source` says something; null when it is not awaited here (any more).
  std::shared_ptr<NEMissionInbox> Find(CProcID source, std::uint32_t subMission);
  // When the process said something last, about any mission.
  std::chrono::steady_clock::time_point LastSign(CProcID process);

  // The id of the mission that a sub-mission belongs to.
  static std::uint32_t MissionOf(std::uint32_t subMission) { return subMission & 0xFFFF0000U; }

 private:
  vela::Mutex m_mutex;
  NSTE_util::MissionSet m_clients VELA_GUARDED_BY(m_mutex);
  std::map<std::uint32_t, std::shared_ptr<NEMissionInbox>> m_inboxes VELA_GUARDED_BY(m_mutex);
  std::map<CProcID, std::chrono::steady_clock::time_point> m_signs VELA_GUARDED_BY(m_mutex);
};

// A mission of a client from its first to its last step.
class NEMissionEntry {
 public:
  explicit NEMissionEntry(const NSTE_util::ClientMissionID& client)
      : m_client(client), m_entered(NEMissionBook::Instance().Enter(client)) {}
  ~NEMissionEntry() {
    if (m_entered) NEMissionBook::Instance().Leave(m_client);
  }
  NEMissionEntry(const NEMissionEntry&) = delete;
  NEMissionEntry& operator=(const NEMissionEntry&) = delete;

  bool IsEntered() const { return m_entered; }

 private:
  const NSTE_util::ClientMissionID m_client;
  const bool m_entered;
};

}  // namespace velad
