#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "controllers/CtrlInfo.h"
#include "protocol/Message.h"

namespace kellanseek::daemon {

/// The longest datagrams that are sent; a longer one is not sent at all.
inline constexpr std::size_t kMaxFullMessage = 999;
inline constexpr std::size_t kMaxShortMessage = 499;
inline constexpr std::size_t kMaxNotice = 71;

/// The full identity of a published virtual controller, as it is answered on an interface with that MAC
/// address text. Empty when it is too long.
std::string BuildFullMessage(const CtrlInfo& record, std::string_view macText);

/// The short presence answer, likewise.
std::string BuildShortMessage(const CtrlInfo& record, std::string_view macText);

/// A restart or power-down notice. Empty when the identity is too long.
std::string BuildNotice(protocol::MessageType type, const std::wstring& systemID);

}  // namespace kellanseek::daemon
