#pragma once
#include "util/basicutil/export.h"

namespace NSTE_util {

// Progress of operations that are made of operations, none of which knows the mission. The outermost one is
// registered as a root, under the mission's number and with a share of the whole; each inner one under its
// parent, with a weight. Each reports in a scale of its own, 0 to 100. What it has risen by is scaled by its
// weight and raises its parent, and so on; what a root has risen by raises the mission, whose client is told
// (ProgressMgr::SendProgress for the current task) when the figure exceeds the last one sent. What rounding
// drops is counted again with the next rise.
//
// An operation is known by its address. The client of a mission is that of the current task's request at the
// root's registration. A mission is kept while operations are registered for it.
//
// What is refused is an assertion report and a trace line, and changes nothing; so is every call for an
// object that is not registered, except IsRegistered. A child whose parent was unregistered is refused the
// same way when it reports.
//
// Thread-safe: one reader-writer lock guards everything; reports are sent and traced after it was released.
class BASIC_UTIL_EXPORT TEOperProgressIF {
 public:
  // Null only when the process is ending.
  static TEOperProgressIF* Instance();
  static void Destroy();

  virtual ~TEOperProgressIF();

  // For IsRegistered and SendProgress: `lock` false is for callers that hold the write lock already, which
  // only the implementation can; pass true.
  virtual bool IsRegistered(const void* object, bool lock) = 0;

  // False when refused: the object is registered already; the parent is not. `weight` is the percentage of
  // the parent that this object is; outside 0 to 100 it counts as 0.
  virtual bool RegisterChild(const void* object, const void* parent, int weight) = 0;
  // False when refused: the object is registered already. `span` is the percentage of the mission that this
  // object is; outside 0 to 100 it counts as 100. `reserved` has no meaning; pass 0.
  virtual bool RegisterRoot(long missionID, const void* object, int span, int reserved) = 0;
  // Its children stay registered, without a parent.
  virtual void UnRegister(const void* object) = 0;
  // Forgets all objects and missions.
  virtual void Clear() = 0;

  // Whether operations are registered under this one: then it is they that make its progress.
  virtual bool HasChildren(const void* object) = 0;
  // The object's own progress, 0 to 100, cut to the whole percent. 0 when refused.
  virtual int GetProgress(const void* object) = 0;

  // The object has got as far as `progress` (at most 100); less than before is ignored. A root's is sent to
  // the client as it is. `text` may be null; a report with a text is passed on by a child even when its
  // parent does not rise by it.
  virtual void SendProgress(const void* object, int progress, const char* text, bool lock) = 0;
  // The same, unless the object has children.
  virtual void SendOwnProgress(const void* object, int progress, const char* text) = 0;
  // The object has advanced by `step`, 0 to 100. Steps that were too small to be seen are added up. Others
  // are ignored.
  virtual void SendProgressStep(const void* object, int step) = 0;

  // What the coming section steps fill of the object's progress, in percent: 0 <= start < end <= 100. The
  // whole of it until set.
  virtual void SetProgressSection(const void* object, int start, int end) = 0;
  // The length of the section; 0, with `start` and `end` untouched, when refused.
  virtual int GetProgressSection(const void* object, int& start, int& end) = 0;
  // Step `step` (1 to `total`) of the section has been done. Rises of less than one percent wait for a later
  // step. A total of 0 completes the section.
  virtual void SendSectionStep(const void* object, int step, int total) = 0;
};

// Registers an operation for its scope. What was refused is not unregistered.
class BASIC_UTIL_EXPORT TEOperProgressRegister {
 public:
  TEOperProgressRegister(long missionID, const void* object, int span, int reserved);
  TEOperProgressRegister(const void* object, const void* parent, int weight);
  ~TEOperProgressRegister();
  TEOperProgressRegister(const TEOperProgressRegister&) = delete;
  TEOperProgressRegister& operator=(const TEOperProgressRegister&) = delete;

  // Before the scope ends. Only the first call counts.
  void UnRegister();

 private:
  const void* m_pObject;
  bool m_bRegistered;
};

}  // namespace NSTE_util
