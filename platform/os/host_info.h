#pragma once
#include <string>
#include <vector>

#include "platform/export.h"

// This host as others see it. Safe in any thread.
class VELA_EXPORT CHostInfo {
 public:
  // The addresses of the interfaces that are up, as text ("10.1.2.3", "fd00::1"), in the system's order,
  // asked anew with each call. Addresses that other hosts have too (loopback, link-local) only when there are
  // no others. Empty when the system refuses.
  static std::vector<std::string> GetIPAddresses();
};
