#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "platform/asncmd/asn_fwd.h"
#include "platform/export.h"
#include "platform/message/proc_id.h"
#include "platform/message/te_cmd_msg.h"

// A task: what runs in a worker thread of a task manager, one call at a time. Its methods belong to the
// thread in which it is current, except where said.
//
// States (VelaSetTaskState): a task made for a request ends when its handler returns, whatever its state. A
// task that was inserted (VelaTaskMgr::InsertTask) lives until its state is VELA_TASK_END.
enum VelaTaskState : int { VELA_TASK_RUNNING = 1, VELA_TASK_WAITING = 5, VELA_TASK_END = 9 };

// What all kinds of tasks have in common.
class VELA_EXPORT VelaTask {
 public:
  // `attribute`: the one-byte attribute that goes into the frames that the task sends.
  explicit VelaTask(const char* name, std::uint8_t attribute = 0);
  virtual ~VelaTask();
  VelaTask(const VelaTask&) = delete;
  VelaTask& operator=(const VelaTask&) = delete;

  const std::string& GetName() const;
  std::uint16_t GetTaskId() const;  // 1 to 65535, unique among the live tasks of this process
  std::uint8_t GetAttribute() const;
  int GetTaskState() const;  // any thread
  // Any thread. VELA_TASK_END lets an inserted task end as soon as none of its calls runs; set from another
  // thread, that may be before this returns.
  void VelaSetTaskState(int state);

  // A new serial number (never 0). One answer is accepted for a number that this task drew and whose wait
  // has not been given up. The task remembers its last 49152 numbers at least.
  std::uint32_t AllocMsgSn();

  // Waits for an answer to any request of this task, at most `timeOut` seconds (0 or less: 30). 0 with the
  // frame and its status, whatever its command code is (`cmdCode` is what is waited for, for the trace only);
  // 0x4101F003 when none came, after which answers to everything sent before are dropped and counted.
  std::uint32_t VelaSynRecv(std::uint32_t cmdCode, int timeOut, VelaMsgPtr& msg, std::uint32_t& status);
  // The same for one serial number; other answers stay queued.
  std::uint32_t VelaSynRecvSn(std::uint32_t sn, int timeOut, VelaMsgPtr& msg);

  // Sends an answer frame (response or progress) and takes it over; a source task of 0 becomes this one. 0 or
  // a code of vela_error.h.
  std::uint32_t VelaCmdSendAnsFrameCB(VelaCmdMSG* frame);

  // Calls VelaTaskTimeInterval once after `seconds` (at once, when 0 or less); the result is its id, never 0.
  // Deleting an unknown id is harmless; after DelTaskTimeInterval returned, the expiry is not delivered any
  // more. Any thread. Only inserted tasks get expiries; those of before the insertion follow VelaTaskCreate.
  std::uint32_t SetTaskTimeInterval(int seconds);
  void DelTaskTimeInterval(std::uint32_t id);

  // Called by the task manager in a worker thread, this task being current.
  virtual void VelaTaskCreate();                        // once, after insertion
  virtual void VelaTaskTimeInterval(std::uint32_t id);  // an interval expired

 private:
  friend class VelaTaskAccess;  // the platform's own access to what follows
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

// A task that serves a request (or runs by timers alone).
class VELA_EXPORT VelaGnlTask : public VelaTask {
 public:
  explicit VelaGnlTask(const char* name, std::uint8_t attribute = 0);
  ~VelaGnlTask() override;

  // The request that is being handled; null when there is none. Owned by the task.
  const TECmdMsg* GetCurReqMsg() const;
  void SetCurReqMsg(std::unique_ptr<TECmdMsg> request);

  // Send one ASN.1 command without waiting; `format` is the message format mark (10; others are refused with
  // VELA_ERR_GENERAL). 0 or a code of vela_error.h. NBC: to one process. BC: to every member of the broadcast
  // group `group` (VELA_CLIENT_GROUP; another number reaches one instance of it).
  std::uint32_t AsnSendNBC(CProcID dst, std::uint8_t module, std::uint32_t cmdCode, const AsnType& msg,
                           int format);
  std::uint32_t AsnSendBC(std::uint16_t group, std::uint8_t module, std::uint32_t cmdCode, const AsnType& msg,
                          int format);

 private:
  std::unique_ptr<TECmdMsg> m_request;
};

// The task that is current in the calling thread, or null.
VELA_EXPORT VelaTask* VelaGetCurrentTask();

// Makes a task current in this thread while it lives; scopes nest.
class VELA_EXPORT VelaCurrentTaskScope {
 public:
  explicit VelaCurrentTaskScope(VelaTask* task);
  ~VelaCurrentTaskScope();
  VelaCurrentTaskScope(const VelaCurrentTaskScope&) = delete;
  VelaCurrentTaskScope& operator=(const VelaCurrentTaskScope&) = delete;

 private:
  VelaTask* m_previous;
};
