#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/HostProbe.h"
#include "platform/Ipv4.h"

namespace kellanseek::kelseek {

/// Whether a broadcast of this host comes back to another socket of its own, on one interface and port.
struct Echo {
  enum class Outcome { Heard, NotHeard, NotSent, NoSocket };
  platform::Ipv4 address = 0;
  std::uint16_t port = 0;
  Outcome outcome = Outcome::Heard;
  int error = 0;  ///< For NotSent and NoSocket.
};

/// What one address answers to a request by unicast, and the way there.
struct AddressFacts {
  platform::Ipv4 address = 0;
  platform::Route route;
  platform::Reply reply;
  platform::NeighbourState neighbour = platform::NeighbourState::Unknown;
  bool isDiscoveryMessage = false;  ///< The answer is one.
  std::string name;                 ///< From the answer, in UTF-8.
  std::string systemId;
  std::string mac;
};

struct PortFacts {
  std::uint16_t port = 0;
  std::vector<platform::PortHolder> others;  ///< Its holders besides this process.
};

/// Everything the doctor looks at.
struct Facts {
  nlohmann::json report;  ///< Of a component object that has listened for a while; see docs/diagnostics.md.
  double listened = 0;    ///< Seconds.
  platform::HostKind host = platform::HostKind::Ordinary;
  std::vector<Echo> echoes;
  std::vector<PortFacts> ports;
  std::vector<std::string> configFindings;  ///< Of `kelseek check-config`.
  bool configUnreadable = false;
  std::vector<AddressFacts> asked;  ///< Named by the user, or configured and silent.
  std::vector<platform::Ipv4> expected;
};

}  // namespace kellanseek::kelseek
