#pragma once
#include <string>

#include "platform/export.h"

// What a module offers to others by name and version.
class VELA_EXPORT ModuleInterface {
 public:
  virtual ~ModuleInterface();
  virtual std::string GetName() const = 0;
  virtual unsigned long GetVersion() const = 0;
  virtual bool IsCompitable(const std::string& name, unsigned long version) const = 0;
};
