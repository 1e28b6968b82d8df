#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "apps/handlers/oper/ne_faults.h"

namespace velad {

struct NEBoard {
  std::uint32_t slot = 0;  // from 1
  std::string type;
};

struct NEPort {
  std::uint32_t number = 0;  // from 1
  std::string service;       // what it carries; empty: nothing
};

struct NEAlarm {
  NEPlace place;
  std::string text;
};

// What is wrong with an NE, a board or a port.
struct NEError {
  NEPlace place;
  std::uint32_t code = 0;  // of apps/asn1/ne_oper_codes.h
  std::string detail;      // what the error's text is about; empty: the code says it all
};

// One NE as its manager reaches it: the seam between the work of a manager and the protocol of its NEs. One
// thread at a time; calls take as long as the NE takes. What is read between Connect and Disconnect counts
// only when Disconnect was good.
class NEAccess {
 public:
  NEAccess() = default;
  virtual ~NEAccess() = default;
  NEAccess(const NEAccess&) = delete;
  NEAccess& operator=(const NEAccess&) = delete;

  virtual std::uint32_t Connect() = 0;     // 0, or the code of why not
  virtual std::uint32_t Disconnect() = 0;  // 0, or NE_ERR_LOST: the connection had broken

  virtual std::string SoftwareVersion() = 0;
  virtual std::vector<NEBoard> Boards() = 0;  // by slot
  virtual std::vector<NEPort> Ports(const NEBoard& board) = 0;
  virtual std::vector<NEAlarm> Alarms() = 0;
  virtual std::string Configuration(const NEBoard& board) = 0;  // lines of text

  // What is wrong with the board and its ports now, by port; those of the board itself first.
  virtual std::vector<NEError> AskBoard(const NEBoard& board) = 0;

  // Restarts it; it has no alarms afterwards. 0 when it answers again, or a code.
  virtual std::uint32_t Reset() = 0;
};

}  // namespace velad
