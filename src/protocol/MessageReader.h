#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "protocol/Message.h"

namespace kellanseek::protocol {

struct ParseResult {
  enum class Outcome : std::uint8_t {
    Accepted,
    Dropped,         ///< No header, or a target address longer than any address.
    LengthMismatch,  ///< The stated length differs from the received one.
  };
  Outcome outcome = Outcome::Dropped;
  std::uint32_t claimedLength = 0;
  std::size_t textLength = 0;  ///< Up to the first NUL byte.
};

/// Parses a datagram of `receivedLength` bytes; `text` may be shorter, and is read up to its first NUL byte.
/// Overwrites `message`. Skips malformed fields. A pure function that allocates only the texts of the
/// message. Thread-safe.
ParseResult ParseMessage(std::string_view text, std::size_t receivedLength, Message& message);

}  // namespace kellanseek::protocol
