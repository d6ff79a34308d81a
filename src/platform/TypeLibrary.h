#pragma once

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// Whether this process wants the component registered for the calling user alone: on Windows when the
/// environment variable KELLANSEEK_REGISTER is "user". Elsewhere the place of the registry store decides, and
/// this is false.
bool WantsPerUserRegistration();

/// Registers the type library that is this module's first resource of that kind, for every user of the
/// machine or for the calling user alone. Registering again replaces what was there. Where the system knows
/// no type libraries there is nothing to do, and the result is S_OK.
HRESULT RegisterModuleTypeLibrary(bool perUser);

/// Takes the registration back. A type library that is not registered is no failure.
HRESULT UnregisterModuleTypeLibrary(bool perUser);

}  // namespace kellanseek::platform
