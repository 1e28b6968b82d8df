#pragma once
#include <new>
#include <optional>
#include <unordered_map>
#include <unordered_set>

#include "platform/os/mutex.h"
#include "util/basicutil/common.h"
#include "util/basicutil/tecommonerror.h"

namespace NSTE_util {

struct ErrEntry {
  TESingleResult result;
  std::list<TEOperObject> objects;
  std::string position;

  bool IsBare() const { return position.empty() && objects.empty(); }
  bool IsText() const { return result.m_nErrorCode == ERROR_BY_TEXT; }
};
using ErrList = std::list<ErrEntry>;

// `work()`; false, and a line in the log, when its memory is exhausted.
template <class Work>
bool WithMemory(const Work& work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    WriteException("Operation error log: no memory\n");
    return false;
  }
}

// Without the generic code, where an error stands beside it that says more.
void DropGenericErrors(ErrList& errors);

// Two views of an entry, by which the final errors are found whatever their number.
struct SameResult {
  std::size_t operator()(const ErrEntry* entry) const;
  bool operator()(const ErrEntry* left, const ErrEntry* right) const;
};
struct SameEntry {
  std::size_t operator()(const ErrEntry* entry) const;
  bool operator()(const ErrEntry* left, const ErrEntry* right) const;
};

// Which request a thread serves.
struct ErrRequest {
  std::uint16_t taskId = 0;
  std::uint32_t cmdCode = 0;
  std::uint32_t sn = 0;
  std::uint32_t clientNo = 0;
  std::uint32_t source = 0;  // process number and handle
  bool operator==(const ErrRequest&) const = default;
};

// The record of one thread. Not locked. Entries come as a list of one: moving a node takes no memory.
class ErrFrame {
 public:
  void Add(ErrList one);
  void AddUntested(ErrList one);

  std::size_t Start();               // the new depth
  void Commit();                     // depth must be 1 or more
  [[nodiscard]] ErrList Rollback();  // the same; the entries that are dropped
  std::size_t Depth() const { return m_transactions.size(); }

  const ErrList& Errors() const { return m_errors; }
  std::size_t Pending() const;
  [[nodiscard]] ErrList TakeErrors();  // the final ones; the code becomes 0
  bool IsUntouched() const { return m_errors.empty() && m_transactions.empty() && m_code == 0; }

  std::uint32_t m_code = 0;
  std::optional<ErrRequest> m_request;  // that opened it, if any
  bool m_bOfContext = false;            // opened by a TETaskContext, for whoever registers first

 private:
  void AppendFinal(ErrList one);
  void Overwrite(ErrEntry& known, ErrEntry&& entry);
  void Index(ErrEntry& entry);

  ErrList m_errors;
  std::vector<ErrList> m_transactions;
  std::unordered_set<ErrEntry*, SameResult, SameResult> m_firstOfResult;  // the first of each code and text
  std::unordered_set<const ErrEntry*, SameEntry, SameEntry> m_entries;
};

class TEOperErrorLogImpl final : public TEOperErrorLogIF {
 public:
  bool RegisterFrame() override;
  bool IsRegistered() override;
  int UnregisterFrame() override;
  bool AddErr(const std::list<TEOperObject>& objects, unsigned long code, const std::string& reason,
              const std::string& position) override;
  bool AddErr(const TESingleReturn& result, const std::string& position) override;
  bool AddErr(const std::string& errorText, const std::string& position) override;
  bool AddErr(unsigned long code, const std::string& position) override;
  bool GetErrList(qcommon::QAsnErrInfoList* errors) override;
  bool AddErr(AsnErrRsp* response, const TESingleReturn& result, const std::string& position) override;
  bool AddErr(AsnErrRsp* response, const std::string& errorText, const std::string& position) override;
  bool AddErr(AsnErrRsp* response, unsigned long code, const std::string& position) override;
  bool GetErrList(AsnErrRsp* response) override;
  bool AddErr(AsnErrReport* response, const TESingleReturn& result, const std::string& position) override;
  bool AddErr(AsnErrReport* response, const std::string& errorText, const std::string& position) override;
  bool AddErr(AsnErrReport* response, unsigned long code, const std::string& position) override;
  bool GetErrList(AsnErrReport* response) override;
  void SetErrCodeField(AsnErrReport* response, int code) override;
  void SetErr(const TESingleReturn& result) override;
  int SetErrCode(unsigned long code) override;
  void AddErrTransStart() override;
  int CommitAddErr() override;
  int RollbackAddErr() override;
  void ForEachErr(void* context, const std::string& prefix, TEErrCallback callback) override;
  void ForEachErr(void* context, TEErrCallback callback) override;
  void ClearErr() override;
  void ClearAll() override;
  ~TEOperErrorLogImpl() override;
  unsigned long GetErrCodeAndClear() override;

  // The frame that a context opens for its request, unless the thread has one; true: it is to be closed.
  bool OpenContextFrame();
  // Closes it, unless it was taken over.
  void CloseContextFrame();
  std::vector<TEOpenErrFrame> Snapshot();

 private:
  using Frames = std::unordered_map<std::uint32_t, ErrFrame>;  // by thread id
  struct Collected {
    ErrList errors;
    std::uint32_t code = 0;
  };

  // Of the calling thread; null without one.
  ErrFrame* Find() VELA_REQUIRES(m_mutex);
  bool Add(TESingleResult&& result, const std::list<TEOperObject>& objects, const std::string& position);
  template <class Close>
  int CloseTransaction(const char* traced, const Close& close);
  std::uint32_t Clear();  // the code that the frame had
  // What the thread's frame has to hand out.
  Collected Collect();
  bool HasFrame(const char* warning);
  template <class Response, class Error>
  bool AddAndFill(const char* warning, Response* response, const Error& error, const std::string& position);

  vela::Mutex m_mutex;
  Frames m_frames VELA_GUARDED_BY(m_mutex);
};

// For TETaskContext; the second only when the first gave true.
bool OpenContextErrFrame();
void CloseContextErrFrame();

}  // namespace NSTE_util
