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
  Ipv4 address = 0;
  Ipv4 mask = 0;
  std::uint32_t interfaceIndex = 0;
};

/// What the system says of one network interface.
struct InterfaceRow {
  std::uint32_t adminStatus = 0;  ///< kInterfaceUp when the administrator has it up.
  std::uint32_t type = 0;         ///< kLoopbackInterface for the software loopback.
  std::array<std::uint8_t, 32> physicalAddress = {};
  std::size_t physicalAddressLength = 0;  ///< Bytes of physicalAddress that hold the address.
};

inline constexpr std::uint32_t kInterfaceUp = 1;
inline constexpr std::uint32_t kLoopbackInterface = 24;

/// The host's IPv4 addresses and interfaces, in the system's own order. Callable from any thread.
class NetworkAddresses {
 public:
  virtual ~NetworkAddresses() = default;

  /// The address rows; none when the system could not say.
  virtual std::optional<std::vector<AddressRow>> Addresses() = 0;
  /// The interface row of an interface index; none when the system could not say.
  virtual std::optional<InterfaceRow> Interface(std::uint32_t interfaceIndex) = 0;
};

/// Tells, from its making on, when the host's addresses may have changed. For one thread, which need not be
/// the one that makes it.
class AddressChangeWatch {
 public:
  enum class Outcome { Changed, TimedOut, Woken, Stopped, Failed };

  virtual ~AddressChangeWatch() = default;

  /// Waits for an address change, one of the two events or the time-out. Changes before the first wait and
  /// between two are not missed: the next wait ends at once. Notices that arrive together end one wait.
  virtual Outcome Wait(Event& stop, Event& wake, std::chrono::milliseconds timeout) = 0;
};

NetworkAddresses& SystemNetworkAddresses();
/// The index of the interface that people know by this name ("eth0", "Ethernet 2"); none when there is none.
std::optional<std::uint32_t> InterfaceIndexOfName(const std::wstring& name);
/// None when the system refuses the notification.
std::unique_ptr<AddressChangeWatch> WatchAddressChanges();

}  // namespace kellanseek::platform
