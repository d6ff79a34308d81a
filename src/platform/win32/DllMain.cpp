#include "platform/win32/System.h"

// The module has no state to set up or tear down. Thread notifications stay on, because the run-time
// libraries linked into it use them to free their per-thread data.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD /*reason*/, void* /*reserved*/) { return TRUE; }
