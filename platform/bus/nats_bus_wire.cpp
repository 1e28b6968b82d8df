#include "platform/bus/nats_bus_wire.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace vela {
namespace {

using Kind = NatsControl::Kind;

constexpr std::array<std::string_view, 8> kWords = {"hello", "here", "bye", "gone",
                                                    "taken", "list", "ack", "sync"};
constexpr std::size_t kMaxHost = 64;

template <class Number>
bool Parse(std::string_view text, Number& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

// Takes the first word away.
std::string_view Next(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return word;
}

bool NextAddress(std::string_view& text, char separator, CProcID& address) {
  std::uint16_t number = 0;
  std::uint16_t handle = 0;
  if (!Parse(Next(text, separator), number) || !Parse(Next(text, separator), handle)) return false;
  address = CProcID(number, handle);
  return !address.IsAnyInstance();
}

bool NextPeer(std::string_view& text, char separator, NatsPeer& peer) {
  return NextAddress(text, separator, peer.address) && Parse(Next(text, separator), peer.life);
}

std::string Text(CProcID address, char separator) {
  return std::to_string(address.Number()) + separator + std::to_string(address.Handle());
}

std::string Text(const NatsPeer& peer, char separator) {
  return Text(peer.address, separator) + separator + std::to_string(peer.life);
}

bool ParseList(std::string_view text, std::vector<NatsPeer>& list) {
  while (!text.empty()) {
    std::string_view word = Next(text, ' ');
    if (!NextPeer(word, '/', list.emplace_back()) || !word.empty()) return false;
  }
  return true;
}

bool IsHost(std::string_view host) {
  return host.size() <= kMaxHost &&
         std::all_of(host.begin(), host.end(), [](char c) { return c > ' ' && c < 0x7F; });
}

}  // namespace

NatsSubjects::NatsSubjects(std::string prefix, NatsPeer self)
    : m_prefix(std::move(prefix) + '.'), m_self(Text(self.address, '.')), m_peer(self) {}

std::string NatsSubjects::Named(const char* kind, const NatsPeer& to) const {
  return m_prefix + kind + '.' + Text(to, '.') + '.';
}

std::string NatsSubjects::Frames() const {
  return Named("f", m_peer) + "*.*";
}
std::string NatsSubjects::Control() const {
  return Named("c", m_peer) + ">";
}
std::string NatsSubjects::Address() const {
  return m_prefix + "a." + m_self + ".*.*";
}
std::string NatsSubjects::Presence() const {
  return m_prefix + "p.*.*";
}
std::string NatsSubjects::Directory() const {
  return m_prefix + "w.*.*";
}

std::string NatsSubjects::FramesTo(const NatsPeer& peer) const {
  return Named("f", peer) + m_self;
}
std::string NatsSubjects::ControlTo(const NatsPeer& peer) const {
  return Named("c", peer) + m_self;
}
std::string NatsSubjects::OwnPresence() const {
  return m_prefix + "p." + m_self;
}
std::string NatsSubjects::AskAddress() const {
  return m_prefix + "a." + m_self + '.' + m_self;
}
std::string NatsSubjects::AskDirectory() const {
  return m_prefix + "w." + m_self;
}
std::string NatsSubjects::MarkOf(const NatsPeer& receiver, std::uint64_t link) const {
  return Named("c", m_peer) + Text(receiver, '.') + '.' + std::to_string(link) + '.';
}

std::optional<CProcID> NatsSubjects::SourceOf(std::string_view subject) const {
  const std::size_t last = subject.rfind('.');
  if (last == std::string_view::npos || last == 0) return std::nullopt;
  const std::size_t first = subject.rfind('.', last - 1);
  if (first == std::string_view::npos) return std::nullopt;
  subject.remove_prefix(first + 1);
  CProcID address;
  if (!NextAddress(subject, '.', address)) return std::nullopt;
  return address;
}

std::optional<NatsMark> NatsSubjects::ParseMark(std::string_view subject) const {
  if (!subject.starts_with(m_prefix)) return std::nullopt;
  subject.remove_prefix(m_prefix.size());
  NatsMark mark;
  if (Next(subject, '.') != "c" || !NextPeer(subject, '.', mark.sender) ||
      !NextPeer(subject, '.', mark.receiver) || !Parse(Next(subject, '.'), mark.link) ||
      !Parse(Next(subject, '.'), mark.number))
    return std::nullopt;
  if (!subject.empty() && (!Parse(Next(subject, '.'), mark.taken.link) || !Parse(subject, mark.taken.next)))
    return std::nullopt;
  return mark;
}

std::string Encode(const NatsControl& control) {
  std::string text(kWords[static_cast<std::size_t>(control.kind)]);
  const auto add = [&text](std::uint64_t value) { text += ' ' + std::to_string(value); };
  switch (control.kind) {
    case Kind::hello:
    case Kind::here:
      add(control.life);
      text += ' ' + control.host;
      break;
    case Kind::bye:
    case Kind::gone:
    case Kind::taken:
      add(control.life);
      break;
    case Kind::list:
      for (const NatsPeer& peer : control.list) text += ' ' + Text(peer, '/');
      break;
    case Kind::ack:
      add(control.link);
      add(control.number);
      add(control.lost ? 1 : 0);
      break;
    case Kind::sync:
      add(control.life);
      add(control.link);
      add(control.number);
      break;
  }
  return text;
}

std::optional<NatsControl> DecodeControl(std::string_view text) {
  const auto word = std::find(kWords.begin(), kWords.end(), Next(text, ' '));
  if (word == kWords.end()) return std::nullopt;
  NatsControl control;
  control.kind = static_cast<Kind>(word - kWords.begin());
  const auto next = [&text](auto& value) { return Parse(Next(text, ' '), value); };
  int lost = 0;
  bool good = false;
  switch (control.kind) {
    case Kind::hello:
    case Kind::here:
      good = next(control.life) && IsHost(text);
      if (good) control.host = std::exchange(text, {});
      break;
    case Kind::bye:
    case Kind::gone:
    case Kind::taken:
      good = next(control.life);
      break;
    case Kind::list:
      good = ParseList(std::exchange(text, {}), control.list);
      break;
    case Kind::ack:
      good = next(control.link) && next(control.number) && next(lost) && (lost == 0 || lost == 1);
      break;
    case Kind::sync:
      good = next(control.life) && next(control.link) && next(control.number);
      break;
  }
  control.lost = lost == 1;
  if (!good || !text.empty()) return std::nullopt;
  return control;
}

}  // namespace vela
