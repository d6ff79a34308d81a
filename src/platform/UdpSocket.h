#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "platform/Event.h"
#include "platform/Ipv4.h"

namespace kellanseek::platform {

/// Outcome of a socket call: 0, or the system's error code.
using SocketError = int;

/// Given by TrySendTo() only.
inline constexpr SocketError kNoRoom = -1;

/// One IPv4 datagram socket. Closed by its destructor.
///
/// Bound to an interface address it delivers the unicasts to that address, the subnet's directed broadcasts
/// and the limited broadcasts that arrive on that interface, and nothing else; several sockets bound to the
/// same address and port, in one or several processes, each get their copy of every broadcast (all of them
/// must have asked for address reuse). What it sends leaves with the bound address and port as its source.
///
/// One thread may send while another receives; the rest is for one thread at a time.
class UdpSocket {
 public:
  virtual ~UdpSocket() = default;

  virtual SocketError SetReuseAddress() = 0;
  virtual SocketError SetBroadcast() = 0;
  /// `address` 0 binds to any address, `port` 0 to any free port (both as for the system's own bind). For an
  /// interface address, `mask` is the mask of its subnet, from which the directed broadcast address follows.
  virtual SocketError Bind(Ipv4 address, Ipv4 mask, std::uint16_t port) = 0;

  /// Sends one datagram. Anything but the whole datagram sent is an error. Waits while the system has no room
  /// for it, which can take seconds where the room is taken by what neighbours that are switched off are
  /// being looked for.
  virtual SocketError SendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) = 0;
  /// The same, but never waits: kNoRoom when there is no room now.
  virtual SocketError TrySendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) = 0;
};

/// What one step of a DatagramReceiver gave.
struct Received {
  enum class Outcome {
    Nothing,        ///< Time-out or stop event.
    Datagram,       ///< `text` and what is said of the source are valid.
    ReadError,      ///< `error` is valid; a datagram over the capacity ends here.
    StrangeSocket,  ///< The system reported a socket that is not in the set.
    WaitFailed,     ///< `error` is valid. Comes at once, so whoever goes on waiting has to rest.
  };
  Outcome outcome = Outcome::Nothing;
  std::size_t socket = 0;     ///< Position of the socket in the set that the receiver was made for.
  std::span<char> text = {};  ///< The datagram, followed by one writable byte. Valid until the next step.
  Ipv4 source = 0;
  std::uint16_t sourcePort = 0;
  bool sourceIsIpv4 = false;
  SocketError error = 0;
};

/// Waits on a fixed set of sockets and hands datagrams on one at a time; of several ready sockets the one
/// that stands first in the set comes first. May read ahead; datagrams read ahead are handed on before new
/// ones are waited for, and are lost only when the receiver is destroyed. For one thread.
class DatagramReceiver {
 public:
  virtual ~DatagramReceiver() = default;

  /// Waits at most `timeout` for a datagram. A signalled `stop` event (manual reset) ends the wait within
  /// milliseconds with Nothing, also when datagrams are waiting.
  virtual Received ReceiveOne(Event& stop, std::chrono::milliseconds timeout) = 0;
};

/// Makes sockets and receivers; the system's network, or a simulated one.
class UdpNetwork {
 public:
  virtual ~UdpNetwork() = default;

  /// Starts the socket library where there is one to start; 0 or its error code. Every call, successful or
  /// not, is balanced by one Cleanup().
  virtual SocketError Startup() = 0;
  virtual void Cleanup() = 0;

  /// A new IPv4 datagram socket, or none with `error` set.
  virtual std::unique_ptr<UdpSocket> CreateSocket(SocketError& error) = 0;

  /// A receiver for datagrams of at most `capacity` bytes. The sockets were made by this network and outlive
  /// it.
  virtual std::unique_ptr<DatagramReceiver> CreateReceiver(std::vector<UdpSocket*> sockets,
                                                           std::size_t capacity) = 0;

  /// True for the two errors of a send that are expected while an interface goes away or a route is missing:
  /// the source address is not available (any more), and the host or network cannot be reached.
  virtual bool IsExpectedSendError(SocketError error) const = 0;
};

/// The network of this process's host.
UdpNetwork& SystemUdpNetwork();

}  // namespace kellanseek::platform
