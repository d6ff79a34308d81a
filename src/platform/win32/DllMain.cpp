#include "platform/win32/System.h"

// The module keeps no state of its own, so attaching and detaching have nothing to set up or take down.
// Threads of the client are told of all the same: the run-time libraries linked into the module free what
// they keep for them.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD /*reason*/, void* /*reserved*/) { return TRUE; }
