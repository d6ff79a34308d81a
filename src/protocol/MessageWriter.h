#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/Message.h"

namespace kellanseek::protocol {

/// Builds datagrams: the magic, the total length in a fixed number of lowercase hexadecimal digits, the type,
/// and fields in the order in which they are appended. Texts must be in the ANSI code page.
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

  /// Fills in the length and returns the datagram. Returns an empty text if the length needs more digits.
  std::string Take();

 private:
  void AppendTag(std::uint32_t tag);

  std::size_t leastDigits_;
  std::size_t mostDigits_;
  std::string text_;  ///< Everything behind the length.
};

/// A request to all controllers: FullRequestMsg or RefreshRequestMsg.
std::string BuildRequest(MessageType type);

/// A request to the controller at `address`. A remote virtual controller also needs its system identity;
/// empty for any other. Texts must be in the ANSI code page. Returns an empty text if the request is too
/// long.
std::string BuildTargetedRequest(std::string_view address, std::string_view systemID);

/// Limit for the address text in a request, in bytes; longer ones are truncated.
inline constexpr std::size_t kMaxRequestAddress = 100;

}  // namespace kellanseek::protocol
