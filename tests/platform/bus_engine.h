#pragma once
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <utility>

#include "tests/files.h"

extern char** environ;

// The engine of the bus between hosts, on a free port of loopback; ends with the test.
class Engine {
 public:
  // `config`: further lines of its configuration; `wanted`: the port, -1 a free one.
  explicit Engine(const std::string& config = {}, int wanted = -1) {
    const std::string file =
        files::Write("engine.conf", "host: 127.0.0.1\nport: " + std::to_string(wanted) + "\n" + config);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    const char* argv[] = {"setpriv", "--pdeathsig", "KILL", "nats-server", "-c", file.c_str(), nullptr};
    posix_spawnp(&m_pid, argv[0], &actions, nullptr, const_cast<char**>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    m_said = ends[0];
    std::string said;
    char block[1024];
    for (ssize_t got = 0;
         said.find("Server is ready") == std::string::npos && (got = read(m_said, block, sizeof block)) > 0;)
      said.append(block, static_cast<std::size_t>(got));
    const std::string before = "client connections on 127.0.0.1:";
    const std::size_t at = said.find(before);
    EXPECT_NE(at, std::string::npos) << said;
    if (at != std::string::npos) port = std::stoi(said.substr(at + before.size()));
  }
  ~Engine() {
    Kill();
    close(m_said);
  }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  void Kill() {
    if (m_pid <= 0) return;
    kill(m_pid, SIGKILL);
    waitpid(std::exchange(m_pid, -1), nullptr, 0);
  }
  int port = 0;

 private:
  pid_t m_pid = -1;
  int m_said = -1;
};

// Times that no slow machine reaches; a second lasts 50 ms in tests. The first line of a key counts.
inline void WriteBusConfig(int port, const std::string& keys = {}) {
  files::Write("etc/conf/bus.cfg", keys + "Bus = nats\nNatsServers = 127.0.0.1:" + std::to_string(port) +
                                       "\nNatsConnectSeconds = 600\nNatsHeartbeatSeconds = 100\n"
                                       "NatsGraceSeconds = 400\nNatsExpirySeconds = 1200\n"
                                       "NatsReconnectMilliseconds = 10\n");
}
