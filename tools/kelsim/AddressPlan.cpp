#include "tools/kelsim/AddressPlan.h"

#include <stdexcept>
#include <string>

namespace kellanseek::kelsim {

using platform::HostOrder;
using platform::Ipv4;
using platform::NetworkOrder;

std::vector<Ipv4> ConsecutiveAddresses(Ipv4 base, std::uint32_t count) {
  constexpr std::uint32_t kLast = 0xFFFFFFFEU;
  const std::uint32_t first = HostOrder(base);
  if (count != 0 && kLast - first < count - 1) {
    throw std::invalid_argument(std::to_string(count) + " addresses starting with " +
                                platform::FormatIpv4(base) + " exceed the address space");
  }
  std::vector<Ipv4> addresses;
  addresses.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) addresses.push_back(NetworkOrder(first + i));
  return addresses;
}

std::vector<Ipv4> AddressesInSubnet(Ipv4 own, Ipv4 mask, std::uint32_t skipped, std::uint32_t count) {
  const std::uint32_t hostBits = ~HostOrder(mask);
  const std::uint32_t subnet = HostOrder(own) & ~hostBits;
  const std::uint64_t ownHost = HostOrder(own) & hostBits;
  // Excludes the subnet's address, its broadcast address and our own.
  const std::uint32_t hosts = hostBits < 2 ? 1 : hostBits - 1;
  if (std::uint64_t{skipped} + count > hosts - 1) {
    throw std::invalid_argument("the subnet of " + platform::FormatIpv4(own) + " has no room for " +
                                std::to_string(count) + " more controllers; use --base-address");
  }
  std::vector<Ipv4> addresses;
  addresses.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    const auto host = static_cast<std::uint32_t>((ownHost + skipped + i) % hosts + 1);
    addresses.push_back(NetworkOrder(subnet | host));
  }
  return addresses;
}

}  // namespace kellanseek::kelsim
