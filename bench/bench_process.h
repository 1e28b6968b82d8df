#pragma once
#include <dirent.h>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bench/bench_util.h"
#include "bench/roundtrip_peers.h"

// Benchmarks over several processes: the program is its own server, and its threads can be put on one core.
namespace bench {

inline void Require(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "bench: %s failed: %s\n", what, std::strerror(errno));
  std::exit(EXIT_FAILURE);
}

// What a server says once it serves.
inline void SayReady() {
  Require(write(STDOUT_FILENO, "r", 1) == 1, "write");
}

// This program as a server, until the object ends.
class ServerProcess {
 public:
  ServerProcess(const char* kind, const std::string& where) {
    int ready[2];
    Require(pipe(ready) == 0, "pipe");
    m_pid = fork();
    if (m_pid == 0) {
      dup2(ready[1], STDOUT_FILENO);
      execl("/proc/self/exe", "bench", "--server", kind, where.c_str(), nullptr);
      _exit(127);
    }
    close(ready[1]);
    char byte = 0;
    Require(read(ready[0], &byte, 1) == 1, kind);
    close(ready[0]);
  }
  ~ServerProcess() {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
  }
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;
  pid_t Pid() const { return m_pid; }

 private:
  pid_t m_pid = -1;
};

// Every thread of a process: to one core, or to all.
inline void Place(pid_t process, bool oneCore) {
  static const cpu_set_t all = [] {
    cpu_set_t set;
    sched_getaffinity(0, sizeof set, &set);
    return set;
  }();
  cpu_set_t set = all;
  if (oneCore) {
    int core = 0;
    while (CPU_ISSET(core, &all) == 0) ++core;
    CPU_ZERO(&set);
    CPU_SET(core, &set);
  }
  DIR* tasks = opendir(("/proc/" + std::to_string(process) + "/task").c_str());
  Require(tasks != nullptr, "opendir");
  while (const dirent* entry = readdir(tasks))
    if (entry->d_name[0] != '.') sched_setaffinity(std::atoi(entry->d_name), sizeof set, &set);
  closedir(tasks);
}

inline Side MedianOfOne(RoundTripClient* client, long operations) {
  if (client == nullptr) return {};
  return [=] {
    std::vector<double> microseconds;
    microseconds.reserve(static_cast<std::size_t>(operations));
    for (long i = 0; i < operations; ++i)
      microseconds.push_back(NanosecondsEach(1L, [client](long) { client->One(); }) / 1000);
    return Median(std::move(microseconds)).median;
  };
}

inline Side ThousandsPerSecond(RoundTripClient* client, long operations) {
  if (client == nullptr) return {};
  return [=] { return 1e6 / NanosecondsEach(operations, [client](long n) { client->Pipelined(n); }); };
}

}  // namespace bench
