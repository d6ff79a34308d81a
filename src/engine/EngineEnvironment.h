#pragma once

#include <functional>
#include <memory>

#include "platform/DebugOutput.h"
#include "platform/NetworkAddresses.h"
#include "platform/Process.h"
#include "platform/ReverseLookup.h"
#include "platform/UdpSocket.h"

namespace kellanseek::engine {

/// What the engine asks of the operating system. Everything outlives the engine.
struct EngineEnvironment {
  platform::UdpNetwork& network;
  platform::NetworkAddresses& addresses;
  /// Makes the watch for address changes; may give none.
  std::function<std::unique_ptr<platform::AddressChangeWatch>()> watchAddressChanges;
  platform::ReverseLookup& reverseLookup;
  platform::ProcessTable& processes;
  platform::DebugOutput& debugOutput;
};

/// The environment of a real process.
EngineEnvironment SystemEnvironment();

}  // namespace kellanseek::engine
