#include "platform/GuardedCall.h"

#include <cxxabi.h>

namespace kellanseek::platform {

bool CallGuarded(void (*call)(void*), void* argument) {
  try {
    call(argument);
    return true;
  } catch (const abi::__forced_unwind&) {
    throw;  // Not an exception but the end of the thread; the C library aborts if it is swallowed.
  } catch (...) {
    return false;
  }
}

}  // namespace kellanseek::platform
