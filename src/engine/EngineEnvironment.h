#pragma once

#include <functional>
#include <memory>

#include "platform/DebugOutput.h"
#include "platform/NetworkAddresses.h"
#include "platform/Process.h"
#include "platform/ReverseLookup.h"
#include "platform/UdpSocket.h"

namespace kellanseek::engine {

/// The operating system services used by the engine. They must outlive it.
struct EngineEnvironment {
  platform::UdpNetwork& network;
  platform::NetworkAddresses& addresses;
  /// Creates the watch for address changes. May return null.
  std::function<std::unique_ptr<platform::AddressChangeWatch>()> watchAddressChanges;
  platform::ReverseLookup& reverseLookup;
  platform::ProcessTable& processes;
  platform::DebugOutput& debugOutput;
};

/// The environment of a real process.
EngineEnvironment SystemEnvironment();

}  // namespace kellanseek::engine
