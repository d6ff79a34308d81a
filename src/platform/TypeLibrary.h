#pragma once

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// Whether to register the component for the calling user alone: on Windows, if the environment variable
/// KELLANSEEK_REGISTER is "user". Elsewhere false, because the location of the registry store decides.
bool WantsPerUserRegistration();

/// Registers this module's first type library resource, for all users of the machine or for the calling user
/// alone. Replaces an earlier registration. Returns S_OK on systems without type libraries.
HRESULT RegisterModuleTypeLibrary(bool perUser);

/// Removes the registration. Succeeds if there is none.
HRESULT UnregisterModuleTypeLibrary(bool perUser);

}  // namespace kellanseek::platform
