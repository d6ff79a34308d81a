#pragma once

#include <memory>
#include <type_traits>

namespace kellanseek::platform {

/// Calls `call(argument)`. False when the call ended in an exception, whoever threw it: on Windows also one
/// of another compiler, and one of the system, such as the access to memory that is gone. What the callee
/// held is then lost.
bool CallGuarded(void (*call)(void*), void* argument);

/// Runs code of a client, which must not take the process down nor leave by an exception.
template <typename Call>
bool RunGuarded(Call&& call) {
  using Plain = std::remove_reference_t<Call>;
  return CallGuarded([](void* argument) { (*static_cast<Plain*>(argument))(); }, std::addressof(call));
}

}  // namespace kellanseek::platform
