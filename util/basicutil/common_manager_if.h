#pragma once
#include <string>

#include "platform/debug/module_interface.h"
#include "util/basicutil/common.h"

// The debug manager as a module interface: for modules that find it by name and version.
namespace NSTE_util {

// What such a module sees.
class BASIC_UTIL_EXPORT TEDebugMgrIf : public ModuleInterface {
 public:
  // As the functions of common.h.
  virtual TEDebugInterface* GetDebugInterface(const std::string& name) = 0;
  virtual int AddDebugCommand(TEDebugCommand* command) = 0;
  virtual void RemoveDebugCommand(TEDebugCommand* command) = 0;
  virtual void RemoveDebugCommand(const std::string& name) = 0;
  ~TEDebugMgrIf() override;
};

// Has no state of its own: any number of objects stand for the process' one debug manager. Thread-safe.
class BASIC_UTIL_EXPORT TEDebugMgrIFImpl : public TEDebugMgrIf {
 public:
  std::string GetName() const override;       // "TEDebugMgrIf"
  unsigned long GetVersion() const override;  // 0x2010100, that is 2.1.1.0
  // For who was built against `version` of the interface `name`: the name is this one, the first number of
  // the version is the same, and the rest not newer.
  bool IsCompitable(const std::string& name, unsigned long version) const override;

  TEDebugInterface* GetDebugInterface(const std::string& name) override;
  int AddDebugCommand(TEDebugCommand* command) override;
  void RemoveDebugCommand(TEDebugCommand* command) override;
  void RemoveDebugCommand(const std::string& name) override;
};

}  // namespace NSTE_util
