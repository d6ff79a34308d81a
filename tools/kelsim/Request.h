#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Ipv4.h"
#include "protocol/Message.h"

namespace kellanseek::kelsim {

using protocol::MessageType;

/// A workstation's request. Texts are in the ANSI code page.
struct Request {
  MessageType type = MessageType::FullRequestMsg;
  platform::Ipv4 target = platform::kNoAddress;  ///< Of a targeted request: the controller's address.
  std::string systemId = {};  ///< Of a targeted request: its system identity, unless empty.
};

/// Reads a request. Returns nullopt for any other datagram.
std::optional<Request> ReadRequest(std::string_view datagram);

}  // namespace kellanseek::kelsim
