#pragma once
#include <cstdint>
#include <vector>

#include "platform/asncmd/asn_fwd.h"
#include "platform/export.h"

class VelaGnlTask;

// What serves one command code. Static data: it must live as long as the process.
struct TETaskHandlerStru {
  unsigned long cmdCode;
  unsigned char taskMgrId;  // where it runs unless SetTaskMgrForCmd says otherwise
  const char* name;
  AsnType* (*newRequest)();   // makes the fresh object that the payload is decoded into; null: not decoded
  AsnType* (*newResponse)();  // for lists of the commands; may be null
  // Handles the request in a worker thread, `task` being current. `request` is null when newRequest is, and
  // lives until the call returns. 0: it answered, or nobody waits. Another code: the platform answers with
  // it. An exception is traced and answered with VELA_ERR_GENERAL.
  unsigned long (*handle)(VelaGnlTask* task, const AsnType* request);
};

// The table of handlers, by command code. Thread-safe; usable during static initialisation.
class VELA_EXPORT TETaskCreator {
 public:
  static TETaskCreator* Instance();
  virtual ~TETaskCreator();

  // False (and a line in the log) when the code is taken by another record, or the record has no handler or
  // name.
  virtual bool RegisterTask(const TETaskHandlerStru* handler) = 0;
  virtual const TETaskHandlerStru* Find(std::uint32_t cmdCode) const = 0;
  virtual std::vector<const TETaskHandlerStru*> All() const = 0;  // in order of command code
  virtual std::size_t Refused() const = 0;                        // records so far
};
