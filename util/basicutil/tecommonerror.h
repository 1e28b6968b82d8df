#pragma once
#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "util/basicutil/export.h"
#include "util/basicutil/mutex.h"
#include "util/basicutil/single_return.h"

namespace SNACC {
class AsnErrReport;
class AsnErrRsp;
class QAsnErrInfoList;
}  // namespace SNACC
using SNACC::AsnErrReport;
using SNACC::AsnErrRsp;
namespace qcommon {
using SNACC::QAsnErrInfoList;
}

// The errors of the request that a thread is handling: any code on the thread adds them, the handler writes
// them into its response (asn1/error.h, asn1/qcommon.h).
namespace NSTE_util {

// The system's generic failure code: not handed out beside an error that says more.
constexpr std::uint32_t GENERIC_ERROR = 0x42008120;

// Takes one numeric error. `cmdCode` and `secondWord` (the client's number) are those of the current task's
// request, 0 without one. Must not throw; called without any lock held.
using TEErrCallback = void (*)(unsigned long cmdCode, unsigned long secondWord, void* context,
                               unsigned long errorCode, const std::string& position);

// An error as an operator sees it.
struct TEOpenErr {
  std::uint32_t m_nErrorCode = 0;
  std::string m_strText;
  std::string m_strPosition;
};

// A frame as an operator sees it.
struct TEOpenErrFrame {
  std::uint32_t m_nThreadID = 0;  // of the operating system
  std::uint32_t m_nErrorCode = 0;
  std::size_t m_nErrors = 0;                  // final ones
  std::size_t m_nPending = 0;                 // in open transactions
  std::size_t m_nDepth = 0;                   // open transactions
  std::vector<TEOpenErr> m_firstErrors = {};  // the first 50 of the final ones
};

// The frames of all threads. Thread-safe: one mutex is held for the whole of each operation, but not while
// callbacks run and traces are written. A thread sees its own frame only, so a request stays on one thread
// while its frame is open.
//
//   the thread has     | RegisterFrame                                    | UnregisterFrame
//   -------------------+--------------------------------------------------+----------------
//   no frame           | opens one                                        | nothing, -1
//   its context's      | takes over one in which nothing happened yet;    | closes it
//   (TETaskContext)    | refuses otherwise                                |
//   this request's     | refuses, the frame stays as it is                | closes it
//   an earlier         | refuses; the frame stays open, but what the      | closes it
//   request's          | earlier request left in it is dropped and its    |
//                      | number logged: the errors added from now on are  |
//                      | this request's, and reach only its response      |
//
// A refusal is an assertion report and a trace line. A frame that was opened without a current task belongs
// to no request and is never taken for an earlier one's.
//
// An error is a code (ERROR_BY_TEXT: given by its text alone), a text, objects and a position. Adding:
//   1. one that equals a final error in all four is not added;
//   2. otherwise the first final error of the same code and text counts: without position and objects a new
//      error is not added beside it, and one that has neither is overwritten, in its place, by the new error
//      (in a transaction too: a rollback does not undo that);
//   3. otherwise it goes to the end of the innermost open transaction, or of the final errors.
// Errors of open transactions are compared with nothing and handed out by nothing until they are committed.
//
// Handing out: all final errors in order, but without GENERIC_ERROR where the frame holds two errors or more
// and one of them says more (a code other than 0 and GENERIC_ERROR, or a text). A response gets them instead
// of what its list held, so that filling it twice gives every error once; empty texts and lists are absent
// from it. Its error code is the frame's own: 0 until SetErr or SetErrCode, whatever was added. All errors
// are written; an answer that is larger than its receiver's limits (AsnMaxElements; an error has up to 6
// elements, and 4 for each object) is refused there as a whole.
//
// Operations on a response without a frame, or without a response, report that, change nothing (a null
// response still adds the error) and give false. Where memory is exhausted, that is reported and the result
// is false.
class BASIC_UTIL_EXPORT TEOperErrorLogIF {
 public:
  // Null only when the process ends.
  static TEOperErrorLogIF* Instance();
  static void Destroy();
  // What is open now, by thread. Makes no log where there is none.
  static std::vector<TEOpenErrFrame> OpenFrames();

  virtual bool RegisterFrame() = 0;
  virtual bool IsRegistered() = 0;
  virtual int UnregisterFrame() = 0;

  // True; without a frame the error is dropped.
  virtual bool AddErr(const std::list<TEOperObject>& objects, unsigned long code, const std::string& reason,
                      const std::string& position) = 0;
  // A result with a reason becomes an error given by that text: its code is not kept, on purpose.
  virtual bool AddErr(const TESingleReturn& result, const std::string& position) = 0;
  virtual bool AddErr(const std::string& errorText, const std::string& position) = 0;
  virtual bool AddErr(unsigned long code, const std::string& position) = 0;

  // The errors, without objects, for responses that carry the second form of them.
  virtual bool GetErrList(qcommon::QAsnErrInfoList* errors) = 0;

  // As AddErr and GetErrList.
  virtual bool AddErr(AsnErrRsp* response, const TESingleReturn& result, const std::string& position) = 0;
  virtual bool AddErr(AsnErrRsp* response, const std::string& errorText, const std::string& position) = 0;
  virtual bool AddErr(AsnErrRsp* response, unsigned long code, const std::string& position) = 0;
  virtual bool GetErrList(AsnErrRsp* response) = 0;

  virtual bool AddErr(AsnErrReport* response, const TESingleReturn& result, const std::string& position) = 0;
  virtual bool AddErr(AsnErrReport* response, const std::string& errorText, const std::string& position) = 0;
  virtual bool AddErr(AsnErrReport* response, unsigned long code, const std::string& position) = 0;
  virtual bool GetErrList(AsnErrReport* response) = 0;
  // Sets the code alone; needs no frame.
  virtual void SetErrCodeField(AsnErrReport* response, int code) = 0;

  // Sets the frame's code and adds (code, reason) by step 3 alone. Without a frame: reported.
  virtual void SetErr(const TESingleReturn& result) = 0;
  virtual int SetErrCode(unsigned long code) = 0;  // 0, or -1 without a frame

  // Transactions nest without limit; each call traces the depth at which its transaction stands. Without one
  // CommitAddErr and RollbackAddErr report that and give -1, else 0.
  virtual void AddErrTransStart() = 0;
  // The errors of an outermost transaction are added to the final ones, each by the rule above; those of an
  // inner one go to the end of the transaction around it.
  virtual int CommitAddErr() = 0;
  virtual int RollbackAddErr() = 0;

  // Hands out what the fill operations would write, in order; errors given by their text are skipped.
  // `context` is passed on.
  virtual void ForEachErr(void* context, const std::string& prefix, TEErrCallback callback) = 0;
  virtual void ForEachErr(void* context, TEErrCallback callback) = 0;

  // Removes the final errors and sets the code to 0. Open transactions stay, with their errors.
  virtual void ClearErr() = 0;
  virtual void ClearAll() = 0;  // closes the frames of all threads
  virtual ~TEOperErrorLogIF();
  virtual unsigned long GetErrCodeAndClear() = 0;  // 0 without a frame
};

// Opens the thread's frame and closes it, also when opening was refused: one guard a request, at the top of
// its handler. A handler whose TETaskContext is made first may go without.
class BASIC_UTIL_EXPORT TEOperErrorLogGuard {
 public:
  TEOperErrorLogGuard();
  ~TEOperErrorLogGuard();
  TEOperErrorLogGuard(const TEOperErrorLogGuard&) = delete;
  TEOperErrorLogGuard& operator=(const TEOperErrorLogGuard&) = delete;
};

}  // namespace NSTE_util
