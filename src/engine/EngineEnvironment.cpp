#include "engine/EngineEnvironment.h"

namespace kellanseek::engine {

EngineEnvironment SystemEnvironment() {
  return {platform::SystemUdpNetwork(),   platform::SystemNetworkAddresses(),
          platform::WatchAddressChanges,  platform::SystemReverseLookup(),
          platform::SystemProcessTable(), platform::ProcessDebugOutput()};
}

}  // namespace kellanseek::engine
