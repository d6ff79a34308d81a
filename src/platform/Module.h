#pragma once

#include <string>

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// The full path of the module (shared library or program) that contains this code. Empty if the system
/// cannot tell.
std::wstring CurrentModulePath();

/// An exported function without arguments, such as DllRegisterServer().
using ModuleFunction = HRESULT(STDAPICALLTYPE*)();

/// Loads the module at `path`, never to unload it, and looks up a function. On failure returns null and
/// stores the reason in `why`.
ModuleFunction FindModuleFunction(const std::wstring& path, const char* name, std::wstring& why);

}  // namespace kellanseek::platform
