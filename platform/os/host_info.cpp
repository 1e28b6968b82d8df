#include "platform/os/host_info.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <memory>

namespace {

struct FreeAddresses {
  void operator()(ifaddrs* list) const { ::freeifaddrs(list); }
};

std::string TextOf(int family, const void* address) {
  char text[INET6_ADDRSTRLEN] = {};
  return ::inet_ntop(family, address, text, sizeof(text)) != nullptr ? text : "";
}

// `own`: no other host has the address. An empty text: no address of the Internet.
std::string AddressText(const ifaddrs& entry, bool& own) {
  own = (entry.ifa_flags & IFF_LOOPBACK) == 0;
  if (entry.ifa_addr == nullptr) return {};
  if (entry.ifa_addr->sa_family == AF_INET) {
    const in_addr& address = reinterpret_cast<const sockaddr_in*>(entry.ifa_addr)->sin_addr;
    own = own && (ntohl(address.s_addr) >> 16) != 0xA9FE;
    return TextOf(AF_INET, &address);
  }
  if (entry.ifa_addr->sa_family != AF_INET6) return {};
  const in6_addr& address = reinterpret_cast<const sockaddr_in6*>(entry.ifa_addr)->sin6_addr;
  own = own && !IN6_IS_ADDR_LINKLOCAL(&address);
  return TextOf(AF_INET6, &address);
}

}  // namespace

std::vector<std::string> CHostInfo::GetIPAddresses() {
  ifaddrs* first = nullptr;
  if (::getifaddrs(&first) != 0) return {};
  const std::unique_ptr<ifaddrs, FreeAddresses> list(first);
  std::vector<std::string> own;
  std::vector<std::string> common;
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
    if ((entry->ifa_flags & IFF_UP) == 0) continue;
    bool isOwn = false;
    const std::string text = AddressText(*entry, isOwn);
    if (!text.empty()) (isOwn ? own : common).push_back(text);
  }
  return own.empty() ? common : own;
}
