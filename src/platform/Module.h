#pragma once

#include <string>

namespace kellanseek::platform {

/// The full path of the module (shared library or program) that this code was linked into; empty when the system
/// does not say.
std::wstring CurrentModulePath();

}  // namespace kellanseek::platform
