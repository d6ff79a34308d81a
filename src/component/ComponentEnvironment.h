#pragma once

#include "engine/EngineEnvironment.h"
#include "platform/RegistryStore.h"

namespace kellanseek {

/// What the component asks of the operating system. Everything that it refers to outlives the component.
struct ComponentEnvironment {
  engine::EngineEnvironment engine;
  platform::RegistryStore& registry;
};

}  // namespace kellanseek
