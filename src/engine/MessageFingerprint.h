#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "engine/MsgSource.h"
#include "platform/Ipv4.h"
#include "text/SipHash.h"

namespace kellanseek::engine {

/// Tells a message with its sender and its way apart from all others, by a hash under a key that nobody on
/// the network knows. Two messages have one fingerprint by chance only, once in 2^64 pairs.
class MessageFingerprint {
 public:
  explicit MessageFingerprint(const text::SipKey& key) : key_(key) {}

  /// Never 0. `length` is the length received, as in Dispatcher::HandleMessage().
  std::uint64_t Of(std::string_view text, std::size_t length, platform::Ipv4 sender,
                   const MessageOrigin& origin) const;

 private:
  text::SipKey key_;
};

}  // namespace kellanseek::engine
