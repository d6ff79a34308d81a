#include "platform/HostProbe.h"

#include <linux/errqueue.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <system_error>

#include <kellanseek/com.h>

#include "platform/linux/Descriptor.h"
#include "platform/linux/FileText.h"
#include "platform/linux/HostProbeParts.h"

namespace kellanseek::platform {
namespace {

std::string ContentOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The owner of each socket, by inode, as far as this user may see the descriptors of processes.
class SocketOwners {
 public:
  explicit SocketOwners(const std::vector<UdpRow>& rows) {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", ignored)) {
      const std::string id = entry.path().filename().string();
      if (id.find_first_not_of("0123456789") != std::string::npos) continue;
      for (const auto& link : std::filesystem::directory_iterator(entry.path() / "fd", ignored)) {
        const std::string target = std::filesystem::read_symlink(link.path(), ignored).string();
        for (const UdpRow& row : rows)
          if (target == "socket:[" + row.inode + "]") byInode_[row.inode] = id;
      }
    }
  }

  void Describe(const std::string& inode, PortHolder& holder) const {
    const auto found = byInode_.find(inode);
    if (found == byInode_.end()) return;
    holder.processId = static_cast<std::uint32_t>(std::strtoul(found->second.c_str(), nullptr, 10));
    holder.program = ContentOf("/proc/" + found->second + "/comm");
    while (!holder.program.empty() && holder.program.back() == '\n') holder.program.pop_back();
  }

 private:
  std::map<std::string, std::string> byInode_;
};

struct RouteRequest {
  nlmsghdr header{};
  rtmsg route{};
  rtattr attribute{};
  Ipv4 destination = 0;
};

Route::Kind KindOfRefusal(int error) {
  switch (error) {
    case ENETUNREACH: return Route::Kind::None;
    case EACCES:
    case EHOSTUNREACH:
    case EINVAL: return Route::Kind::Prohibited;
    default: return Route::Kind::Unknown;
  }
}

/// The router that has reported the last error of a socket; 0 if it was this host, which answers itself in a
/// router's place when a neighbour does not say its hardware address.
Ipv4 ReporterOf(int socket) {
  alignas(cmsghdr) std::array<char, 512> control{};
  msghdr message{};
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  if (::recvmsg(socket, &message, MSG_ERRQUEUE | MSG_DONTWAIT) < 0) return 0;
  for (cmsghdr* each = CMSG_FIRSTHDR(&message); each != nullptr; each = CMSG_NXTHDR(&message, each)) {
    struct {
      sock_extended_err error;
      sockaddr_in offender;
    } report{};
    if (each->cmsg_level != IPPROTO_IP || each->cmsg_type != IP_RECVERR ||
        each->cmsg_len < CMSG_LEN(sizeof report))
      continue;
    std::memcpy(&report, CMSG_DATA(each), sizeof report);
    const Ipv4 offender = report.offender.sin_addr.s_addr;
    if (report.error.ee_origin == SO_EE_ORIGIN_ICMP && RouteTo(offender).kind != Route::Kind::Local)
      return offender;
  }
  return 0;
}

Reply::Kind KindOfFailure(int error) {
  switch (error) {
    case ECONNREFUSED: return Reply::Kind::PortClosed;
    case EHOSTUNREACH:
    case ENETUNREACH:
    case EHOSTDOWN: return Reply::Kind::HostUnreachable;
    default: return Reply::Kind::SendRefused;
  }
}

}  // namespace

std::vector<PortHolder> HoldersOfUdpPort(std::uint16_t port) {
  std::vector<PortHolder> holders;
  const std::vector<UdpRow> rows = UdpRowsOf(port, ContentOf("/proc/net/udp"));
  const SocketOwners owners(rows);
  for (const UdpRow& row : rows)
    owners.Describe(row.inode, holders.emplace_back(PortHolder{row.address, 0, {}}));
  return holders;
}

Route RouteTo(Ipv4 destination) {
  const Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  RouteRequest request;
  request.header.nlmsg_len = sizeof request;
  request.header.nlmsg_type = RTM_GETROUTE;
  request.header.nlmsg_flags = NLM_F_REQUEST;
  request.route.rtm_family = AF_INET;
  request.route.rtm_dst_len = 32;
  request.attribute.rta_type = RTA_DST;
  request.attribute.rta_len = RTA_LENGTH(sizeof(Ipv4));
  request.destination = destination;
  if (!socket || ::send(socket.get(), &request, sizeof request, 0) < 0) return {};
  alignas(nlmsghdr) std::array<char, 4096> buffer{};
  const ssize_t size = ::recv(socket.get(), buffer.data(), buffer.size(), 0);
  const auto* const header = reinterpret_cast<const nlmsghdr*>(buffer.data());
  if (size < 0 || !NLMSG_OK(header, static_cast<std::size_t>(size))) return {};
  if (header->nlmsg_type != NLMSG_ERROR) return RouteIn(header);
  return {KindOfRefusal(-static_cast<const nlmsgerr*>(NLMSG_DATA(header))->error), 0, 0};
}

NeighbourState NeighbourStateOf(Ipv4 address) {
  return NeighbourStateIn(ContentOf("/proc/net/arp"), address);
}

Reply Ask(Ipv4 address, std::uint16_t port, std::string_view datagram, std::chrono::milliseconds timeout) {
  // Only a connected socket hears of the refusals that routers and the other host send back.
  const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_addr.s_addr = address;
  peer.sin_port = htons(port);
  // Without this option the system keeps it to itself that a router knows no way.
  const int on = 1;
  if (socket) ::setsockopt(socket.get(), IPPROTO_IP, IP_RECVERR, &on, sizeof on);
  const auto begin = std::chrono::steady_clock::now();
  if (!socket || ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0 ||
      ::send(socket.get(), datagram.data(), datagram.size(), MSG_NOSIGNAL) < 0)
    return {KindOfFailure(errno), {}, {}, errno};
  pollfd ready{socket.get(), POLLIN, 0};
  if (::poll(&ready, 1, static_cast<int>(timeout.count())) <= 0) return {};
  const auto delay = std::chrono::steady_clock::now() - begin;
  std::array<char, 2048> buffer{};
  const ssize_t size = ::recv(socket.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (size < 0) {
    const int error = errno;
    return {KindOfFailure(error), {}, {}, error, ReporterOf(socket.get())};
  }
  return {Reply::Kind::Answer, std::string(buffer.data(), static_cast<std::size_t>(size)),
          std::chrono::duration_cast<std::chrono::milliseconds>(delay), 0};
}

HostKind KindOfHost() {
  std::string version = ContentOf("/proc/version");
  std::transform(version.begin(), version.end(), version.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  if (version.find("microsoft") != std::string::npos) return HostKind::WindowsSubsystem;
  std::error_code ignored;
  for (const char* mark : {"/.dockerenv", "/run/.containerenv", "/run/systemd/container"})
    if (std::filesystem::exists(mark, ignored)) return HostKind::Container;
  return HostKind::Ordinary;
}

std::string HostName() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) return {};
  return name.data();
}

std::string RouteLines() { return RouteLinesIn(ContentOf("/proc/net/route")); }

std::string NeighbourLines() { return NeighbourLinesIn(ContentOf("/proc/net/arp")); }

ResourceUse ResourcesOfProcess() {
  ResourceUse use;
  const auto limit = [](auto resource) -> std::uint64_t {
    rlimit found{};
    return ::getrlimit(resource, &found) != 0 || found.rlim_cur == RLIM_INFINITY ? 0 : found.rlim_cur;
  };
  use.openFilesLimit = limit(RLIMIT_NOFILE);
  use.threadsLimit = limit(RLIMIT_NPROC);
  std::error_code error;
  const std::filesystem::directory_iterator none;
  const std::filesystem::directory_iterator files("/proc/self/fd", error);
  // The directory itself is one of them.
  use.openFiles = IsOutOfFiles(error.value()) ? use.openFilesLimit
                  : error                     ? 0
                                              : static_cast<std::uint64_t>(std::distance(files, none)) - 1;
  const std::filesystem::directory_iterator threads("/proc/self/task", error);
  use.threads = error ? 0 : static_cast<std::uint64_t>(std::distance(threads, none));
  return use;
}

RegistryFiles RegistryFilesInUse() {
  return RegistryFilesAmong(com::RegistryStorePath(), com::kMachineRegistryPath);
}

// There is no firewall that belongs to every system; the doctor finds by trying what a firewall does.
HostFirewall FirewallFor(const std::vector<std::uint16_t>& /*ports*/) { return {}; }

std::string TextOfError(int error) { return ToUtf8(ErrorText(error)); }

bool IsOutOfFiles(int error) { return error == EMFILE || error == ENFILE; }

}  // namespace kellanseek::platform
