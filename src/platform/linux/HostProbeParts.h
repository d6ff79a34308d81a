#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <linux/netlink.h>

#include "platform/HostProbe.h"

namespace kellanseek::platform {

// What the system's tables and messages say. A line that is not of the expected form is passed over.

/// A socket of the table of UDP sockets.
struct UdpRow {
  Ipv4 address{};
  std::string inode;
};
std::vector<UdpRow> UdpRowsOf(std::uint16_t port, const std::string& table);

/// From the table of neighbours.
NeighbourState NeighbourStateIn(const std::string& table, Ipv4 address);
std::string NeighbourLinesIn(const std::string& table);

/// From the table of routes.
std::string RouteLinesIn(const std::string& table);

/// From the answer to a question for a route, a whole message.
Route RouteIn(const nlmsghdr* header);

/// For a program that reads the registry file `read`, on a host where `machine` is that of all users.
RegistryFiles RegistryFilesAmong(const std::string& read, const std::string& machine);

}  // namespace kellanseek::platform
