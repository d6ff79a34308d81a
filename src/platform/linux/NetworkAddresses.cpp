#include "platform/NetworkAddresses.h"

#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "platform/linux/Descriptor.h"
#include "platform/linux/FileText.h"
#include "platform/linux/InterfaceOf.h"

namespace kellanseek::platform {
namespace {

constexpr std::uint32_t kInterfaceDown = 2;
constexpr std::uint32_t kEthernetInterface = 6;

Ipv4 AddressIn(const sockaddr* socketAddress) {
  sockaddr_in inet{};
  std::memcpy(&inet, socketAddress, sizeof inet);
  return inet.sin_addr.s_addr;
}

bool IsLinkLocal(const sockaddr* socketAddress) {
  sockaddr_in6 inet{};
  std::memcpy(&inet, socketAddress, sizeof inet);
  return IN6_IS_ADDR_LINKLOCAL(&inet.sin6_addr);
}

/// Strips the label of an alias ("eth0:1") from the interface name that getifaddrs returns with an address.
unsigned IndexOfName(const std::string& name) {
  return if_nametoindex(name.substr(0, name.find(':')).c_str());
}

class HostAddresses : public NetworkAddresses {
 public:
  std::optional<std::vector<AddressRow>> Addresses() override {
    std::vector<AddressRow> rows;
    const bool known = ForEachAddress([&](const ifaddrs& row, Ipv4 address) {
      if (row.ifa_netmask != nullptr) {
        rows.push_back({address, AddressIn(row.ifa_netmask), IndexOfName(row.ifa_name)});
      }
      return true;
    });
    if (!known) return std::nullopt;
    return rows;
  }

  std::optional<InterfaceRow> Interface(std::uint32_t interfaceIndex) override {
    const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    if (!socket || if_indextoname(interfaceIndex, request.ifr_name) == nullptr) return std::nullopt;
    if (ioctl(socket.get(), SIOCGIFFLAGS, &request) != 0) return std::nullopt;
    InterfaceRow row;
    row.adminStatus = (request.ifr_flags & IFF_UP) != 0 ? kInterfaceUp : kInterfaceDown;
    row.type = (request.ifr_flags & IFF_LOOPBACK) != 0 ? kLoopbackInterface : kEthernetInterface;
    if (ioctl(socket.get(), SIOCGIFHWADDR, &request) == 0 && request.ifr_hwaddr.sa_family == ARPHRD_ETHER) {
      row.physicalAddressLength = IFHWADDRLEN;
      std::copy_n(request.ifr_hwaddr.sa_data, IFHWADDRLEN, row.physicalAddress.begin());
    }
    return row;
  }

  std::vector<InterfaceDetails> Details() override {
    std::map<unsigned, InterfaceDetails> byIndex;
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) return {};
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, &freeifaddrs);
    for (const ifaddrs* row = first; row != nullptr; row = row->ifa_next) {
      const std::string name = row->ifa_name;
      const unsigned index = IndexOfName(name);
      if (index == 0) continue;
      InterfaceDetails& details = byIndex[index];
      details.index = index;
      details.name = FromUtf8(name.substr(0, name.find(':')));
      details.isUp = (row->ifa_flags & IFF_UP) != 0;
      details.hasCarrier = (row->ifa_flags & IFF_RUNNING) != 0;
      details.isLoopback = (row->ifa_flags & IFF_LOOPBACK) != 0;
      details.isPointToPoint = (row->ifa_flags & IFF_POINTOPOINT) != 0;
      if (row->ifa_addr == nullptr) continue;
      details.hasIpv4 |= row->ifa_addr->sa_family == AF_INET;
      details.hasIpv6 |= row->ifa_addr->sa_family == AF_INET6 && !IsLinkLocal(row->ifa_addr);
    }
    std::vector<InterfaceDetails> all;
    std::transform(byIndex.begin(), byIndex.end(), std::back_inserter(all),
                   [](auto& each) { return std::move(each.second); });
    return all;
  }
};

}  // namespace

bool ForEachAddress(const std::function<bool(const ifaddrs& row, Ipv4 address)>& visit) {
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) return false;
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, &freeifaddrs);
  for (const ifaddrs* row = first; row != nullptr; row = row->ifa_next) {
    if (row->ifa_addr == nullptr || row->ifa_addr->sa_family != AF_INET) continue;
    if (!visit(*row, AddressIn(row->ifa_addr))) break;
  }
  return true;
}

unsigned InterfaceIndexOf(Ipv4 wanted) {
  unsigned index = 0;
  ForEachAddress([&](const ifaddrs& row, Ipv4 address) {
    if (address != wanted) return true;
    index = IndexOfName(row.ifa_name);
    return false;
  });
  return index;
}

std::optional<std::uint32_t> InterfaceIndexOfName(const std::wstring& name) {
  const unsigned index = if_nametoindex(ToUtf8(name).c_str());
  if (index == 0) return std::nullopt;
  return index;
}

NetworkAddresses& SystemNetworkAddresses() {
  static HostAddresses addresses;
  return addresses;
}

}  // namespace kellanseek::platform
