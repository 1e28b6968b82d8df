#include "apps/soak/system.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

extern char** environ;

namespace soak {
namespace {

// Reads the one line that a server says when it serves.
bool SaysReady(int stream) {
  std::string said;
  for (char c = 0; c != '\n' && said.size() < 80 && read(stream, &c, 1) == 1;) said += c;
  return said == "ready\n";
}

}  // namespace

bool System::Run(Member& member, std::string& error) const {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    error = std::strerror(errno);
    return false;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  std::string program = m_programs + "/velad";
  std::string option = "-f";
  std::string config = member.config;
  char* arguments[] = {program.data(), option.data(), config.data(), nullptr};
  // This process holds back the signals that end it; a server must get them.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  const int result = posix_spawn(&member.pid, program.c_str(), &actions, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  const bool ready = result == 0 && SaysReady(ends[0]);
  close(ends[0]);
  if (result != 0) member.pid = 0;
  if (!ready)
    error = program + " -f " + config +
            (result != 0 ? std::string(": ") + std::strerror(result) : " did not start");
  return ready;
}

bool System::Start(std::string& error) {
  for (Member& member : m_members)
    if (!Run(member, error)) return false;
  return true;
}

bool System::Replace(std::string& error) {
  Member& member = m_members.back();
  kill(member.pid, SIGKILL);
  waitpid(member.pid, nullptr, 0);
  return Run(member, error);
}

int System::Stop() {
  int bad = 0;
  for (auto member = m_members.rbegin(); member != m_members.rend(); ++member) {
    if (member->pid == 0) continue;
    kill(member->pid, SIGTERM);
    int status = 0;
    waitpid(member->pid, &status, 0);
    bad += WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : 1;
    member->pid = 0;
  }
  return bad;
}

System::~System() {
  Stop();
}

std::vector<CProcID> System::Survivors() const {
  std::vector<CProcID> survivors;
  for (std::size_t i = 0; i + 1 < m_members.size(); ++i) survivors.push_back(m_members[i].address);
  return survivors;
}

}  // namespace soak
