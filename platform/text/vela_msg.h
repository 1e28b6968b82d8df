#pragma once
#include <string>

#include "platform/export.h"

namespace VELAcommon {

// The interface language of this process, for instance "en_US" or "zh_CN". Thread-safe.
class VELA_EXPORT VELAMsg {
 public:
  // Empty until set or configured (key "Language" of etc/conf/vela.cfg, read once on first use).
  static std::string getLanguage();
  // Replaces the configured language. The name becomes part of resource paths, so one with "/", "\" or a
  // leading "." is ignored, here and in the configuration. The empty text unsets the language.
  static void setLanguage(const std::string& language);
};

}  // namespace VELAcommon
