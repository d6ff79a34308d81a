#include "network/DiscoverySockets.h"

#include <utility>

namespace kellanseek::network {
namespace {

constexpr const wchar_t* kUnit = L"dynamicinfo";

}  // namespace

DiscoverySockets::DiscoverySockets(platform::UdpNetwork& udp, InterfaceTable& interfaces,
                                   const CKelLanSeekConfigSettings& settings, AddressPolling& polling,
                                   platform::Mutex& tableMutex, platform::DebugOutput& debugOutput)
    : udp_(udp),
      interfaces_(interfaces),
      settings_(settings),
      polling_(polling),
      tableMutex_(tableMutex),
      trace_(debugOutput, kUnit) {}

std::unique_ptr<platform::UdpSocket> DiscoverySockets::CreateSocket(const Binding& binding,
                                                                    std::uint16_t port) const {
  const std::wstring& text = binding.addressText;
  platform::SocketError error = 0;
  auto socket = udp_.CreateSocket(error);
  if (!socket) {
    trace_.Error(L"LanSeek: Failed to create socket for %s. Error %d", text, error);
    return nullptr;
  }
  error = socket->SetReuseAddress();
  if (error != 0) {
    trace_.Error(L"LanSeek: Failed to setup socket reuse option for %s. Error %d", text, error);
    return nullptr;
  }
  error = socket->SetBroadcast();
  if (error != 0) {
    trace_.Error(L"LanSeek: Failed to setup broadcast option for interface %s. Error %d", text, error);
    return nullptr;
  }
  platform::Ipv4 address = 0;
  if (binding.bindToAddress) {
    address = platform::ParseIpv4(std::wstring_view(text));
    if (address == platform::kNoAddress) {
      trace_.Error(L"LanSeek: Failed to convert address %s", text);
      return nullptr;
    }
  }
  error = socket->Bind(address, binding.mask, port);
  if (error != 0) {
    trace_.Error(L"LanSeek: Failed to bind socket for %s. Error = %d", text, error);
    return nullptr;
  }
  return socket;
}

void DiscoverySockets::CreateSockets() {
  for (std::size_t position = 0; position < interfaces_.Size();) {
    InterfaceEntry& entry = interfaces_[position];
    const Binding binding{entry.addressText, entry.mask, !entry.addressText.empty()};
    auto request = CreateSocket(binding, settings_.Port(settings_.RequestPort));
    auto response = request ? CreateSocket(binding, settings_.Port(settings_.ResponsePort)) : nullptr;
    const platform::MutexLock lock(tableMutex_);
    if (!response) {
      interfaces_.Remove(position);
      continue;
    }
    entry.requestSocket = std::move(request);
    entry.responseSocket = std::move(response);
    ++position;
  }
  CreateNonLocalSocket();
}

std::unique_ptr<platform::UdpSocket> DiscoverySockets::MakeNonLocalSocket() const {
  platform::SocketError error = 0;
  auto socket = udp_.CreateSocket(error);
  if (!socket) {
    trace_.Error(L"LanSeek: Failed to create nonlocal socket: %d", error);
    return nullptr;
  }
  error = socket->SetReuseAddress();
  if (error != 0) {
    trace_.Error(L"LanSeek:Failed to setup reuse addresses option for nonlocal socket. Error %d", error);
  }
  error = socket->Bind(0, 0, 0);
  if (error != 0) {
    trace_.Error(L"LanSeek: Sender Failed to bind nonlocal socket. Error = %d", error);
    return nullptr;
  }
  return socket;
}

void DiscoverySockets::CreateNonLocalSocket() {
  if (!polling_.Enabled()) return;
  if (nonLocalSocket_) {
    trace_.Error(L"Lanseek: Nonlocal socket already exists. Internal error");
    nonLocalSocket_.reset();
  }
  nonLocalSocket_ = MakeNonLocalSocket();
  if (!nonLocalSocket_) polling_.SwitchOff();
}

void DiscoverySockets::CloseSockets() {
  const platform::MutexLock lock(tableMutex_);
  for (std::size_t position = 0; position < interfaces_.Size(); ++position) {
    interfaces_[position].requestSocket.reset();
    interfaces_[position].responseSocket.reset();
  }
  nonLocalSocket_.reset();
}

void DiscoverySockets::Broadcast(std::size_t position, std::string_view datagram) {
  const InterfaceEntry& entry = interfaces_[position];
  if (!entry.responseSocket) return;
  Report(
      entry.responseSocket->SendTo(datagram, entry.broadcastAddress, settings_.Port(settings_.RequestPort)),
      L"dynamic", entry.broadcastAddress);
}

bool DiscoverySockets::SendToAddressText(const std::wstring& address, std::string_view datagram) {
  if (!nonLocalSocket_) return true;
  const platform::Ipv4 destination = platform::ParseIpv4(std::wstring_view(address));
  const platform::SocketError error =
      nonLocalSocket_->TrySendTo(datagram, destination, settings_.Port(settings_.NonLocalPort));
  if (error == platform::kNoRoom) return false;
  Report(error, L"static", destination);
  return true;
}

void DiscoverySockets::Report(platform::SocketError error, const wchar_t* kind,
                              platform::Ipv4 destination) const {
  if (error == 0 || udp_.IsExpectedSendError(error)) return;
  trace_.Error(L"LanSeek: Sender Failed to send data (%s request) addr=0x%x. Error=%d", kind,
               platform::HostOrder(destination), error);
}

platform::SocketError DiscoverySockets::Answer(std::size_t position, std::string_view datagram,
                                               platform::Ipv4& destination) {
  if (position >= interfaces_.Size()) return 0;
  const InterfaceEntry& entry = interfaces_[position];
  destination = entry.broadcastAddress;
  if (!entry.requestSocket) return 0;
  return entry.requestSocket->SendTo(datagram, destination, settings_.Port(settings_.ResponsePort));
}

}  // namespace kellanseek::network
