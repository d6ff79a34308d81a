#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Event.h"
#include "platform/Ipv4.h"

namespace kellanseek::platform {

/// One IPv4 address of the host.
struct AddressRow {
  Ipv4 address{};
  Ipv4 mask{};
  std::uint32_t interfaceIndex{};
};

/// What decides about the use of a network interface.
struct InterfaceRow {
  std::uint32_t adminStatus{};  ///< kInterfaceUp if the administrator has enabled it.
  std::uint32_t type{};         ///< kLoopbackInterface for the software loopback.
  std::array<std::uint8_t, 32> physicalAddress = {};
  std::size_t physicalAddressLength{};  ///< Bytes of physicalAddress that hold the address.
};

/// What a report says about a network interface, also about one without an IPv4 address. Decides nothing.
struct InterfaceDetails {
  std::uint32_t index{};
  std::wstring name;  ///< As users know it: "eth0", "Ethernet 2".
  bool isUp{};        ///< The administrator has enabled it.
  bool hasCarrier{};  ///< A cable or a radio link is there.
  bool isLoopback{};
  bool isPointToPoint{};  ///< A tunnel or a modem, without neighbours.
  bool hasIpv4{};
  bool hasIpv6{};  ///< Other than its link-local address.
};

inline constexpr std::uint32_t kInterfaceUp = 1;
inline constexpr std::uint32_t kLoopbackInterface = 24;

/// The host's IPv4 addresses and interfaces, in the system's order. Thread-safe.
class NetworkAddresses {
 public:
  virtual ~NetworkAddresses() = default;

  /// The address rows; nullopt if the system cannot list them.
  virtual std::optional<std::vector<AddressRow>> Addresses() = 0;
  /// The row of an interface; nullopt if the system has none or cannot tell.
  virtual std::optional<InterfaceRow> Interface(std::uint32_t interfaceIndex) = 0;
  /// All interfaces, in no particular order. Empty if the system cannot list them.
  virtual std::vector<InterfaceDetails> Details() = 0;
};

/// Reports that the host's addresses may have changed since its construction or the last wait. For one
/// thread, which need not be the one that created it.
class AddressChangeWatch {
 public:
  enum class Outcome { Changed, TimedOut, Woken, Stopped, Failed };

  virtual ~AddressChangeWatch() = default;

  /// Waits for an address change, one of the two events or the time-out. A change between two waits, or
  /// before the first, ends the next wait at once. Several notices in quick succession end one wait.
  virtual Outcome Wait(Event& stop, Event& wake, std::chrono::milliseconds timeout) = 0;
};

NetworkAddresses& SystemNetworkAddresses();
/// The index of the interface with this display name ("eth0", "Ethernet 2"); nullopt if there is none.
std::optional<std::uint32_t> InterfaceIndexOfName(const std::wstring& name);
/// Returns null if the system refuses the notification.
std::unique_ptr<AddressChangeWatch> WatchAddressChanges();

}  // namespace kellanseek::platform
