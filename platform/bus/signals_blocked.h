#pragma once
#include <signal.h>

// Internal.
namespace vela {

// Threads that are made meanwhile get no signals: those are for the program's own threads. Signals that
// report a fault come to the thread that made it.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGTRAP}) sigdelset(&blocked, fault);
    pthread_sigmask(SIG_BLOCK, &blocked, &m_previous);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t m_previous;
};

}  // namespace vela
