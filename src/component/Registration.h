#pragma once

#include <string>

#include <kellanseek/com.h>

#include "platform/RegistryStore.h"

namespace kellanseek::component {

enum class RegistrationScope { Machine, User };

/// Registers the class, implemented by the module at `modulePath`, for all users or for the calling user
/// alone. Replaces an earlier registration. On failure `why` says what could not be written.
HRESULT RegisterComponent(platform::RegistryStore& registry, RegistrationScope scope,
                          const std::wstring& modulePath, std::wstring& why);

/// Removes the keys, and the user's own store if it then adds nothing. Succeeds if nothing is registered.
/// Keys that the user did not register stay.
HRESULT UnregisterComponent(platform::RegistryStore& registry, RegistrationScope scope, std::wstring& why);

}  // namespace kellanseek::component
