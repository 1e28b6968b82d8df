#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "apps/handlers/network.h"
#include "platform/os/mutex.h"

namespace SNACC {
class AsnNEChanges;
class AsnTopoNEReq;
class AsnTopoNERsp;
}  // namespace SNACC

namespace velad {

// The NEs that there are, and what the last missions have said of them; that is forgotten when the process
// ends. Thread-safe.
class Topology {
 public:
  // The network must outlive it.
  explicit Topology(const Network& network) : m_network(network) {}

  // The NEs that are asked for, each once, in that order, or all. What stands in the answer has to fit what
  // its receiver accepts (AsnMaxElements, AsnMaxBytes of etc/conf/vela.cfg): 22220 NEs with the built-in
  // limits. 0, or VELA_ERR_TOO_LARGE with a line in the log that says what to do; `response` is then of no
  // use.
  std::uint32_t Find(const SNACC::AsnTopoNEReq& request, SNACC::AsnTopoNERsp& response) const;

  // Takes over what became of the NEs of a mission. What an NE could not be asked for stays as it was.
  // Removes from `changes` what is not for clients: NEs that there are not, and files.
  void Apply(SNACC::AsnNEChanges& changes);

 private:
  struct State {
    std::string version;
    std::int32_t alarms = -1;
    std::uint32_t lastCode = 0;
    std::int32_t lastTime = 0;
  };

  std::vector<const NetworkNE*> Wanted(const SNACC::AsnTopoNEReq& request,
                                       std::vector<std::uint32_t>& unknown) const;

  const Network& m_network;
  mutable vela::Mutex m_mutex;
  std::map<std::uint32_t, State> m_states VELA_GUARDED_BY(m_mutex);  // of NEs that were in a mission
};

}  // namespace velad
