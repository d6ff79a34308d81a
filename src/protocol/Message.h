#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "controllers/Identity.h"

namespace kellanseek::protocol {

/// The datagram types.
enum class MessageType : std::uint32_t {
  CtrlInfoMsg = 1,         ///< A controller's full identity.
  CtrlAliveMsg = 2,        ///< A controller's short presence answer.
  CtrlRestartMsg = 3,      ///< A controller is restarting.
  CtrlPowerDownMsg = 4,    ///< A controller is powering down.
  FullRequestMsg = 5,      ///< All controllers are to identify themselves.
  TargetedRequestMsg = 6,  ///< The controller at the named address is to identify itself.
  RefreshRequestMsg = 7,   ///< All controllers are to confirm that they are still there.
};

/// Every datagram begins with this.
inline constexpr std::string_view kMagic = "Lanseek;";

/// The largest datagram that is taken in.
inline constexpr std::size_t kMaxDatagram = 1000;

/// A short address text without allocation, as it stands in tags a and e and for the source of a datagram.
class AddressText {
 public:
  static constexpr std::size_t kMaxLength = 19;

  AddressText() = default;
  explicit AddressText(std::string_view text) { Assign(text); }

  /// Keeps the first kMaxLength characters; false when the text was longer.
  bool Assign(std::string_view text) {
    length_ = text.copy(text_.data(), kMaxLength);
    return text.size() <= kMaxLength;
  }
  std::string_view View() const { return {text_.data(), length_}; }

 private:
  std::array<char, kMaxLength> text_ = {};
  std::size_t length_ = 0;
};

/// What one datagram says. A value for reuse: reading the next one into it allocates only for longer texts.
struct Message {
  MessageType type = MessageType::CtrlInfoMsg;  ///< As sent, which may be no enumerator.
  Identity identity;                            ///< Its ctrlAddress is never set.
  std::optional<AddressText> ownAddress;        ///< The sender's own address, tag e.
  bool ownAddressTooLong = false;               ///< Tag e was longer than an address can be.
  std::optional<AddressText> target;            ///< The address of the controller that is asked, tag a.
};

}  // namespace kellanseek::protocol
