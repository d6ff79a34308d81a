#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "config/Settings.h"
#include "diagnostics/Trace.h"
#include "network/AddressPolling.h"
#include "network/AnswerSender.h"
#include "network/InterfaceTable.h"
#include "network/RequestSender.h"
#include "platform/Mutex.h"
#include "platform/UdpSocket.h"

namespace kellanseek::network {

/// The sockets of discovery: two for each interface, and one for controllers that are asked by address. Made
/// and closed by the refresh thread, while neither receiver nor daemon runs.
class DiscoverySockets : public RequestSender, public AnswerSender {
 public:
  /// `polling` is switched off when the non-local socket cannot be made. `tableMutex` is the controller
  /// table's, which is held while an interface is dropped.
  DiscoverySockets(platform::UdpNetwork& udp, InterfaceTable& interfaces,
                   const CKelLanSeekConfigSettings& settings, AddressPolling& polling,
                   platform::Mutex& tableMutex, platform::DebugOutput& debugOutput);

  /// Makes all sockets. An interface whose sockets cannot be made leaves the interface table.
  void CreateSockets() EXCLUDES(tableMutex_);
  void CloseSockets() EXCLUDES(tableMutex_);

  /// None when polling by address is off.
  platform::UdpSocket* NonLocalSocket() const { return nonLocalSocket_.get(); }

  void Broadcast(std::size_t position, std::string_view datagram) override;
  bool SendToAddressText(const std::wstring& address, std::string_view datagram) override;
  platform::SocketError Answer(std::size_t position, std::string_view datagram,
                               platform::Ipv4& destination) override;

 private:
  struct Binding {
    const std::wstring& addressText;
    platform::Ipv4 mask;
    bool bindToAddress;
  };

  std::unique_ptr<platform::UdpSocket> CreateSocket(const Binding& binding, std::uint16_t port) const;
  void CreateNonLocalSocket();
  std::unique_ptr<platform::UdpSocket> MakeNonLocalSocket() const;
  void Report(platform::SocketError error, const wchar_t* kind, platform::Ipv4 destination) const;

  platform::UdpNetwork& udp_;
  InterfaceTable& interfaces_;
  const CKelLanSeekConfigSettings& settings_;
  AddressPolling& polling_;
  platform::Mutex& tableMutex_;
  diagnostics::Tracer trace_;
  std::unique_ptr<platform::UdpSocket> nonLocalSocket_;
};

}  // namespace kellanseek::network
