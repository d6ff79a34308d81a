#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "platform/UdpSocket.h"

namespace kellanseek::platform {

/// Datagrams that a receiver has read ahead. A system's default receive buffer holds only some hundred small
/// datagrams, so it must be emptied faster than they are handled. Not thread-safe.
class PendingDatagrams {
 public:
  /// Where a datagram came from, for Keep().
  struct Origin {
    std::size_t socket{};  ///< Index in the receiver's set of sockets.
    Ipv4 source{};
    std::uint16_t sourcePort{};
    bool sourceIsIpv4{};
  };

  /// Nothing is left to hand on.
  bool Empty() const { return next_ == pending_.size(); }
  /// Further datagrams stay with the system.
  bool Full() const;
  /// So many were handed on since the last read that the system's buffer may fill.
  bool ReadIsDue() const;
  /// Call before each read: discards what was handed on if that is worth it.
  void BeginRead();

  void Keep(const Origin& origin, std::string_view text);
  void KeepError(std::size_t socket, SocketError error);

  /// The oldest one, or Nothing. Its text is valid until the next call of BeginRead() or Keep().
  Received HandOn();

 private:
  struct Pending {
    Origin origin;
    std::size_t offset{};
    std::size_t length{};
    SocketError error{};
  };

  std::vector<Pending> pending_;
  std::vector<char> bytes_;        ///< The texts, each followed by one writable byte.
  std::size_t next_ = 0;           ///< Index of the first datagram in `pending_` not yet handed on.
  std::size_t sinceLastRead_ = 0;  ///< Datagrams handed on since the last read.
};

}  // namespace kellanseek::platform
