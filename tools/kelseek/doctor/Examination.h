#pragma once

#include <optional>
#include <vector>

#include "client/Session.h"
#include "doctor/Bundle.h"
#include "doctor/Facts.h"
#include "platform/Ipv4.h"

namespace kellanseek::kelseek {

struct Questions {
  std::vector<platform::Ipv4> addresses;  ///< To be asked directly.
  std::vector<platform::Ipv4> expected;   ///< Should be found by broadcast.
  bool hello = false;                     ///< Say hello to `kelsim --hello`, also at the addresses.
  std::optional<double> evidenceSeconds;  ///< Record traces and datagrams for so long.
};

/// Lets a component object listen for one sweep, then looks at this host and at the addresses. Takes less
/// than six seconds with the default settings and healthy controllers. The user's stop ends the listening.
/// Fills `evidence` if questions.evidenceSeconds is set. Throws if the component cannot be created.
Facts Examine(Session& session, const Questions& questions, Evidence& evidence);

/// Asks one address, and looks at the way to it. Takes a second and a half if nothing answers. `report` tells
/// the port.
AddressFacts AskAddress(platform::Ipv4 address, const nlohmann::json& report);

}  // namespace kellanseek::kelseek
