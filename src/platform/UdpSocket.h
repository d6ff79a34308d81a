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

/// Result of a socket call: 0 or the system's error code.
using SocketError = int;

/// Returned by TrySendTo() only.
inline constexpr SocketError kNoRoom = -1;

/// An IPv4 datagram socket. The destructor closes it.
///
/// A socket bound to an interface address receives the unicasts to that address, the subnet's directed
/// broadcasts and the limited broadcasts that arrive on that interface, and nothing else. Several sockets on
/// the same address and port, in one or several processes, each receive a copy of every broadcast, provided
/// that all of them called SetReuseAddress(). Datagrams leave with the bound address and port as their
/// source.
///
/// One thread may send while another receives; otherwise not thread-safe.
class UdpSocket {
 public:
  virtual ~UdpSocket() = default;

  virtual SocketError SetReuseAddress() = 0;
  virtual SocketError SetBroadcast() = 0;
  /// `address` 0 stands for any address, `port` 0 for any free port. For an interface address, `mask` is its
  /// subnet mask, from which the directed broadcast address follows.
  virtual SocketError Bind(Ipv4 address, Ipv4 mask, std::uint16_t port) = 0;

  /// Sends one datagram; anything less than the whole datagram is an error. Waits while the send buffer is
  /// full, which takes seconds if datagrams to neighbours that are switched off fill it until address
  /// resolution gives up.
  virtual SocketError SendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) = 0;
  /// Like SendTo(), but returns kNoRoom instead of waiting.
  virtual SocketError TrySendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) = 0;

  /// Datagrams that the system dropped because the receive buffer was full. Always 0 where the system does
  /// not tell. Thread-safe.
  virtual std::uint64_t DroppedBySystem() const { return 0; }
};

/// Result of one step of a DatagramReceiver.
struct Received {
  enum class Outcome {
    Nothing,        ///< Time-out or stop event.
    Datagram,       ///< `text` and the source fields are valid.
    ReadError,      ///< `error` is valid. A datagram longer than the capacity ends here.
    StrangeSocket,  ///< The system reported a socket that is not in the set.
    WaitFailed,     ///< `error` is valid. Returned at once, so a caller that retries must pause.
  };
  Outcome outcome = Outcome::Nothing;
  std::size_t socket{};       ///< Index in the receiver's set of sockets.
  std::span<char> text = {};  ///< The datagram, followed by one writable byte. Valid until the next step.
  Ipv4 source{};
  std::uint16_t sourcePort{};
  bool sourceIsIpv4{};
  SocketError error{};
};

/// Waits on a fixed set of sockets and returns datagrams one at a time; of several ready sockets the first in
/// the set comes first. May read ahead: such datagrams are returned before the next wait, and lost only when
/// the receiver is destroyed. Not thread-safe.
class DatagramReceiver {
 public:
  virtual ~DatagramReceiver() = default;

  /// Waits at most `timeout` for a datagram. A signalled `stop` event (manual reset) ends the wait within
  /// milliseconds with Nothing, even if datagrams are waiting.
  virtual Received ReceiveOne(Event& stop, std::chrono::milliseconds timeout) = 0;
};

/// Creates sockets and receivers, of the system's network or a simulated one.
class UdpNetwork {
 public:
  virtual ~UdpNetwork() = default;

  /// Starts the socket library, if the system has one. Returns 0 or an error code. Call Cleanup() once for
  /// every call, successful or not.
  virtual SocketError Startup() = 0;
  virtual void Cleanup() = 0;

  /// Creates an IPv4 datagram socket. On failure returns null and sets `error`.
  virtual std::unique_ptr<UdpSocket> CreateSocket(SocketError& error) = 0;

  /// Creates a receiver for datagrams of at most `capacity` bytes. The sockets must come from this network
  /// and outlive the receiver.
  virtual std::unique_ptr<DatagramReceiver> CreateReceiver(std::vector<UdpSocket*> sockets,
                                                           std::size_t capacity) = 0;

  /// Whether a send error is normal while an interface goes away or a route is missing: the source address is
  /// no longer available, or the host or network is unreachable.
  virtual bool IsExpectedSendError(SocketError error) const = 0;
};

/// The network of this process's host.
UdpNetwork& SystemUdpNetwork();

}  // namespace kellanseek::platform
