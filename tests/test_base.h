#pragma once
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <latch>
#include <map>
#include <memory>
#include <thread>

#include "platform/testkit/testkit.h"
#include "tests/files.h"

// What most tests need.

using vela::OsCall;
using vela::OsFault;

// Every call of that kind meets the fault while the guard lives.
inline testkit::OsFaults Failing(OsCall call, OsFault fault) {
  return testkit::OsFaults([=](OsCall asked, const char*) { return asked == call ? fault : OsFault{}; });
}

inline testkit::OsFaults NoMemory() {
  return Failing(OsCall::allocate, {.error = ENOMEM});
}

// body(0) to body(count - 1), each in a thread of its own; they begin together, and all have ended at the
// end.
template <class Body>
void InThreads(int count, const Body& body) {
  std::latch start(count);
  std::vector<std::jthread> threads;
  for (int i = 0; i < count; ++i)
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      body(i);
    });
}

// A block of exactly those bytes, so that the address sanitizer sees every read beyond.
inline std::vector<unsigned char> Exactly(const std::string& bytes) {
  return {bytes.begin(), bytes.end()};
}

// Many short cases in few lines: "in -> out; in -> out". Further blanks belong to the texts.
inline std::vector<std::pair<std::string, std::string>> Rows(const std::string& rows) {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (std::size_t at = 0, end = 0; end != std::string::npos; at = end + 2) {
    const std::size_t arrow = rows.find(" -> ", at);
    end = rows.find("; ", at);
    const std::size_t stop = std::min(end, rows.size());
    pairs.emplace_back(rows.substr(at, arrow - at), rows.substr(arrow + 4, stop - arrow - 4));
  }
  return pairs;
}
