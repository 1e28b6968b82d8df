#pragma once

namespace SNACC {
class AsnType;
}

namespace velad {

// Makes the messages of a handler (TETaskHandlerStru).
template <class Message>
SNACC::AsnType* New() {
  return new Message;
}

}  // namespace velad
