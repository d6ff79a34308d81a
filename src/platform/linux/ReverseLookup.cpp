#include "platform/ReverseLookup.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>

namespace kellanseek::platform {
namespace {

class NameService : public ReverseLookup {
 public:
  std::optional<std::string> HostName(Ipv4 address) override {
    sockaddr_in socketAddress{};
    socketAddress.sin_family = AF_INET;
    socketAddress.sin_addr.s_addr = address;
    std::array<char, NI_MAXHOST> name{};
    const int result = getnameinfo(reinterpret_cast<const sockaddr*>(&socketAddress), sizeof socketAddress,
                                   name.data(), name.size(), nullptr, 0, NI_NAMEREQD);
    if (result != 0) return std::nullopt;
    return std::string(name.data());
  }
};

}  // namespace

ReverseLookup& SystemReverseLookup() {
  static NameService service;
  return service;
}

}  // namespace kellanseek::platform
