#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace kellanseek::controllers {

/// The place of an interface in the interface table of the present run, from 0. It means nothing after the
/// run: the next table may have another interface there. Where there may be no interface, because a message
/// came in by none or none has heard a controller, it is a std::optional.
///
/// Not the number that the system gives an interface, which platform::AddressRow and the questions to the
/// system call interfaceIndex too.
enum class InterfaceIndex : std::uint32_t {};

/// The subscript into a container that has one element for each interface of the table.
constexpr std::size_t PlaceOf(InterfaceIndex interfaceIndex) {
  return static_cast<std::size_t>(interfaceIndex);
}

/// Advances to the next interface of the table.
constexpr InterfaceIndex& operator++(InterfaceIndex& interfaceIndex) {
  return interfaceIndex = InterfaceIndex{static_cast<std::uint32_t>(interfaceIndex) + 1};
}

/// The number that a trace shows: -1 for none.
constexpr std::int32_t TraceNumber(std::optional<InterfaceIndex> interfaceIndex) {
  return interfaceIndex ? static_cast<std::int32_t>(*interfaceIndex) : -1;
}

}  // namespace kellanseek::controllers
