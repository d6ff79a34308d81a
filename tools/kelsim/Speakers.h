#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/UdpSocket.h"
#include "tools/kelsim/Plant.h"

namespace kellanseek::kelsim {

/// An address of this host that controllers hear and speak at.
struct Place {
  platform::Ipv4 address = 0;
  platform::Ipv4 mask = platform::kNoAddress;
};

/// What was heard.
struct Heard {
  std::string_view text;  ///< Valid until the next is waited for.
  std::size_t speaker = 0;
  std::optional<Endpoint> pollFrom;  ///< Given when it came to the port for polls.
};

/// The sockets of the plant.
class Speakers {
 public:
  struct Ports {
    std::uint16_t request = 0;
    std::uint16_t response = 0;
    std::uint16_t nonLocal = 0;  ///< 0: no polls.
  };

  /// With `broadcasts`, requests to everybody are heard and answered on the places' networks; without, only
  /// polls are. Throws std::runtime_error when a socket cannot be had. The network outlives this object.
  Speakers(platform::UdpNetwork& network, const std::vector<Place>& places, const Ports& ports,
           bool broadcasts);

  /// Waits at most so long for a datagram.
  std::optional<Heard> Hear(platform::Event& stop, std::chrono::milliseconds most);
  /// False when the system did not take it.
  bool Send(const Outgoing& datagram);

 private:
  /// Keeps the socket library started.
  struct Library {
    explicit Library(platform::UdpNetwork& network);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    platform::UdpNetwork& network;
  };
  struct Ears {
    std::size_t speaker = 0;
    bool polls = false;
    std::unique_ptr<platform::UdpSocket> socket;
  };
  struct Voice {
    platform::UdpSocket* toAll = nullptr;
    platform::UdpSocket* toOne = nullptr;
    platform::Ipv4 broadcast = 0;
  };

  platform::UdpSocket* Open(std::size_t speaker, const Place& place, std::uint16_t port, bool polls,
                            bool shared);

  Library library_;
  std::uint16_t responsePort_;
  std::vector<Ears> ears_;
  std::vector<Voice> voices_;
  std::unique_ptr<platform::DatagramReceiver> receiver_;
};

}  // namespace kellanseek::kelsim
