#include "platform/win32/System.h"

// The module keeps no state of its own, so attaching and detaching have nothing to set up or take down.
// Threads of the client come and go without telling it.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void* /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
  return TRUE;
}
