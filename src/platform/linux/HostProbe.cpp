#include "platform/HostProbe.h"

#include <dirent.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/route.h>
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
#include <sstream>
#include <system_error>

#include <kellanseek/KelLanSeek.h>

#include "platform/linux/Descriptor.h"
#include "platform/linux/FileText.h"

namespace kellanseek::platform {
namespace {

std::string ContentOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The owner of each socket, by inode, as far as this user may see the descriptors of processes.
class SocketOwners {
 public:
  explicit SocketOwners(const std::vector<std::string>& inodes) {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", ignored)) {
      const std::string id = entry.path().filename().string();
      if (id.find_first_not_of("0123456789") != std::string::npos) continue;
      for (const auto& link : std::filesystem::directory_iterator(entry.path() / "fd", ignored)) {
        const std::string target = std::filesystem::read_symlink(link.path(), ignored).string();
        for (const std::string& inode : inodes)
          if (target == "socket:[" + inode + "]") byInode_[inode] = id;
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

Route RouteIn(const nlmsghdr* header) {
  Route route;
  const auto* const message = static_cast<const rtmsg*>(NLMSG_DATA(header));
  route.kind = message->rtm_type == RTN_LOCAL ? Route::Kind::Local : Route::Kind::OnLink;
  auto left = static_cast<int>(RTM_PAYLOAD(header));
  for (const rtattr* each = RTM_RTA(message); RTA_OK(each, left); each = RTA_NEXT(each, left)) {
    if (RTA_PAYLOAD(each) < sizeof(Ipv4)) continue;
    Ipv4 address = 0;
    std::memcpy(&address, RTA_DATA(each), sizeof address);
    if (each->rta_type == RTA_GATEWAY) {
      route.kind = Route::Kind::Gateway;
      route.gateway = address;
    } else if (each->rta_type == RTA_PREFSRC) {
      route.source = address;
    }
  }
  return route;
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

/// The module of the component that a registry file names; empty if it names none.
std::string ModuleIn(const std::string& registry) {
  const auto store = com::ReadRegistryStore(registry);
  if (!store) return {};
  const std::string key = "HKEY_CLASSES_ROOT\\CLSID\\" + com::GuidText(CLSID_KelLanSeek) + "\\InprocServer32";
  return std::string(com::FindRegistryValue(*store, key, {}).value_or(""));
}

}  // namespace

std::vector<PortHolder> HoldersOfUdpPort(std::uint16_t port) {
  std::vector<PortHolder> holders;
  std::vector<std::string> inodes;
  std::ifstream table("/proc/net/udp");
  std::string line;
  while (std::getline(table, line)) {
    unsigned address{};
    unsigned local{};
    unsigned long inode = 0;
    const int found =
        std::sscanf(line.c_str(), " %*d: %8X:%4X %*s %*s %*s %*s %*s %*s %*s %lu", &address, &local, &inode);
    if (found != 3 || local != port) continue;
    holders.push_back({address, 0, {}});
    inodes.push_back(std::to_string(inode));
  }
  const SocketOwners owners(inodes);
  for (std::size_t i = 0; i < holders.size(); ++i) owners.Describe(inodes[i], holders[i]);
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
  std::ifstream table("/proc/net/arp");
  std::string line;
  std::getline(table, line);
  while (std::getline(table, line)) {
    std::istringstream fields(line);
    std::string text;
    std::string type;
    std::string flags;
    fields >> text >> type >> flags;
    if (ParseIpv4(text) != address) continue;
    return flags == "0x0" ? NeighbourState::Silent : NeighbourState::Answered;
  }
  return NeighbourState::Unknown;
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
  if (size < 0) return {KindOfFailure(errno), {}, {}, errno};
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

std::string RouteLines() {
  std::ifstream table("/proc/net/route");
  std::string line;
  std::getline(table, line);
  std::string text;
  while (std::getline(table, line)) {
    char device[32] = {};
    unsigned destination{};
    unsigned gateway{};
    unsigned flags{};
    unsigned metric{};
    unsigned mask{};
    constexpr int kFields = 6;
    if (std::sscanf(line.c_str(), "%31s %8X %8X %4X %*s %*s %u %8X", device, &destination, &gateway, &flags,
                    &metric, &mask) != kFields)
      continue;
    text += FormatIpv4(destination) + " mask " + FormatIpv4(mask);
    if ((flags & RTF_REJECT) != 0) text += " refused";
    if ((flags & RTF_GATEWAY) != 0) text += " by way of " + FormatIpv4(gateway);
    text += std::string(" on ") + device + " metric " + std::to_string(metric) + "\n";
  }
  return text;
}

std::string NeighbourLines() {
  std::ifstream table("/proc/net/arp");
  std::string line;
  std::getline(table, line);
  std::string text;
  while (std::getline(table, line)) {
    std::istringstream fields(line);
    std::string address;
    std::string type;
    std::string flags;
    std::string mac;
    std::string mask;
    std::string device;
    fields >> address >> type >> flags >> mac >> mask >> device;
    text.append(address).append(" ").append(flags == "0x0" ? "does not answer" : mac);
    text.append(" on ").append(device).append("\n");
  }
  return text;
}

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
  RegistryFiles files{com::RegistryStorePath(), {}, {}, {}};
  const bool others = files.read != com::kMachineRegistryPath;
  if (others && ::access(com::kMachineRegistryPath, F_OK) == 0) files.passedOver = com::kMachineRegistryPath;
  files.module = ModuleIn(files.read);
  if (!files.passedOver.empty()) files.passedOverModule = ModuleIn(files.passedOver);
  return files;
}

// There is no firewall that belongs to every system; the doctor finds by trying what a firewall does.
HostFirewall FirewallFor(const std::vector<std::uint16_t>& /*ports*/) { return {}; }

std::string TextOfError(int error) { return ToUtf8(ErrorText(error)); }

bool IsOutOfFiles(int error) { return error == EMFILE || error == ENFILE; }

}  // namespace kellanseek::platform
