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
  /// Of the address, or of the gateway on the way there.
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

/// How one controller has answered several questions by address.
struct Answers {
  std::string who;  ///< Its name and address.
  platform::Ipv4 address = 0;
  unsigned asked = 0;
  unsigned answered = 0;
  std::chrono::milliseconds median{0};  ///< Of the times until the answers came.
  std::chrono::milliseconds slowest{0};
};

struct AnswerFacts {
  std::vector<Answers> each;
  std::size_t leftOut = 0;                  ///< Known controllers beyond those asked.
  std::chrono::milliseconds timeout{3000};  ///< That the component gives an answer by address.
};

/// A controller's message as it was seen on the network, before any firewall of this host.
struct Sighting {
  std::uint32_t interfaceIndex = 0;
  platform::Ipv4 source = 0;
  platform::Ipv4 destination = 0;
  std::string systemId;
  bool isComplete = false;  ///< The component lists a controller with this identity.
  std::size_t count = 0;
};

/// Two controllers that report one MAC address: the component takes the second for the first after a move.
struct SharedMac {
  std::string mac;
  std::string first;
  std::string second;
};

struct WireFacts {
  bool isWatched = false;
  std::string whyNot;  ///< Unless it was watched: the reason, empty if it was not tried.
  std::vector<Sighting> sightings;
  std::vector<SharedMac> sharedMacs;
};

/// The other end of `doctor --hello`.
struct HelloPeer {
  platform::Ipv4 address = 0;
  std::string name = {};     ///< Empty if it has never been heard.
  bool byBroadcast = false;  ///< Its broadcasts arrive here.
  bool byAddress = false;    ///< It answers when asked by its address.
  bool hasHeardUs = false;   ///< It says that broadcasts of this host arrive there.
};

/// What came of saying hello on one network of this host.
struct HelloFacts {
  platform::Ipv4 address = 0;  ///< Of this host; 0 for peers that are on none of its networks.
  bool isSent = false;
  std::vector<HelloPeer> peers;
};

/// Controllers that still appeared when all had had time to answer.
struct Arrivals {
  std::size_t count = 0;
  double seconds = 0;
};

/// A component needs four sockets for each network, and its client some files.
inline bool IsShortOfFiles(const platform::ResourceUse& use) {
  constexpr std::uint64_t kSpareFiles = 16;
  return use.openFilesLimit != 0 && use.openFiles + kSpareFiles > use.openFilesLimit;
}

/// Everything the doctor looks at.
struct Facts {
  nlohmann::json report;  ///< Of a component object that has listened for a while; see docs/diagnostics.md.
  std::string failure;    ///< Why there is no report: the process is short of files and sockets.
  double listened = 0;    ///< Seconds.
  std::vector<SharedMac> sharedMacs;  ///< Also those of `wire`.
  Arrivals arrivals;
  platform::HostKind host = platform::HostKind::Ordinary;
  std::vector<Echo> echoes;
  std::vector<PortFacts> ports;
  std::vector<std::string> configFindings;  ///< Of `kelseek check-config`.
  bool configUnreadable = false;
  std::size_t lineOfInterfaces = 0;  ///< Of the list of networks in the settings; 0 if it is not known.
  std::vector<AddressFacts> asked;   ///< Named by the user, or configured and silent.
  std::vector<platform::Ipv4> expected;
  AnswerFacts answers;
  WireFacts wire;
  bool saidHello = false;
  std::vector<HelloFacts> hello;
  platform::HostFirewall firewall;
  platform::ResourceUse resources;
  platform::RegistryFiles registry;
};

}  // namespace kellanseek::kelseek
