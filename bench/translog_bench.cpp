// What tasks pay that share transactions: making and ending one, attaching, finding a buffer and detaching.
// Peer: the same by maps under std::shared_mutex, read to attach and to find, written otherwise.
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "bench/bench_util.h"
#include "util/basicutil/translog.h"

using namespace NSTE_util;

namespace {

constexpr unsigned kTransactions = 100;
constexpr unsigned kBuffers = 10;
const std::string kName = "alarm filter";

unsigned long HandleOf(long i) {
  return 1 + static_cast<unsigned long>(i) % kTransactions;
}
std::uint32_t BufferOf(long i) {
  return static_cast<std::uint32_t>(i) % kBuffers;
}

struct PeerState {
  int references = 1;
  std::shared_mutex mutex;
  std::map<std::pair<std::string, std::uint32_t>, TETransactionBuffer*> buffers;
};

struct PeerRegistry {
  std::uint32_t next = 1;
  std::shared_mutex mutex;
  std::map<std::uint32_t, std::unique_ptr<PeerState>> states;
};

PeerRegistry& Peer() {
  static PeerRegistry& registry = *new PeerRegistry;
  return registry;
}

TETransactionBuffer* PeerFind(PeerState& state, std::uint32_t id) {
  const std::shared_lock<std::shared_mutex> lock(state.mutex);
  const auto it = state.buffers.find({kName, id});
  return it != state.buffers.end() ? it->second : nullptr;
}

std::uint32_t PeerMake() {
  auto state = std::make_unique<PeerState>();
  const std::unique_lock<std::shared_mutex> lock(Peer().mutex);
  Peer().states.emplace(Peer().next, std::move(state));
  return Peer().next++;
}

PeerState* PeerAttach(std::uint32_t handle) {
  const std::shared_lock<std::shared_mutex> lock(Peer().mutex);
  PeerState* state = Peer().states.find(handle)->second.get();
  __atomic_fetch_add(&state->references, 1, __ATOMIC_RELAXED);
  return state;
}

void PeerDetach(std::uint32_t handle) {
  const std::unique_lock<std::shared_mutex> lock(Peer().mutex);
  const auto it = Peer().states.find(handle);
  if (--it->second->references < 1) Peer().states.erase(it);
}

double Attached(int threads, long operations) {
  return bench::NanosecondsEach(threads, operations, [](long count) {
    for (long i = 0; i < count; ++i) {
      TETransactionLog log(HandleOf(i));
      bench::Keep(log.GetBuffer(kName, BufferOf(i)));
    }
  });
}

double PeerAttached(int threads, long operations) {
  return bench::NanosecondsEach(threads, operations, [](long count) {
    for (long i = 0; i < count; ++i) {
      const auto handle = static_cast<std::uint32_t>(HandleOf(i));
      bench::Keep(PeerFind(*PeerAttach(handle), BufferOf(i)));
      PeerDetach(handle);
    }
  });
}

double Made(int threads, long operations) {
  return bench::NanosecondsEach(threads, operations, [](long count) {
    for (long i = 0; i < count; ++i) const TETransactionLog log;
  });
}

double PeerMade(int threads, long operations) {
  return bench::NanosecondsEach(threads, operations, [](long count) {
    for (long i = 0; i < count; ++i) PeerDetach(PeerMake());
  });
}

double Found(int threads, long operations) {
  return bench::NanosecondsEach(threads, operations, [](long count) {
    TETransactionLog log(1);
    for (long i = 0; i < count; ++i) bench::Keep(log.GetBuffer(kName, BufferOf(i)));
  });
}

double PeerFound(int threads, long operations) {
  return bench::NanosecondsEach(threads, operations, [](long count) {
    PeerState& state = *PeerAttach(1);
    for (long i = 0; i < count; ++i) bench::Keep(PeerFind(state, BufferOf(i)));
    PeerDetach(1);
  });
}

void Fill(std::vector<std::unique_ptr<TETransactionLog>>& logs) {
  for (unsigned i = 0; i < kTransactions; ++i) {
    logs.push_back(std::make_unique<TETransactionLog>());
    auto state = std::make_unique<PeerState>();
    for (std::uint32_t id = 0; id < kBuffers; ++id) {
      auto* buffer = new TETransactionBuffer;
      logs.back()->AddBuffer(kName, id, buffer);
      state->buffers[{kName, id}] = buffer;
    }
    Peer().states[Peer().next++] = std::move(state);
  }
}

std::string Named(const char* what, int threads) {
  return std::string(what) + ", " + std::to_string(threads) + " threads, ns";
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  std::vector<std::unique_ptr<TETransactionLog>> logs;
  Fill(logs);
  std::vector<bench::Row> rows;
  for (const int threads : {1, 4}) {
    const long operations = options.Operations(400'000 / threads);
    const auto samples = bench::Interleaved(
        options,
        {[=] { return Attached(threads, operations); }, [=] { return PeerAttached(threads, operations); },
         [=] { return Found(threads, operations); }, [=] { return PeerFound(threads, operations); },
         [=] { return Made(threads, operations); }, [=] { return PeerMade(threads, operations); }});
    rows.push_back({Named("attach, find, detach", threads), samples[0], samples[1], {}, 1.5});
    rows.push_back({Named("find", threads), samples[2], samples[3], {}, 1.5});
    rows.push_back({Named("make and end", threads), samples[4], samples[5], {}, 1.5});
  }
  bench::Print(options, rows);
  return 0;
}
