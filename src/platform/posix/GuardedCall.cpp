#include "platform/GuardedCall.h"

namespace kellanseek::platform {

bool CallGuarded(void (*call)(void*), void* argument) {
  try {
    call(argument);
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace kellanseek::platform
