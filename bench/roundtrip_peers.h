#pragma once
#include <memory>
#include <string>

// The peers of the round trip: each answers a request of `kRequestBytes` with as many bytes.
namespace bench {

constexpr std::size_t kRequestBytes = 200;
constexpr int kInFlight = 64;

class RoundTripClient {
 public:
  virtual ~RoundTripClient() = default;
  virtual void One() = 0;
  virtual void Pipelined(long requests) = 0;  // with kInFlight under way
};

// Calls "ready()" once it serves, then serves until the process is killed.
using Ready = void (*)();

#ifdef VELA_BENCH_PEERS
void ServeGrpc(const std::string& socketPath, Ready ready);
std::unique_ptr<RoundTripClient> ConnectGrpc(const std::string& socketPath);
#endif

}  // namespace bench
