#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/proc_id.h"

// The names and texts that the bus uses on the engine. Internal; the table of subjects stands in docs/bus.md.
namespace vela {

// One life of a process: the life is a random number, drawn when the bus opens.
struct NatsPeer {
  CProcID address;
  std::uint64_t life = 0;
};

// How far a receiver has come on a link: it has taken all frames before `next`. Link 0: nothing is said.
struct NatsProgress {
  std::uint64_t link = 0;
  std::uint64_t next = 0;
};

// Where the engine's "nobody is there" for a message goes. On a frame, it also names the frame, and says how
// far its sender has come on the link in the other direction.
struct NatsMark {
  NatsPeer sender;
  NatsPeer receiver;
  std::uint64_t link = 0;    // 0: no frame
  std::uint64_t number = 0;  // of the frame on that link, from 1
  NatsProgress taken;
};

class NatsSubjects {
 public:
  NatsSubjects(std::string prefix, NatsPeer self);

  // What a process receives.
  std::string Frames() const;
  std::string Control() const;
  std::string Address() const;
  std::string Presence() const;
  std::string Directory() const;

  // What it sends. Each of them ends with its own address, which the engine's permissions can tell.
  std::string FramesTo(const NatsPeer& peer) const;
  std::string ControlTo(const NatsPeer& peer) const;
  std::string OwnPresence() const;
  std::string AskAddress() const;
  std::string AskDirectory() const;
  // Without what follows: the frame's number, and perhaps link and number of the sender's progress.
  std::string MarkOf(const NatsPeer& receiver, std::uint64_t link) const;

  // The address that a subject ends with.
  std::optional<CProcID> SourceOf(std::string_view subject) const;
  std::optional<NatsMark> ParseMark(std::string_view subject) const;

 private:
  std::string Named(const char* kind, const NatsPeer& to) const;

  const std::string m_prefix;  // with the dot
  const std::string m_self;    // "number.handle"
  const NatsPeer m_peer;
};

// A control message: a word and its arguments, parted by blanks.
struct NatsControl {
  enum class Kind {
    hello,  // life host: I am here; answer with "here"
    here,   // life host
    bye,    // life: I leave; answer with "gone"
    gone,   // life
    taken,  // life: I live at the address that you claim
    list,   // number/handle/life ...
    ack,    // link, next expected frame, 1 when it and what followed got lost
    sync    // life, link, last frame sent: answer with "ack"
  };
  Kind kind = Kind::here;
  std::uint64_t life = 0;
  std::uint64_t link = 0;
  std::uint64_t number = 0;
  bool lost = false;
  std::string host;
  std::vector<NatsPeer> list;
};

std::string Encode(const NatsControl& control);
std::optional<NatsControl> DecodeControl(std::string_view text);

}  // namespace vela
