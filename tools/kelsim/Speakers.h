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

/// An address of this host that controllers use.
struct Place {
  platform::Ipv4 address = 0;
  platform::Ipv4 mask = platform::kNoAddress;
};

/// A received datagram.
struct Heard {
  std::string_view text;  ///< Valid until the next Hear().
  std::size_t speaker = 0;
  platform::Ipv4 source = 0;
  std::optional<Endpoint> pollFrom;  ///< Set if it arrived at the port for polls.
};

/// The sockets of the plant. Not thread-safe.
class Speakers {
 public:
  struct Ports {
    std::uint16_t request = 0;
    std::uint16_t response = 0;
    std::uint16_t nonLocal = 0;  ///< 0: no polls.
  };

  /// With `broadcasts`, handles broadcast requests and answers by broadcast on the networks of `places`;
  /// without, polls only. Throws std::runtime_error if a socket cannot be opened. The network must outlive
  /// this object.
  Speakers(platform::UdpNetwork& network, const std::vector<Place>& places, const Ports& ports,
           bool broadcasts);

  /// Waits at most `most` for a datagram.
  std::optional<Heard> Hear(platform::Event& stop, std::chrono::milliseconds most);
  /// Returns false if the system refused the datagram.
  bool Send(const Outgoing& datagram);

 private:
  /// Keeps the socket library initialised.
  struct Library {
    explicit Library(platform::UdpNetwork& network);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    platform::UdpNetwork& network;
  };
  struct ListeningSocket {
    std::size_t speaker = 0;
    bool polls = false;
    std::unique_ptr<platform::UdpSocket> socket;
  };
  struct SendingSockets {
    platform::UdpSocket* toAll = nullptr;
    platform::UdpSocket* toOne = nullptr;
    platform::Ipv4 broadcast = 0;
  };

  platform::UdpSocket* Open(std::size_t speaker, const Place& place, std::uint16_t port, bool polls,
                            bool shared);

  Library library_;
  std::uint16_t responsePort_;
  std::vector<ListeningSocket> listening_;
  std::vector<SendingSockets> sending_;
  std::unique_ptr<platform::DatagramReceiver> receiver_;
};

}  // namespace kellanseek::kelsim
