#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/Ipv4.h"
#include "tools/kelsim/Request.h"

namespace kellanseek::kelsim {

/// Time since the start of the plant.
using Moment = std::chrono::milliseconds;

/// A simulated controller. Texts are in the ANSI code page, as on the wire.
struct Controller {
  std::uint32_t number = 0;  ///< Its number in scripts and messages.
  std::string name;
  std::string ctrlId;
  std::string systemName;
  std::string systemId;
  std::string releasePath;
  std::string macAddress;
  platform::Ipv4 address = 0;
  bool tellsAddress =
      true;  ///< Put the address into every datagram, because the sending host has another one.
  std::size_t speaker = 0;  ///< Index of the host address that it uses.

  bool powered = true;
  bool silent = false;
  std::uint32_t lossPercent = 0;                  ///< Percentage of its datagrams that get lost.
  std::optional<Moment> returns;                  ///< End of a restart in progress.
  std::optional<MessageType> announcementToCome;  ///< The broadcast that waits for its random delay.

  bool Speaks() const { return powered && !silent; }
};

/// Creates the controller with this number in its initial state.
Controller NewController(std::uint32_t number);

/// Builds its full identity, its short presence, or its notice of a restart or power-down.
std::string BuildDatagram(const Controller& controller, MessageType type);

}  // namespace kellanseek::kelsim
