#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "config/Settings.h"
#include "diagnostics/Journal.h"
#include "diagnostics/Trace.h"
#include "network/AddressPolling.h"
#include "network/AnswerSender.h"
#include "network/InterfaceTable.h"
#include "network/RequestSender.h"
#include "platform/UdpSocket.h"

namespace kellanseek::network {

/// The sockets of discovery: two for each interface, and one for controllers that are asked by address.
/// Opening and closing are for one thread; in between, all other methods are thread-safe.
class DiscoverySockets : public RequestSender, public AnswerSender {
 public:
  /// `polling` is switched off if the non-local socket cannot be opened.
  DiscoverySockets(platform::UdpNetwork& udp, const config::CKelLanSeekConfigSettings& settings,
                   AddressPolling& polling, diagnostics::Journal& journal,
                   platform::DebugOutput& debugOutput);

  /// Opens the sockets of all interfaces in `usable` and removes those whose sockets are refused. After an
  /// exception, CloseSockets() closes the sockets already open.
  void CreateSockets(std::vector<InterfaceEntry>& usable);
  void CloseSockets();

  /// The opened interfaces. Each has both sockets.
  const InterfaceTable& Interfaces() const { return interfaces_; }
  platform::UdpSocket* RequestSocket(controllers::InterfaceIndex interfaceIndex) const {
    return pairs_[PlaceOf(interfaceIndex)].request.get();
  }
  platform::UdpSocket* ResponseSocket(controllers::InterfaceIndex interfaceIndex) const {
    return pairs_[PlaceOf(interfaceIndex)].response.get();
  }
  /// Null if polling by address is off.
  platform::UdpSocket* NonLocalSocket() const { return nonLocalSocket_.get(); }

  /// Notes how many datagrams the system has dropped because a receive buffer was full.
  void NoteDrops() const;

  void Broadcast(controllers::InterfaceIndex interfaceIndex, std::string_view datagram) override;
  bool SendToAddress(platform::Ipv4 address, std::string_view datagram) override;
  platform::SocketError Answer(controllers::InterfaceIndex interfaceIndex, std::string_view datagram,
                               platform::Ipv4& destination) override;

 private:
  struct Binding {
    const std::wstring& addressText;
    platform::Ipv4 mask;
    bool bindToAddress;
    platform::Ipv4 address;
  };
  struct Pair {
    std::unique_ptr<platform::UdpSocket> response;  ///< Sends requests, receives answers.
    std::unique_ptr<platform::UdpSocket> request;   ///< Receives the requests of other workstations.
  };

  std::unique_ptr<platform::UdpSocket> CreateSocket(const Binding& binding, std::uint16_t port) const;
  void CreateNonLocalSocket();
  std::unique_ptr<platform::UdpSocket> MakeNonLocalSocket() const;
  void Report(platform::SocketError error, const wchar_t* kind, platform::Ipv4 destination) const;

  platform::UdpNetwork& udp_;
  const config::CKelLanSeekConfigSettings& settings_;
  AddressPolling& polling_;
  diagnostics::Journal& journal_;
  diagnostics::Tracer trace_;
  InterfaceTable interfaces_;
  std::vector<Pair> pairs_;  ///< One for each interface.
  std::unique_ptr<platform::UdpSocket> nonLocalSocket_;
};

}  // namespace kellanseek::network
