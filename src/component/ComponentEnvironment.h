#pragma once

#include "engine/EngineEnvironment.h"
#include "platform/RegistryStore.h"

namespace kellanseek::component {

/// The operating system services that the component uses. They must outlive the component.
struct ComponentEnvironment {
  engine::EngineEnvironment engine;
  platform::RegistryStore& registry;
};

}  // namespace kellanseek::component
