#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Ipv4.h"

namespace kellanseek::kelsim {

/// What a datagram is.
enum class MessageType : std::uint32_t {
  Identity = 1,
  Presence = 2,
  Restart = 3,
  PowerDown = 4,
  FullRequest = 5,
  TargetedRequest = 6,
  RefreshRequest = 7,
};

/// What a field of a datagram holds.
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

/// No workstation takes in a longer one.
inline constexpr std::size_t kMaxDatagram = 1000;

/// Builds one datagram, its fields in the order of the calls. Texts are in the ANSI code page and hold no
/// semicolon.
class DatagramWriter {
 public:
  explicit DatagramWriter(MessageType type);

  /// An empty text leaves the field out.
  DatagramWriter& Text(Tag tag, std::string_view value);
  DatagramWriter& Number(Tag tag, std::uint32_t value);

  /// The datagram with its own length in two hexadecimal digits, or three where two cannot hold it; empty
  /// when it would be longer than kMaxDatagram.
  std::string Take() const;

 private:
  std::string rest_;  ///< Everything behind the length.
};

/// A workstation's request.
struct Request {
  MessageType type = MessageType::FullRequest;
  platform::Ipv4 target = platform::kNoAddress;  ///< Of a targeted request: who is to answer.
  std::string_view systemId = {};                ///< Of a targeted request: its identity too, unless empty.
};

/// Reads a request; none for anything that is not a well-formed one. The result points into `text`.
std::optional<Request> ReadRequest(std::string_view text);

}  // namespace kellanseek::kelsim
