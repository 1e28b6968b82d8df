#pragma once
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/asncmd/asn_fwd.h"
#include "platform/export.h"
#include "platform/message/vela_cmd_msg.h"
#include "platform/os/os_faults.h"
#include "platform/time/server_zone.h"

class VelaGnlTask;

// What a handler's test needs without a bus or a server: scope guards, each of which puts everything back.
// One of a kind at a time, made and ended in the test's own thread; what they see may come from any thread.
namespace testkit {

// The header fields of a request that library code reads.
struct Request {
  std::uint32_t clientNo = 0;
  std::uint16_t srcProcId = 0;
  std::uint16_t srcHandle = 0;
  std::uint16_t srcDesk = 0;
  std::uint16_t srcTaskId = 0;
  std::uint32_t cmdCode = 0;
  std::uint32_t sn = 1;
  std::uint8_t module = 0;
  std::uint8_t attribute = 0;
  std::uint8_t kind = VELA_KIND_REQUEST;
  std::uint16_t subId = 0;
  std::string payload;  // BER bytes
};

// A frame made of a request, as it would come from the bus.
VELA_EXPORT VelaMsgPtr MakeFrame(const Request& request);

// The BER encoding of a message; fails the program when it cannot be encoded.
VELA_EXPORT std::string Encoded(const AsnType& msg);

// A task with that request, current in this thread.
class VELA_EXPORT CurrentTask {
 public:
  explicit CurrentTask(const Request& request = {});
  // A task without any request.
  struct NoRequest {};
  explicit CurrentTask(NoRequest);
  ~CurrentTask();
  CurrentTask(const CurrentTask&) = delete;
  CurrentTask& operator=(const CurrentTask&) = delete;

  VelaGnlTask* get() const;
  // Queues an answer for the task's synchronous waits, as if it came from the bus, whatever its serial number
  // (a frame of the bus must carry one that the task drew). Any thread.
  void Deliver(VelaMsgPtr frame);

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

// One record, as it was handed to the logging.
struct LogRecord {
  std::string log;  // "" = the module log
  int level;
  std::string text;
};

// Collects log records instead of writing them.
class VELA_EXPORT LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<LogRecord> Records() const;
  // How many records hold the text.
  int Count(const std::string& text) const;
  void Clear();

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

// One frame on its way out.
struct Frame {
  VelaCmdMSG header;  // `data` unused
  std::string payload;
  std::uint8_t module;  // argument of VelaOutSendMsg
};

// Collects the frames that the process sends instead of sending them.
class VELA_EXPORT FrameCapture {
 public:
  FrameCapture();
  // `refuse`: for each frame, true makes the send fail (and the frame is not collected). Called in the
  // sending thread, maybe in several at once.
  explicit FrameCapture(std::function<bool(const VelaCmdMSG&)> refuse);
  ~FrameCapture();
  FrameCapture(const FrameCapture&) = delete;
  FrameCapture& operator=(const FrameCapture&) = delete;

  std::vector<Frame> Frames() const;
  void Clear();

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

// Stops the time of day at a value that the test moves.
class VELA_EXPORT Clock {
 public:
  explicit Clock(std::int64_t seconds, std::int32_t microseconds = 0);
  ~Clock();
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;
  void Set(std::int64_t seconds, std::int32_t microseconds = 0);
  void Advance(std::chrono::microseconds by);

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

// The server's time zone while it lives; fails the program when the zone database has no such zone.
class VELA_EXPORT Zone {
 public:
  explicit Zone(const std::string& name);
  ~Zone();
  Zone(const Zone&) = delete;
  Zone& operator=(const Zone&) = delete;

 private:
  std::string m_previous;
};

// Makes operations of the time-zone service fail: vela::ZoneCall values added up.
class VELA_EXPORT ZoneFaults {
 public:
  explicit ZoneFaults(unsigned calls = vela::ZONE_ALL);
  ~ZoneFaults();
  ZoneFaults(const ZoneFaults&) = delete;
  ZoneFaults& operator=(const ZoneFaults&) = delete;
};

// The interface language while it lives.
class VELA_EXPORT Language {
 public:
  explicit Language(const std::string& language);
  ~Language();
  Language(const Language&) = delete;
  Language& operator=(const Language&) = delete;

 private:
  std::string m_previous;
};

// Makes the operating system fail, see vela::SetOsFaultHook.
class VELA_EXPORT OsFaults {
 public:
  explicit OsFaults(std::function<vela::OsFault(vela::OsCall, const char* path)> hook);
  ~OsFaults();
  OsFaults(const OsFaults&) = delete;
  OsFaults& operator=(const OsFaults&) = delete;
};

// This process' address while it lives.
class VELA_EXPORT ProcessAddress {
 public:
  ProcessAddress(std::uint16_t number, std::uint16_t handle, std::uint16_t desk = 0);
  ~ProcessAddress();
  ProcessAddress(const ProcessAddress&) = delete;
  ProcessAddress& operator=(const ProcessAddress&) = delete;

 private:
  std::uint16_t m_number, m_handle, m_desk;
};

}  // namespace testkit
