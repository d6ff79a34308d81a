#include "platform/GuardedCall.h"

#include <malloc.h>

#include "platform/win32/StructuredCall.h"
#include "platform/win32/System.h"

namespace kellanseek::platform {
namespace {

struct Guarded {
  void (*call)(void*);
  void* argument;
  bool thrown;
};

/// Catches this compiler's own exceptions and leaves the others to the system's structured handling.
void CatchOwn(void* argument) {
  auto& guarded = *static_cast<Guarded*>(argument);
  try {
    guarded.call(guarded.argument);
  } catch (...) {
    guarded.thrown = true;
  }
}

}  // namespace

bool CallGuarded(void (*call)(void*), void* argument) {
  Guarded guarded = {call, argument, false};
  const unsigned long code = KelStructuredCall(&CatchOwn, &guarded);
  // Restores the guard page of the stack; without it the next overflow would end the process.
  if (code == EXCEPTION_STACK_OVERFLOW) _resetstkoflw();
  return code == 0 && !guarded.thrown;
}

}  // namespace kellanseek::platform
