#include "platform/Signals.h"

#include "platform/Mutex.h"
#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

/// The system calls the handler without a context, so what it works on has to stand here.
Mutex theMutex;
Event* theStop GUARDED_BY(theMutex) = nullptr;

BOOL WINAPI Handle(DWORD /*request*/) {
  const MutexLock lock(theMutex);
  if (theStop == nullptr || theStop->TryWait()) return FALSE;
  theStop->Set();
  return TRUE;
}

}  // namespace

struct StopSignals::Native {
  explicit Native(Event& stop) {
    const MutexLock lock(theMutex);
    theStop = &stop;
    SetConsoleCtrlHandler(&Handle, TRUE);
  }
  ~Native() {
    SetConsoleCtrlHandler(&Handle, FALSE);
    const MutexLock lock(theMutex);
    theStop = nullptr;
  }
};

StopSignals::StopSignals(Event& stop) : native_(std::make_unique<Native>(stop)) {}

StopSignals::~StopSignals() = default;

}  // namespace kellanseek::platform
