#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "protocol/Message.h"

namespace kellanseek::protocol {

struct ParseResult {
  enum class Outcome : std::uint8_t {
    Accepted,
    Dropped,         ///< No header, or a target address longer than an address can be.
    LengthMismatch,  ///< The datagram claims another length than it has.
  };
  Outcome outcome = Outcome::Dropped;
  std::uint32_t claimedLength = 0;
  std::size_t textLength = 0;  ///< Up to the first NUL byte.
};

/// Reads a datagram of `receivedLength` bytes, of which `text` is all that counts (and it ends at a NUL byte
/// all the same), into `message`, whatever that held. Malformed fields are skipped. Pure; allocates nothing
/// but the message's texts. Any thread.
ParseResult ParseMessage(std::string_view text, std::size_t receivedLength, Message& message);

}  // namespace kellanseek::protocol
