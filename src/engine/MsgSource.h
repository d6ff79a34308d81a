#pragma once

#include <cstdint>
#include <optional>

#include "controllers/InterfaceIndex.h"
#include "platform/Ipv4.h"

namespace kellanseek::engine {

/// The source of a message.
enum class MsgSource : std::int32_t {
  FromRequestSocket = 0,   ///< An interface's request socket: requests of other workstations.
  FromResponseSocket = 1,  ///< An interface's response socket: answers to this component's broadcasts.
  FromNonLocalSocket = 2,  ///< Answers of controllers asked by address.
  FromLocalVC = 3,         ///< Passed in by a virtual controller of this host.
};

/// A message's source and, for the two sources that have one, its interface.
struct MessageOrigin {
  MsgSource source = MsgSource::FromLocalVC;
  std::optional<controllers::InterfaceIndex> interfaceIndex;
  platform::Ipv4 interfaceAddress{};  ///< The interface's address; 0 without an interface.
  std::uint64_t received{};           ///< When, in monotonic milliseconds.
};

}  // namespace kellanseek::engine
