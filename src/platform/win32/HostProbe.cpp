#include "platform/HostProbe.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

#include "platform/win32/DatagramSocket.h"
#include "platform/win32/System.h"
#include "text/Utf8.h"

#include <iphlpapi.h>

namespace kellanseek::platform {
namespace {

std::string ProgramOf(DWORD processId) {
  const HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId);
  if (process == nullptr) return {};
  std::array<wchar_t, MAX_PATH> path{};
  auto size = static_cast<DWORD>(path.size());
  const bool known = QueryFullProcessImageNameW(process, 0, path.data(), &size) != FALSE;
  CloseHandle(process);
  if (!known) return {};
  const std::wstring_view full(path.data(), size);
  return text::ToUtf8(full.substr(full.rfind(L'\\') + 1));
}

/// A connected socket, closed with its owner.
class ConnectedSocket {
 public:
  ConnectedSocket(Ipv4 address, std::uint16_t port) : socket_(MakeDatagramSocket()) {
    if (socket_ == INVALID_SOCKET) {
      error_ = WSAGetLastError();
      return;
    }
    sockaddr_in peer = {};
    peer.sin_family = AF_INET;
    peer.sin_addr.s_addr = address;
    peer.sin_port = htons(port);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0)
      error_ = WSAGetLastError();
  }
  ~ConnectedSocket() {
    if (socket_ != INVALID_SOCKET) closesocket(socket_);
  }
  ConnectedSocket(const ConnectedSocket&) = delete;
  ConnectedSocket& operator=(const ConnectedSocket&) = delete;

  SOCKET Get() const { return socket_; }
  int Error() const { return error_; }

 private:
  SOCKET socket_;
  int error_ = 0;
};

Reply::Kind KindOfFailure(int error) {
  switch (error) {
    case WSAECONNRESET:
    case WSAECONNREFUSED: return Reply::Kind::PortClosed;
    case WSAEHOSTUNREACH:
    case WSAENETUNREACH:
    case WSAENETRESET: return Reply::Kind::HostUnreachable;
    default: return Reply::Kind::SendRefused;
  }
}

/// A table of the system, read by `read(table, &size)`; empty if the system refuses.
template <typename Read>
std::vector<std::uint64_t> TableOf(Read read) {
  ULONG size = 0;
  read(nullptr, &size);
  // The table may grow between the two calls.
  std::vector<std::uint64_t> memory(size / sizeof(std::uint64_t) + 64);
  size = static_cast<ULONG>(memory.size() * sizeof(std::uint64_t));
  if (read(memory.data(), &size) != NO_ERROR) memory.clear();
  return memory;
}

Reply Failure(int error) { return {KindOfFailure(error), {}, {}, error}; }

}  // namespace

std::vector<PortHolder> HoldersOfUdpPort(std::uint16_t port) {
  const std::vector<std::uint64_t> memory = TableOf([](void* table, ULONG* size) {
    return GetExtendedUdpTable(table, size, FALSE, AF_INET, UDP_TABLE_OWNER_PID, 0);
  });
  if (memory.empty()) return {};
  const auto* const table = reinterpret_cast<const MIB_UDPTABLE_OWNER_PID*>(memory.data());
  std::vector<PortHolder> holders;
  for (DWORD i = 0; i < table->dwNumEntries; ++i) {
    const MIB_UDPROW_OWNER_PID& row = table->table[i];
    if (ntohs(static_cast<std::uint16_t>(row.dwLocalPort)) != port) continue;
    holders.push_back({row.dwLocalAddr, row.dwOwningPid, ProgramOf(row.dwOwningPid)});
  }
  return holders;
}

Route RouteTo(Ipv4 destination) {
  MIB_IPFORWARDROW row = {};
  const DWORD result = GetBestRoute(destination, 0, &row);
  if (result == ERROR_NETWORK_UNREACHABLE || result == ERROR_HOST_UNREACHABLE || result == ERROR_NOT_FOUND)
    return {Route::Kind::None, 0, 0};
  if (result != NO_ERROR) return {};
  Route route;
  constexpr DWORD kDirect = 3;
  route.kind = row.dwForwardType == kDirect ? Route::Kind::OnLink : Route::Kind::Gateway;
  if (route.kind == Route::Kind::Gateway) route.gateway = row.dwForwardNextHop;
  return route;
}

NeighbourState NeighbourStateOf(Ipv4 address) {
  const std::vector<std::uint64_t> memory = TableOf([](void* table, ULONG* size) {
    return GetIpNetTable(static_cast<MIB_IPNETTABLE*>(table), size, FALSE);
  });
  if (memory.empty()) return NeighbourState::Unknown;
  const auto* const table = reinterpret_cast<const MIB_IPNETTABLE*>(memory.data());
  for (DWORD i = 0; i < table->dwNumEntries; ++i) {
    if (table->table[i].dwAddr != address) continue;
    const MIB_IPNETROW& row = table->table[i];
    constexpr DWORD kInvalid = 2;
    const BYTE* const end = row.bPhysAddr + std::min<DWORD>(row.dwPhysAddrLen, MAXLEN_PHYSADDR);
    // An entry that waits for an answer has no hardware address yet.
    const bool isKnown = std::any_of(row.bPhysAddr, end, [](BYTE each) { return each != 0; });
    return row.dwType == kInvalid || !isKnown ? NeighbourState::Silent : NeighbourState::Answered;
  }
  return NeighbourState::Unknown;
}

Reply Ask(Ipv4 address, std::uint16_t port, std::string_view datagram, std::chrono::milliseconds timeout) {
  const ConnectedSocket socket(address, port);
  if (socket.Error() != 0) return Failure(socket.Error());
  const ULONGLONG begin = GetTickCount64();
  if (send(socket.Get(), datagram.data(), static_cast<int>(datagram.size()), 0) == SOCKET_ERROR)
    return Failure(WSAGetLastError());
  fd_set ready;
  FD_ZERO(&ready);
  FD_SET(socket.Get(), &ready);
  timeval limit = {static_cast<long>(timeout.count() / 1000),
                   static_cast<long>(timeout.count() % 1000 * 1000)};
  // A refusal may count as an exception rather than as something to read.
  fd_set refused = ready;
  if (select(0, &ready, nullptr, &refused, &limit) <= 0) {
    int error = 0;
    int size = sizeof error;
    getsockopt(socket.Get(), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
    return error == 0 ? Reply() : Failure(error);
  }
  std::array<char, 2048> buffer{};
  const int size = recv(socket.Get(), buffer.data(), static_cast<int>(buffer.size()), 0);
  if (size == SOCKET_ERROR) return Failure(WSAGetLastError());
  return {Reply::Kind::Answer, std::string(buffer.data(), static_cast<std::size_t>(size)),
          std::chrono::milliseconds(GetTickCount64() - begin), 0};
}

HostKind KindOfHost() { return HostKind::Ordinary; }

std::string HostName() {
  std::array<wchar_t, 256> name{};
  auto size = static_cast<DWORD>(name.size());
  if (GetComputerNameExW(ComputerNameDnsHostname, name.data(), &size) == FALSE) return {};
  return text::ToUtf8({name.data(), size});
}

std::string RouteLines() {
  const auto read = [](void* table, ULONG* size) {
    return GetIpForwardTable(static_cast<MIB_IPFORWARDTABLE*>(table), size, TRUE);
  };
  const std::vector<std::uint64_t> memory = TableOf(read);
  if (memory.empty()) return {};
  const auto* const table = reinterpret_cast<const MIB_IPFORWARDTABLE*>(memory.data());
  std::string lines;
  for (DWORD i = 0; i < table->dwNumEntries; ++i) {
    const MIB_IPFORWARDROW& row = table->table[i];
    lines += FormatIpv4(row.dwForwardDest) + " mask " + FormatIpv4(row.dwForwardMask) + " by way of " +
             FormatIpv4(row.dwForwardNextHop) + " on interface " + std::to_string(row.dwForwardIfIndex) +
             " metric " + std::to_string(row.dwForwardMetric1) + "\n";
  }
  return lines;
}

std::string NeighbourLines() {
  const auto read = [](void* table, ULONG* size) {
    return GetIpNetTable(static_cast<MIB_IPNETTABLE*>(table), size, TRUE);
  };
  const std::vector<std::uint64_t> memory = TableOf(read);
  if (memory.empty()) return {};
  const auto* const table = reinterpret_cast<const MIB_IPNETTABLE*>(memory.data());
  std::string lines;
  for (DWORD i = 0; i < table->dwNumEntries; ++i) {
    const MIB_IPNETROW& row = table->table[i];
    std::string mac;
    for (DWORD byte = 0; byte < std::min<DWORD>(row.dwPhysAddrLen, MAXLEN_PHYSADDR); ++byte) {
      std::array<char, 4> digits{};
      std::snprintf(digits.data(), digits.size(), "%02x", row.bPhysAddr[byte]);
      mac += (mac.empty() ? "" : "-") + std::string(digits.data());
    }
    lines += FormatIpv4(row.dwAddr) + " " + (mac.empty() ? "does not answer" : mac) + " on interface " +
             std::to_string(row.dwIndex) + "\n";
  }
  return lines;
}

// Windows limits handles by memory only, and has no such limit for threads.
ResourceUse ResourcesOfProcess() { return {}; }

RegistryFiles RegistryFilesInUse() { return {}; }

bool IsOutOfFiles(int error) { return error == WSAEMFILE; }

std::string TextOfError(int error) { return text::ToUtf8(SystemMessage(static_cast<DWORD>(error))); }

}  // namespace kellanseek::platform
