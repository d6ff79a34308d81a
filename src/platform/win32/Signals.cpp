#include "platform/Signals.h"

#include "platform/Mutex.h"
#include "platform/Terminal.h"
#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

/// Global, because the system passes no context to the handler.
Mutex stopMutex{LockOrder::StopSignal};
Event* stopEvent GUARDED_BY(stopMutex) = nullptr;

bool RequestStop() {
  const MutexLock lock(stopMutex);
  if (stopEvent == nullptr || stopEvent->TryWait()) return false;
  stopEvent->Set();
  return true;
}

BOOL WINAPI Handle(DWORD request) {
  if (!RequestStop()) {
    RestoreTerminalAtOnce();
    return FALSE;
  }
  // When the console closes or the session ends, the system ends the program as soon as the handler returns,
  // or after about five seconds. So wait here to let the program finish.
  constexpr DWORD kLongerThanGranted = 10000;
  if (request != CTRL_C_EVENT && request != CTRL_BREAK_EVENT) Sleep(kLongerThanGranted);
  return TRUE;
}

}  // namespace

struct StopSignals::Native {
  explicit Native(Event& stop) {
    const MutexLock lock(stopMutex);
    stopEvent = &stop;
    SetConsoleCtrlHandler(&Handle, TRUE);
  }
  ~Native() {
    SetConsoleCtrlHandler(&Handle, FALSE);
    const MutexLock lock(stopMutex);
    stopEvent = nullptr;
  }
};

StopSignals::StopSignals(Event& stop) : native_(std::make_unique<Native>(stop)) {}

StopSignals::~StopSignals() = default;

}  // namespace kellanseek::platform
