#pragma once
#include <cstdint>
#include <list>
#include <string>
#include <tuple>

#include "platform/os/os_types.h"
#include "util/basicutil/export.h"

namespace vela {
template <class T>
class SingletonSlot;
}  // namespace vela

// Mutually exclusive operations: before an operation starts, it locks the objects that it will work on, and
// is refused at once when an operation that excludes it holds one of them. Nothing ever waits.
namespace NSTE_util {

struct TEBlockingOper;

// The refusal code when the mutex file has none for the running operation.
constexpr std::uint32_t OPER_REFUSED = 0x4101F012;

// What an operation works on: as a rule an NE, an object inside it, and an object inside that. A key of 0
// stands for everything at its level and below. A plain value of 32-bit keys.
class BASIC_UTIL_EXPORT TEOperObject {
 public:
  TEOperObject(unsigned long first, unsigned int second, unsigned long third)
      : m_nFirst(vela::Cut32(first)), m_nSecond(second), m_nThird(vela::Cut32(third)) {}

  // All three keys, unsigned and in order; 0 means nothing special to these.
  bool operator==(const TEOperObject& other) const = default;
  bool operator<(const TEOperObject& other) const {
    return std::tie(m_nFirst, m_nSecond, m_nThird) <
           std::tie(other.m_nFirst, other.m_nSecond, other.m_nThird);
  }

  // Whether the two overlap: the keys are equal at every level down to the first where one of them is 0.
  bool IsConflict(const TEOperObject& other) const;

  std::uint32_t m_nFirst;
  std::uint32_t m_nSecond;
  std::uint32_t m_nThird;
};

// Which operations exclude which, and which run now. Any thread; one mutex is held for the whole of each
// operation, so that test and grant are one step, and while nothing else is called.
//
//   a code that is | LockOper granted   | refused   | UnlockOper of what it holds
//   ---------------+--------------------+-----------+--------------------------------------
//   not running    | running            | unchanged | -
//   running        | running, with more | unchanged | one less; not running behind the last
//
// An operation is refused, in this order, when it excludes all others and one of them runs on its objects;
// when one runs there that excludes all others; when one runs there that the mutex file sets against it. The
// result is the refusal code of the running operation, of the one with the smallest code if there are
// several. Operations of the same code do not exclude each other unless the file says so.
class BASIC_UTIL_EXPORT TEMutexOperMgr {
 protected:
  virtual ~TEMutexOperMgr();

 public:
  // 0 and the objects are held, or the refusal code and nothing is. 0x4101F00E: no memory, nothing is held.
  // A list without objects overlaps nothing and is granted; an operation that starts with one counts as
  // running until it has locked objects and unlocked the last of them.
  virtual unsigned long LockOper(int operCode, const TEOperObject& obj) = 0;
  virtual unsigned long LockOper(int operCode, const std::list<TEOperObject>& objs) = 0;

  // Gives each object back once: held twice, it stays held. What is not held leaves an assertion report and
  // changes nothing. The list form returns 0, always.
  virtual void UnlockOper(int operCode, const TEOperObject& obj) = 0;
  virtual int UnlockOper(int operCode, const std::list<TEOperObject>& objs) = 0;

  virtual bool IsOperRunning(int operCode) = 0;
  virtual bool HasRunningOper() = 0;

  // Adds what the file says to what is known already; to be called before the first request. False when the
  // file cannot be opened or is no regular file, or when a line is wrong; the good lines count in any case,
  // and each wrong one leaves a trace with its number, as does a failure while reading.
  //
  // "[MUTEX_TABLE]" and "[MUTEX_ERRORCODE]", alone on a line, say what the lines below them are:
  //   5:6,8-10:0   operations 6, 8, 9 and 10 may not start while 5 runs on the same objects; with 1 in place
  //                of 0, nor 5 while one of them runs. A code of 0 (0:7:0) makes the other exclude
  //                everything.
  //   5:1090646035 the code with which others are refused because of 5; the first one read stays, and 0 would
  //                look like a grant: such a line is wrong
  // Numbers are decimal. Blanks at both ends of a line are dropped, lines that begin with "#" skipped. Of a
  // line that is longer than 1022 bytes the rest is ignored (and traced, unless it is a comment or blank); it
  // still counts as one line. A zero byte makes a line wrong.
  virtual bool LoadMutexFile(const std::string& path) = 0;

  // Null only at process end.
  static TEMutexOperMgr* Instance();
  static void Destroy();

 private:
  friend class vela::SingletonSlot<TEMutexOperMgr>;
};

// Locks in its constructor and gives back in its destructor what it was granted. Keep it in one scope: a copy
// gives the same objects back again, and assigning forgets what was held before.
class BASIC_UTIL_EXPORT TEMutexOperGuard {
 public:
  TEMutexOperGuard(int operCode, const TEOperObject& obj);
  TEMutexOperGuard(int operCode, const std::list<TEOperObject>& objs);
  TEMutexOperGuard(const TEMutexOperGuard& other) = default;
  TEMutexOperGuard& operator=(const TEMutexOperGuard& other) = default;
  ~TEMutexOperGuard();

  // 0: the objects are held. Otherwise what the request is to be answered with.
  unsigned long GetResult() const { return m_nResult; }
  // Who is in the way of a refused guard now, see FindBlockingOper (mutex_query.h). False when it was
  // granted.
  bool GetBlocker(TEBlockingOper& blocker) const;

 private:
  int m_nOperCode;
  std::list<TEOperObject> m_objects;
  std::uint32_t m_nResult;
};

}  // namespace NSTE_util
