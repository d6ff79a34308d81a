#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kellanseek::protocol {

/// The datagram types.
enum LanSeekMsgType : std::uint32_t {
  CtrlInfoMsg = 1,         ///< A controller's full identity.
  CtrlAliveMsg = 2,        ///< A controller's short presence answer.
  CtrlRestartMsg = 3,      ///< A controller is restarting.
  CtrlPowerDownMsg = 4,    ///< A controller is powering down.
  FullRequestMsg = 5,      ///< All controllers are to identify themselves.
  TargetedRequestMsg = 6,  ///< The controller at the named address is to identify itself.
  RefreshRequestMsg = 7,   ///< All controllers are to confirm that they are still there.
};

/// The field tags that are written or read.
enum FieldTag : std::uint32_t {
  kTagCtrlName = 0x1,
  kTagCtrlID = 0x2,
  kTagSystemName = 0x3,
  kTagSystemID = 0x4,
  kTagReleasePath = 0x5,
  kTagVersionMajor = 0x7,
  kTagVersionMinor = 0x8,
  kTagMacAddress = 0x9,
  kTagTargetAddress = 0xa,
  kTagCommPortNumber = 0xb,
  kTagCtrlLevel = 0xc,
  kTagOwnAddress = 0xe,
  kTagVersionRevision = 0xf,
  kTagKelAPICompatibilityRevision = 0x10,
  kTagCtrlType = 0x11,
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
  bool Empty() const { return length_ == 0; }

 private:
  std::array<char, kMaxLength> text_ = {};
  std::size_t length_ = 0;
};

}  // namespace kellanseek::protocol
