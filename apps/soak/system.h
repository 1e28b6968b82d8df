#pragma once
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/message/proc_id.h"

namespace soak {

// The processes of the small network-management server, children of this one in its installation root. One
// thread at a time.
class System {
 public:
  // `programs`: the folder of velad.
  explicit System(std::string programs) : m_programs(std::move(programs)) {}
  ~System();
  System(const System&) = delete;
  System& operator=(const System&) = delete;

  // Starts all and waits until they serve; false with `error`.
  bool Start(std::string& error);
  // Kills one NE manager without warning and starts it anew.
  bool Replace(std::string& error);
  // Tells all to end and waits for it; how many did not end with 0.
  int Stop();

  // Those that live as long as the system.
  std::vector<CProcID> Survivors() const;

 private:
  struct Member {
    const char* config;
    CProcID address;
    pid_t pid;
  };

  bool Run(Member& member, std::string& error) const;

  std::string m_programs;
  std::vector<Member> m_members = {{"topology.cfg", CProcID(51, 1), 0}, {"session.cfg", CProcID(52, 1), 0},
                                   {"otn1.cfg", CProcID(120, 1), 0},    {"ptn1.cfg", CProcID(121, 1), 0},
                                   {"ems.cfg", CProcID(110, 1), 0},     {"otn2.cfg", CProcID(120, 2), 0}};
};

}  // namespace soak
