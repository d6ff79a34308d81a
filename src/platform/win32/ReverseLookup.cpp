#include "platform/ReverseLookup.h"

#ifndef _WINSOCK_DEPRECATED_NO_WARNINGS
#define _WINSOCK_DEPRECATED_NO_WARNINGS  // gethostbyaddr also uses the name services of the local network.
#endif
#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

class WinsockReverseLookup final : public ReverseLookup {
 public:
  std::optional<std::string> HostName(Ipv4 address) override {
    const hostent* const host =
        gethostbyaddr(reinterpret_cast<const char*>(&address), sizeof address, AF_INET);
    if (host == nullptr || host->h_name == nullptr) return std::nullopt;
    return std::string(host->h_name);
  }
};

}  // namespace

ReverseLookup& SystemReverseLookup() {
  static WinsockReverseLookup lookup;
  return lookup;
}

}  // namespace kellanseek::platform
