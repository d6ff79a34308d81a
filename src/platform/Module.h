#pragma once

#include <string>

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// The full path of the module (shared library or program) that this code was linked into; empty when the
/// system does not say.
std::wstring CurrentModulePath();

/// An exported function without arguments, as those by which a component is registered.
using ModuleFunction = HRESULT(STDAPICALLTYPE*)();

/// Loads the module at `path`, which then stays loaded, and finds a function by name. Null when that fails;
/// `why` has the reason in words.
ModuleFunction FindModuleFunction(const std::wstring& path, const char* name, std::wstring& why);

}  // namespace kellanseek::platform
