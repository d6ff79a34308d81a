#pragma once

#include <string>
#include <string_view>

#include "platform/Ipv4.h"

namespace kellanseek::kelsim {

/// Converts a controller's text from UTF-8 to the ANSI code page. Throws std::invalid_argument, with a
/// message for the user, if the text is empty, too long, or cannot be stored in a field.
std::string FieldText(const std::string& utf8);

/// Parses an address in four decimal parts. Throws std::invalid_argument for anything else.
platform::Ipv4 DottedAddress(const std::string& text);

}  // namespace kellanseek::kelsim
