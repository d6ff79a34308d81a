#include "platform/NetworkAddresses.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "platform/win32/System.h"

#include <ws2tcpip.h>
// After the sockets.
#include <iphlpapi.h>

namespace kellanseek::platform {

namespace {

/// The address table in the system's layout, in a buffer of the right size.
class AddressTable {
 public:
  /// Returns the system's result code. The table is empty if the system lists no address.
  DWORD Load() {
    ULONG size = 0;
    DWORD result = GetIpAddrTable(nullptr, &size, FALSE);
    if (size == 0) return NO_ERROR;
    // The table may have grown since its size was read.
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      words_.assign(size / sizeof(DWORD) + 1, 0);
      result = GetIpAddrTable(Table(), &size, FALSE);
      if (result != ERROR_INSUFFICIENT_BUFFER) break;
    }
    return result;
  }

  std::vector<AddressRow> Rows() {
    std::vector<AddressRow> rows;
    if (words_.empty()) return rows;
    const MIB_IPADDRTABLE* const table = Table();
    rows.reserve(table->dwNumEntries);
    for (DWORD index = 0; index < table->dwNumEntries; ++index) {
      const MIB_IPADDRROW& row = table->table[index];
      rows.push_back({row.dwAddr, row.dwMask, row.dwIndex});
    }
    return rows;
  }

 private:
  static constexpr int kAttempts = 4;
  static_assert(alignof(MIB_IPADDRTABLE) <= alignof(DWORD));

  MIB_IPADDRTABLE* Table() { return reinterpret_cast<MIB_IPADDRTABLE*>(words_.data()); }

  std::vector<DWORD> words_;
};

class IpHelperAddresses final : public NetworkAddresses {
 public:
  std::optional<std::vector<AddressRow>> Addresses() override {
    AddressTable table;
    if (table.Load() != NO_ERROR) return std::nullopt;
    return table.Rows();
  }

  std::optional<InterfaceRow> Interface(std::uint32_t interfaceIndex) override {
    MIB_IFROW system = {};
    system.dwIndex = interfaceIndex;
    if (GetIfEntry(&system) != NO_ERROR) return std::nullopt;
    InterfaceRow row;
    row.adminStatus = system.dwAdminStatus;
    row.type = system.dwType;
    row.physicalAddressLength = std::min<std::size_t>(system.dwPhysAddrLen, MAXLEN_PHYSADDR);
    std::copy_n(system.bPhysAddr, row.physicalAddressLength, row.physicalAddress.begin());
    return row;
  }

  std::vector<InterfaceDetails> Details() override {
    std::vector<InterfaceDetails> all;
    const std::vector<std::uint64_t> memory = Adapters();
    const auto* adapter =
        memory.empty() ? nullptr : reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(memory.data());
    for (; adapter != nullptr; adapter = adapter->Next) {
      InterfaceDetails details;
      details.index = adapter->IfIndex != 0 ? adapter->IfIndex : adapter->Ipv6IfIndex;
      details.name = adapter->FriendlyName;
      details.isUp = adapter->OperStatus == IfOperStatusUp || adapter->OperStatus == IfOperStatusDormant ||
                     adapter->OperStatus == IfOperStatusLowerLayerDown;
      details.hasCarrier = adapter->OperStatus == IfOperStatusUp;
      details.isLoopback = adapter->IfType == IF_TYPE_SOFTWARE_LOOPBACK;
      details.isPointToPoint = adapter->IfType == IF_TYPE_PPP || adapter->IfType == IF_TYPE_TUNNEL;
      for (const auto* each = adapter->FirstUnicastAddress; each != nullptr; each = each->Next) {
        const sockaddr* const address = each->Address.lpSockaddr;
        details.hasIpv4 |= address->sa_family == AF_INET;
        details.hasIpv6 |= address->sa_family == AF_INET6 && !IsLinkLocal(address);
      }
      all.push_back(std::move(details));
    }
    return all;
  }

 private:
  static bool IsLinkLocal(const sockaddr* address) {
    const auto* const inet = reinterpret_cast<const sockaddr_in6*>(address);
    return inet->sin6_addr.u.Byte[0] == 0xFE && (inet->sin6_addr.u.Byte[1] & 0xC0) == 0x80;
  }

  /// The system's list, in a buffer of the right size and alignment; empty if the system cannot make it.
  static std::vector<std::uint64_t> Adapters() {
    constexpr ULONG kFlags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
    constexpr int kAttempts = 4;
    ULONG size = 16 * 1024;
    std::vector<std::uint64_t> memory;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      memory.assign(size / sizeof(std::uint64_t) + 1, 0);
      const ULONG result = GetAdaptersAddresses(
          AF_UNSPEC, kFlags, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(memory.data()), &size);
      if (result == NO_ERROR) return memory;
      if (result != ERROR_BUFFER_OVERFLOW) break;
    }
    return {};
  }
};

}  // namespace

std::optional<std::uint32_t> InterfaceIndexOfName(const std::wstring& name) {
  NET_LUID luid = {};
  NET_IFINDEX index = 0;
  const bool found = ConvertInterfaceAliasToLuid(name.c_str(), &luid) == NO_ERROR &&
                     ConvertInterfaceLuidToIndex(&luid, &index) == NO_ERROR;
  if (!found) return std::nullopt;
  return index;
}

NetworkAddresses& SystemNetworkAddresses() {
  static IpHelperAddresses addresses;
  return addresses;
}

}  // namespace kellanseek::platform
