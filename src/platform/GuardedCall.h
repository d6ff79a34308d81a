#pragma once

#include <memory>
#include <type_traits>

namespace kellanseek::platform {

/// Calls `call(argument)`. Returns false if the call ended in an exception: any C++ exception, on Windows
/// also those of other compilers and of the system, such as an access violation. Locks and memory that the
/// callee held are then lost.
bool CallGuarded(void (*call)(void*), void* argument);

/// Runs a client's code, which must neither end the process nor let an exception escape.
template <typename Call>
bool RunGuarded(Call&& call) {
  using Plain = std::remove_reference_t<Call>;
  return CallGuarded([](void* argument) { (*static_cast<Plain*>(argument))(); }, std::addressof(call));
}

}  // namespace kellanseek::platform
