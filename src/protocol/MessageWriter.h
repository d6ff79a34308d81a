#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/Message.h"

namespace kellanseek::protocol {

/// Builds datagrams: the magic, the length of the whole in a fixed number of lowercase hexadecimal digits,
/// the type, and fields in the order in which they are appended. Texts are in the ANSI code page.
class MessageWriter {
 public:
  /// Requests carry two length digits, which limits them to 255 bytes; our answers carry three. Controllers
  /// write two where they can.
  enum class LengthDigits { TwoOrThree, Two, Three };

  MessageWriter(LengthDigits digits, MessageType type);

  MessageWriter& Text(std::uint32_t tag, std::string_view value);
  MessageWriter& Number(std::uint32_t tag, std::uint32_t value);
  /// Fields that are written already, each with its tag and end.
  MessageWriter& Fields(std::string_view fields);

  /// Fills the length in and gives the datagram; empty when it is longer than its length digits can say.
  std::string Take();

 private:
  void AppendTag(std::uint32_t tag);

  std::size_t leastDigits_;
  std::size_t mostDigits_;
  std::string text_;  ///< Everything behind the length.
};

/// A request to all controllers (FullRequestMsg or RefreshRequestMsg).
std::string BuildRequest(MessageType type);

/// The request to the one controller at `address`; a remote virtual controller is named by its system
/// identity too (empty for any other). Texts are in the ANSI code page. Empty when the request would be too
/// long to be built.
std::string BuildTargetedRequest(std::string_view address, std::string_view systemID);

/// An address text in a request is cut to this many bytes.
inline constexpr std::size_t kMaxRequestAddress = 100;

}  // namespace kellanseek::protocol
