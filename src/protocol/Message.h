#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "controllers/Identity.h"

namespace kellanseek::protocol {

/// The types of datagrams.
enum class MessageType : std::uint32_t {
  CtrlInfoMsg = 1,         ///< A controller's full identity.
  CtrlAliveMsg = 2,        ///< A controller's short sign of life.
  CtrlRestartMsg = 3,      ///< A controller is restarting.
  CtrlPowerDownMsg = 4,    ///< A controller is powering down.
  FullRequestMsg = 5,      ///< Asks all controllers for their full identity.
  TargetedRequestMsg = 6,  ///< Asks the controller at the given address for its full identity.
  RefreshRequestMsg = 7,   ///< Asks all controllers for a sign of life.
};

/// The beginning of every datagram.
inline constexpr std::string_view kMagic = "Lanseek;";

/// Longer datagrams are rejected.
inline constexpr std::size_t kMaxDatagram = 1000;

/// A short address text that needs no allocation, as in tags a and e.
class AddressText {
 public:
  static constexpr std::size_t kMaxLength = 19;

  AddressText() = default;
  explicit AddressText(std::string_view text) { Assign(text); }

  /// Stores the first kMaxLength characters. Returns false if the text is longer.
  bool Assign(std::string_view text) {
    length_ = text.copy(text_.data(), kMaxLength);
    return text.size() <= kMaxLength;
  }
  std::string_view View() const { return {text_.data(), length_}; }

 private:
  std::array<char, kMaxLength> text_ = {};
  std::size_t length_ = 0;
};

/// The content of a datagram. Reusing the object saves allocations, except for longer texts.
struct Message {
  MessageType type = MessageType::CtrlInfoMsg;  ///< As received; may be outside the enumeration.
  controllers::Identity identity;               ///< Its ctrlAddress is never set.
  std::optional<AddressText> ownAddress;        ///< The sender's own address, tag e.
  bool ownAddressTooLong = false;               ///< Tag e is longer than any address.
  std::optional<AddressText> target;            ///< The address of the controller asked, tag a.
};

}  // namespace kellanseek::protocol
