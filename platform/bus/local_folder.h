#pragma once
#include <time.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "platform/bus/bus.h"
#include "platform/bus/bus_routing.h"
#include "platform/bus/life_mark.h"
#include "platform/os/file_descriptor.h"
#include "platform/os/mutex.h"

// Where the processes of one host find each other: an owner-only folder with two files for each address.
// Internal.
//
//   <number>-<handle>.lock                 held while a process owns the address; never removed, so that all
//                                          processes lock the same file
//   <number>-<handle>-<incarnation>.sock   the endpoint of one life of that process
//
// Byte 0 of the lock file is locked by the owner. Once its endpoint is bound, it also locks the one byte at
// the offset `incarnation`, a random number: one call tells a sender that somebody lives there, and whether
// it is still the same one. A mark in the file (life_mark.h) spares that call while it stands. The kernel
// releases both locks when the process ends, however it ends. A name with the incarnation in it keeps a
// sender that connects late from reaching a successor.
//
// The locks belong to open file descriptions: a process that forks without exec would keep its parent's
// addresses alive. This is not supported.
namespace vela {

using Incarnation = std::uint64_t;  // 0: none

// Watches one address from outside.
class AddressProbe {
 public:
  AddressProbe() = default;
  explicit AddressProbe(FileDescriptor file) : m_file(std::move(file)) {}

  // 0 when no process that is ready for frames holds the address. One system call.
  Incarnation Current() const;
  // For those who ask often.
  MappedLifeMark Mark() const { return {m_file.Get(), false}; }
  // Also true while its owner has not bound its endpoint yet, or not any more.
  bool IsOwned() const;

 private:
  FileDescriptor m_file;
};

// The ownership of one address; given up when destroyed.
class AddressClaim {
 public:
  AddressClaim() = default;
  AddressClaim(FileDescriptor file, Incarnation incarnation)
      : m_file(std::move(file)), m_mark(m_file.Get(), true), m_incarnation(incarnation) {}

  Incarnation GetIncarnation() const { return m_incarnation; }
  // To be kept by a thread of the receiver; null when there is none.
  LifeMark* Mark() const { return m_mark.Get(); }
  // Makes the address visible to senders, and invisible again.
  bool Announce();
  void Withdraw();

 private:
  FileDescriptor m_file;
  MappedLifeMark m_mark;
  Incarnation m_incarnation = 0;
};

// Thread-safe.
class LocalFolder {
 public:
  // Makes the folder where it is missing. Null, and the reason, when it cannot be made, belongs to somebody
  // else or is open to others.
  static std::shared_ptr<LocalFolder> Open(std::string path, std::string& error);

  // ok, taken, or failed and the reason.
  BusResult Claim(CProcID address, AddressClaim& claim, std::string& error) const;
  AddressProbe Probe(CProcID address) const;
  // The name for ZeroMQ, short however deep the folder lies: valid in this process while this object lives.
  std::string Endpoint(CProcID address, Incarnation incarnation) const;

  // The instances of a number, possibly with some that have just died; from memory while the folder stands
  // unchanged.
  std::shared_ptr<const Instances> InstancesOf(std::uint16_t number);
  // To be told when an instance of that list turned out to be dead.
  void ForgetInstances();
  // All processes that are ready for frames, ascending.
  Instances Live() const;

 private:
  explicit LocalFolder(FileDescriptor folder) : m_folder(std::move(folder)) {}

  // All addresses that have an owner. Endpoints left by processes that were killed are removed.
  Instances Scan() const;
  void RefreshLists() VELA_REQUIRES(m_mutex);

  const FileDescriptor m_folder;
  Mutex m_mutex;
  std::map<std::uint16_t, std::shared_ptr<const Instances>> m_lists VELA_GUARDED_BY(m_mutex);
  timespec m_listsOf VELA_GUARDED_BY(m_mutex) = {};  // the folder's time of change that the lists show
  bool m_listsValid VELA_GUARDED_BY(m_mutex) = false;
};

}  // namespace vela
