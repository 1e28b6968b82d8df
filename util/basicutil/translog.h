#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "util/basicutil/export.h"

// What the tasks of one transaction share: buffers of any kind, found by a name and a number.
namespace NSTE_util {

class TransactionState;

// The base of what callers keep in a transaction log.
class BASIC_UTIL_EXPORT TETransactionBuffer {
 public:
  TETransactionBuffer() = default;
  TETransactionBuffer(const TETransactionBuffer&) = default;
  TETransactionBuffer& operator=(const TETransactionBuffer&) = default;
  virtual ~TETransactionBuffer();
};

// One task's hold on a transaction. The transaction's state is kept alive by counts:
//
//                | m_nRefCount | m_nRefCountEx |
//   -------------+-------------+---------------+----------------------------------------------------------
//   new log      | 1           | 0             | registered under the next free handle
//   attach       | + 1         |               | by handle, in any task
//   AddRef(n)    | + n         | + n           |
//   Release      | - 1         | - 1           | nothing while m_nRefCountEx is 0; never ends the state
//   detach       | - 1         |               | below 1: unregistered, and the buffers in it are deleted
//   ClearAllLog  |             |               | the same for all states, whatever their counts
//
// A log object whose state was ended under it (by ClearAllLog, or because AddRef was given a negative number)
// stays usable, over an empty table that nobody can attach to; what is put there is deleted with the last
// such object.
//
// Thread-safe: a lock over the registry (attach reads, all that ends states writes), then one over a state's
// counts; operations on buffers take a lock of the state alone. Buffers are deleted without any lock held:
// their destructors may use transaction logs. Misuse is an assertion report (util/basicutil/translog) and
// goes on. Nothing throws.
class BASIC_UTIL_EXPORT TETransactionLog {
 public:
  // A new transaction; invalid when there is no memory for it.
  TETransactionLog();
  // The registered one; invalid when there is none. Handles are 32 bits wide.
  explicit TETransactionLog(unsigned long handle);
  ~TETransactionLog();
  TETransactionLog(const TETransactionLog&) = delete;
  TETransactionLog& operator=(const TETransactionLog&) = delete;

  bool IsValid() const { return m_state != nullptr; }
  // Never that of another registered state. 0, and a report, when invalid.
  unsigned long GetHandle() const;

  // Both return the m_nRefCountEx that results; 0 when invalid. n below 1 is reported, and added; a Release
  // of what was not added is reported, by both checks of the counts, and changes nothing.
  int AddRef(int n);
  int Release();

  // The state takes the buffer over. A null buffer, and a key that is taken, are reported; the key then holds
  // the new buffer, and the previous one is the caller's again. Nothing when invalid, or without memory
  // (reported): the buffer then stays the caller's.
  void AddBuffer(const std::string& name, unsigned long id, TETransactionBuffer* buffer);
  // The state's buffer, or null. It lives until it is removed or the state ends.
  TETransactionBuffer* GetBuffer(const std::string& name, unsigned long id);
  // The buffer, which is the caller's from now on, or null.
  TETransactionBuffer* RemoveBuffer(const std::string& name, unsigned long id);

  // Ends every transaction of the process: for its end, or when no task works on any.
  static void ClearAllLog();

 private:
  std::shared_ptr<TransactionState> m_state;
};

// A registered transaction as an operator sees it.
struct TETransactionLogInfo {
  std::uint32_t m_nHandle = 0;
  std::int32_t m_nRefCount = 0;
  std::int32_t m_nRefCountEx = 0;
  std::size_t m_nBuffers = 0;
};

// All of them, by handle; each state is described as of one moment of its own. Empty without memory.
BASIC_UTIL_EXPORT std::vector<TETransactionLogInfo> GetTransactionLogs();

}  // namespace NSTE_util
