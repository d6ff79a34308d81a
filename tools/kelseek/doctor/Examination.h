#pragma once

#include <vector>

#include "client/Session.h"
#include "doctor/Facts.h"
#include "platform/Ipv4.h"

namespace kellanseek::kelseek {

struct Questions {
  std::vector<platform::Ipv4> addresses;  ///< To be asked directly.
  std::vector<platform::Ipv4> expected;   ///< Should be found by broadcast.
};

/// Lets a component object listen for one sweep, then looks at this host and at the addresses. Takes about
/// six seconds with the default settings. Throws if the component cannot be created.
Facts Examine(Session& session, const Questions& questions);

/// Asks one address, and looks at the way to it. Takes a second and a half if nothing answers. `report` tells
/// the port.
AddressFacts AskAddress(platform::Ipv4 address, const nlohmann::json& report);

}  // namespace kellanseek::kelseek
