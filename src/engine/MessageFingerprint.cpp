#include "engine/MessageFingerprint.h"

#include <algorithm>

namespace kellanseek::engine {

std::uint64_t MessageFingerprint::Of(std::string_view text, std::size_t length, platform::Ipv4 sender,
                                     const MessageOrigin& origin) const {
  const std::uint64_t interfaceNumber =
      origin.interfaceIndex ? 1 + std::uint64_t{PlaceOf(*origin.interfaceIndex)} : 0;
  text::SipState state(key_);
  state.Add<1>(std::uint64_t{sender} << 32 | origin.interfaceAddress);
  state.Add<1>(interfaceNumber << 32 | std::uint64_t{length} << 2 |
               static_cast<std::uint64_t>(origin.source));
  text::AddText(state, text);
  return std::max<std::uint64_t>(state.Finish<3>(), 1);
}

}  // namespace kellanseek::engine
