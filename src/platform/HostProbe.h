#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Ipv4.h"

namespace kellanseek::platform {

// Questions about this host and its surroundings that a technician asks when a controller is missing. None
// needs special rights; an answer that does is left out without them. All functions are thread-safe.

/// A program that holds a UDP port.
struct PortHolder {
  Ipv4 address{};             ///< The local address; 0 for all.
  std::uint32_t processId{};  ///< 0 if the system does not tell.
  std::string program;        ///< Its name in UTF-8; empty if the system does not tell.
};
/// Everybody who holds the port, in the system's order.
std::vector<PortHolder> HoldersOfUdpPort(std::uint16_t port);

/// The way that datagrams to an address take.
struct Route {
  enum class Kind {
    Local,       ///< The address is this host's own.
    OnLink,      ///< Directly, on a local network.
    Gateway,     ///< Through a router.
    None,        ///< The host has no route.
    Prohibited,  ///< A route that forbids it, or drops the datagrams.
    Unknown,     ///< The system does not tell.
  };
  Kind kind = Kind::Unknown;
  Ipv4 gateway{};
  Ipv4 source{};  ///< The local address that datagrams leave with.
};
Route RouteTo(Ipv4 destination);

/// Whether a host on a local network has answered the question for its hardware address.
enum class NeighbourState { Unknown, Answered, Silent };
NeighbourState NeighbourStateOf(Ipv4 address);

/// The outcome of a question to one address.
struct Reply {
  enum class Kind {
    Answer,           ///< `datagram` is the answer, which came after `delay`.
    PortClosed,       ///< The host is there and refuses: nobody serves the port.
    HostUnreachable,  ///< This host or a router knows no way to it, or it does not answer there.
    SendRefused,      ///< The system does not let the question out; see `error`.
    Silent,           ///< Nothing came back in time.
  };
  Kind kind = Kind::Silent;
  std::string datagram;
  std::chrono::milliseconds delay{};
  int error{};    ///< The system's code, for all but Answer and Silent.
  Ipv4 router{};  ///< Who says HostUnreachable; 0 if it was this host itself, or if the system does not tell.
};
/// Sends a datagram and waits for an answer from that address and port.
Reply Ask(Ipv4 address, std::uint16_t port, std::string_view datagram, std::chrono::milliseconds timeout);

/// What kind of host this is, as far as it matters for broadcasts.
enum class HostKind { Ordinary, Container, WindowsSubsystem };
HostKind KindOfHost();

/// The name of this host, in UTF-8; empty if the system does not tell.
std::string HostName();

/// The host's routes and the neighbours whose hardware addresses it knows, one a line, for people. Empty if
/// the system does not tell.
std::string RouteLines();
std::string NeighbourLines();

/// What this process uses of what the system allows it. 0 for what the system does not tell.
struct ResourceUse {
  std::uint64_t openFiles{};
  std::uint64_t openFilesLimit{};
  std::uint64_t threads{};
  std::uint64_t threadsLimit{};  ///< For all processes of the user together.
};
ResourceUse ResourcesOfProcess();

/// The files in which programs of this user look for registered components. Both empty where the system has
/// a registry.
struct RegistryFiles {
  std::string read;
  std::string passedOver;   ///< The file of all users, if it exists and another one is read in its place.
  std::string module = {};  ///< Of the component, that `read` names; empty if it names none.
  std::string passedOverModule = {};  ///< The same of `passedOver`.
};
RegistryFiles RegistryFilesInUse();

/// What the firewall that belongs to the system says about itself.
struct HostFirewall {
  enum class Answer { Unknown, No, Yes };
  Answer isPublicNetwork = Answer::Unknown;  ///< The network in use counts as one of strangers.
  Answer isOn = Answer::Unknown;
  Answer letsIn = Answer::Unknown;  ///< This program hears on all the ports from senders it has not asked.
};
HostFirewall FirewallFor(const std::vector<std::uint16_t>& ports);

/// The system's text for an error code, in UTF-8.
std::string TextOfError(int error);
/// Whether the code says that the process or the host has no file descriptor left.
bool IsOutOfFiles(int error);

}  // namespace kellanseek::platform
