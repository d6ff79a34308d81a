#include "platform/Signals.h"

#include "platform/Mutex.h"
#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

/// The system calls the handler without a context, so what it works on has to stand here.
Mutex theMutex;
Event* theStop GUARDED_BY(theMutex) = nullptr;

bool AskToStop() {
  const MutexLock lock(theMutex);
  if (theStop == nullptr || theStop->TryWait()) return false;
  theStop->Set();
  return true;
}

BOOL WINAPI Handle(DWORD request) {
  if (!AskToStop()) return FALSE;
  // The end of the console, or of the session, ends the program as soon as this returns; it gets about five
  // seconds.
  constexpr DWORD kLongerThanGranted = 10000;
  if (request != CTRL_C_EVENT && request != CTRL_BREAK_EVENT) Sleep(kLongerThanGranted);
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
