#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "apps/velactl/client_process.h"
#include "apps/velactl/options.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/message/proc_id.h"
#include "platform/task/vela_task.h"

// Server processes and short questions to them, which are answered at once.
namespace velactl {

template <class Response>
struct ProcessAnswer {
  CProcID process;
  std::uint32_t code = 0;  // 0, or why `message` is as it was made
  std::unique_ptr<Response> message = std::make_unique<Response>();
};

// Starts the client process and finds a live server process of that choice. Empty with `error`, one line.
std::optional<CProcID> Reach(ClientProcess& process, char* argv0, const ServerChoice& choice,
                             std::string& error);

// The live server processes of that choice, ascending; number 0: all. Needs a ClientProcess that has started,
// and so does AskEach.
std::vector<CProcID> LiveServers(const ServerChoice& choice);
// That there is none.
std::string NoServerText(const ServerChoice& choice);

// Asks all of them at the same time; comes back when the last one has answered or `seconds` are over.
template <class Response, class Request>
std::vector<ProcessAnswer<Response>> AskEach(const std::vector<CProcID>& processes, std::uint32_t command,
                                             const Request& request, int seconds) {
  std::vector<ProcessAnswer<Response>> answers;
  for (const CProcID process : processes) answers.push_back({.process = process});
  // A message belongs to one thread, also while it is only encoded.
  const std::vector<Request> requests(answers.size(), request);
  std::vector<std::thread> askers;
  for (std::size_t i = 0; i < answers.size(); ++i)
    askers.emplace_back([&answer = answers[i], &message = requests[i], command, seconds] {
      VelaGnlTask task("query");
      const VelaCurrentTaskScope current(&task);
      answer.code = CAsnPhyCmd(command, message, answer.process, seconds, 0, 0).Exec(&task, *answer.message);
      if (answer.code != 0) answer.message = std::make_unique<Response>();
    });
  for (std::thread& asker : askers) asker.join();
  return answers;
}

// Asks one server process of that choice as a process of its own. Empty, or why there is no answer.
std::string AskOne(char* argv0, const ServerChoice& choice, std::uint32_t command, const AsnType& request,
                   AsnType& response);

}  // namespace velactl
