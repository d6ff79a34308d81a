#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Ipv4.h"

namespace kellanseek::kelsim {

/// The types of messages.
enum class MessageType : std::uint32_t {
  Identity = 1,
  Presence = 2,
  Restart = 3,
  PowerDown = 4,
  FullRequest = 5,
  TargetedRequest = 6,
  RefreshRequest = 7,
};

/// The fields of a message.
enum class Tag : std::uint32_t {
  Name = 0x1,
  CtrlId = 0x2,
  SystemName = 0x3,
  SystemId = 0x4,
  ReleasePath = 0x5,
  VersionMajor = 0x7,
  VersionMinor = 0x8,
  MacAddress = 0x9,
  TargetAddress = 0xa,
  CommPort = 0xb,
  Level = 0xc,
  OwnAddress = 0xe,
  VersionRevision = 0xf,
  CompatibilityRevision = 0x10,
  Kind = 0x11,
};

/// Workstations reject longer datagrams.
inline constexpr std::size_t kMaxDatagram = 1000;

/// Builds a datagram with its fields in the order of the calls. Texts must be in the ANSI code page and
/// contain no semicolon.
class DatagramWriter {
 public:
  explicit DatagramWriter(MessageType type);

  /// Omits the field if the text is empty.
  DatagramWriter& Text(Tag tag, std::string_view value);
  DatagramWriter& Number(Tag tag, std::uint32_t value);

  /// Returns the datagram, with its own length in two hexadecimal digits, or three if necessary. Returns an
  /// empty text if it would be longer than kMaxDatagram.
  std::string Take() const;

 private:
  std::string rest_;  ///< Everything after the length.
};

/// A workstation's request.
struct Request {
  MessageType type = MessageType::FullRequest;
  platform::Ipv4 target = platform::kNoAddress;  ///< Of a targeted request: the controller's address.
  std::string_view systemId = {};  ///< Of a targeted request: its system identity, unless empty.
};

/// Reads a request. Returns nullopt for anything except a well-formed request. The result refers to `text`.
std::optional<Request> ReadRequest(std::string_view text);

}  // namespace kellanseek::kelsim
