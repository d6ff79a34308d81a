#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/Ipv4.h"
#include "tools/kelsim/Datagram.h"

namespace kellanseek::kelsim {

/// Time since the plant was started.
using Moment = std::chrono::milliseconds;

/// One simulated controller. Texts are in the ANSI code page, as they are sent.
struct Controller {
  std::uint32_t number = 0;  ///< What people call it by.
  std::string name;
  std::string ctrlId;
  std::string systemName;
  std::string systemId;
  std::string releasePath;
  std::string macAddress;
  platform::Ipv4 address = 0;
  bool tellsAddress =
      true;  ///< The address goes into every datagram, since the host that sends has another one.
  std::size_t speaker = 0;  ///< The place at this host that it hears and speaks at.

  bool powered = true;
  bool silent = false;
  std::uint32_t lossPercent = 0;  ///< So many of its datagrams get lost.
  std::optional<Moment> returns;  ///< When a restart that is under way ends.
  std::optional<MessageType>
      announcementToCome;  ///< The broadcast that is waiting for its random delay to pass.

  bool Speaks() const { return powered && !silent; }
};

/// The controller with this number as it leaves the factory.
Controller NewController(std::uint32_t number);

/// Its full identity, or its short presence, or a notice that it restarts or powers down.
std::string BuildDatagram(const Controller& controller, MessageType type);

}  // namespace kellanseek::kelsim
