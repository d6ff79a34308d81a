#include "platform/linux/HostProbeParts.h"

#include <linux/rtnetlink.h>
#include <net/route.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <string_view>

#include <kellanseek/KelLanSeek.h>

namespace kellanseek::platform {
namespace {

struct Neighbour {
  std::string address;
  std::string mac;
  std::string device;
  bool answered;
};

std::vector<Neighbour> NeighboursIn(const std::string& table) {
  std::vector<Neighbour> neighbours;
  std::istringstream lines(table);
  std::string line;
  std::getline(lines, line);  // The headings.
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    Neighbour each;
    std::string type;
    std::string flags;
    std::string mask;
    if (!(fields >> each.address >> type >> flags >> each.mac >> mask >> each.device)) continue;
    each.answered = flags != "0x0";
    neighbours.push_back(std::move(each));
  }
  return neighbours;
}

/// The module of the component that a registry file names; empty if it names none.
std::string ModuleIn(const std::string& registry) {
  const auto store = com::ReadRegistryStore(registry);
  if (!store) return {};
  const std::string key = "HKEY_CLASSES_ROOT\\CLSID\\" + com::GuidText(CLSID_KelLanSeek) + "\\InprocServer32";
  return std::string(com::FindRegistryValue(*store, key, {}).value_or(""));
}

}  // namespace

std::vector<UdpRow> UdpRowsOf(std::uint16_t port, const std::string& table) {
  std::vector<UdpRow> rows;
  std::istringstream lines(table);
  std::string line;
  while (std::getline(lines, line)) {
    unsigned address{};
    unsigned local{};
    unsigned long inode{};
    const int found =
        std::sscanf(line.c_str(), " %*d: %8X:%4X %*s %*s %*s %*s %*s %*s %*s %lu", &address, &local, &inode);
    if (found == 3 && local == port) rows.push_back({address, std::to_string(inode)});
  }
  return rows;
}

NeighbourState NeighbourStateIn(const std::string& table, Ipv4 address) {
  for (const Neighbour& each : NeighboursIn(table)) {
    if (ParseIpv4(each.address) != address) continue;
    return each.answered ? NeighbourState::Answered : NeighbourState::Silent;
  }
  return NeighbourState::Unknown;
}

std::string NeighbourLinesIn(const std::string& table) {
  std::string text;
  for (const Neighbour& each : NeighboursIn(table)) {
    text.append(each.address).append(" ").append(each.answered ? each.mac : "does not answer");
    text.append(" on ").append(each.device).append("\n");
  }
  return text;
}

std::string RouteLinesIn(const std::string& table) {
  std::istringstream lines(table);
  std::string line;
  std::string text;
  while (std::getline(lines, line)) {
    char device[32] = {};
    unsigned destination{};
    unsigned gateway{};
    unsigned flags{};
    unsigned metric{};
    unsigned mask{};
    constexpr int kFields = 6;  // Fewer in the headings.
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

RegistryFiles RegistryFilesAmong(const std::string& read, const std::string& machine) {
  RegistryFiles files{read, {}, ModuleIn(read), {}};
  if (read == machine || ::access(machine.c_str(), F_OK) != 0) return files;
  files.passedOver = machine;
  files.passedOverModule = ModuleIn(machine);
  return files;
}

}  // namespace kellanseek::platform
