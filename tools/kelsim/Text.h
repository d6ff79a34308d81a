#pragma once

#include <string>
#include <string_view>

#include "platform/Ipv4.h"

namespace kellanseek::kelsim {

/// A text that a controller can send, from UTF-8 to the ANSI code page. Throws std::invalid_argument, with
/// the reason for people, for an empty or too long one and for what no field can hold.
std::string FieldText(const std::string& utf8);

/// An address in four decimal parts. Throws std::invalid_argument for anything else.
platform::Ipv4 DottedAddress(const std::string& text);

}  // namespace kellanseek::kelsim
