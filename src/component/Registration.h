#pragma once

#include <string>

#include <kellanseek/com.h>

#include "platform/RegistryStore.h"

namespace kellanseek {

enum class RegistrationScope { Machine, User };

/// Writes the keys by which the class is found, so that it is created from the module at `modulePath`, for
/// every user or for the calling one alone. Registering again replaces what was there. On failure `why` says
/// in words what could not be written.
HRESULT RegisterComponent(platform::RegistryStore& registry, RegistrationScope scope,
                          const std::wstring& modulePath, std::wstring& why);

/// Removes them, and a store of the user's own that says nothing else. What is not there is no failure, and
/// what a user has not registered themselves stays.
HRESULT UnregisterComponent(platform::RegistryStore& registry, RegistrationScope scope, std::wstring& why);

}  // namespace kellanseek
