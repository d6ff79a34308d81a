#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "controllers/CtrlInfo.h"
#include "protocol/Message.h"

namespace kellanseek::daemon {

/// Length limits. A longer datagram is not sent at all.
inline constexpr std::size_t kMaxFullMessage = 999;
inline constexpr std::size_t kMaxShortMessage = 499;
inline constexpr std::size_t kMaxNotice = 71;

/// Builds the full identity of a published virtual controller, as answered on the interface with this MAC
/// address text. Empty if it is too long.
std::string BuildFullMessage(const controllers::CtrlInfo& record, std::string_view macText);

/// Builds the short presence answer, likewise.
std::string BuildShortMessage(const controllers::CtrlInfo& record, std::string_view macText);

/// Builds a restart or power-down notice. Empty if the identity is too long.
std::string BuildNotice(protocol::MessageType type, const std::wstring& systemID);

}  // namespace kellanseek::daemon
