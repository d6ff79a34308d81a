#include "network/DiscoverySockets.h"

#include <utility>

#include "diagnostics/UnitNames.h"

namespace kellanseek::network {
DiscoverySockets::DiscoverySockets(platform::UdpNetwork& udp,
                                   const config::CKelLanSeekConfigSettings& settings, AddressPolling& polling,
                                   diagnostics::Journal& journal, platform::DebugOutput& debugOutput)
    : udp_(udp),
      settings_(settings),
      polling_(polling),
      journal_(journal),
      trace_(debugOutput, diagnostics::kDynamicInfoUnit) {}

std::unique_ptr<platform::UdpSocket> DiscoverySockets::CreateSocket(const Binding& binding,
                                                                    std::uint16_t port) const {
  const std::wstring& text = binding.addressText;
  const auto refused = [&](const char* step, platform::SocketError code, const wchar_t* message) {
    journal_.SocketRefused({binding.address, port, step, code});
    trace_.Error(message, text, code);
    return nullptr;
  };
  platform::SocketError error{};
  auto socket = udp_.CreateSocket(error);
  if (!socket) return refused("create", error, L"LanSeek: Failed to create socket for %s. Error %d");
  error = socket->SetReuseAddress();
  if (error != 0) {
    return refused("option", error, L"LanSeek: Failed to setup socket reuse option for %s. Error %d");
  }
  error = socket->SetBroadcast();
  if (error != 0) {
    return refused("option", error, L"LanSeek: Failed to setup broadcast option for interface %s. Error %d");
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
  if (error != 0) return refused("bind", error, L"LanSeek: Failed to bind socket for %s. Error = %d");
  return socket;
}

void DiscoverySockets::CreateSockets(std::vector<InterfaceEntry>& usable) {
  pairs_.clear();
  journal_.SocketsWanted();
  for (auto entry = usable.begin(); entry != usable.end();) {
    const Binding binding{entry->addressText, entry->mask, !entry->addressText.empty(), entry->address};
    auto request = CreateSocket(binding, settings_.Port(settings_.RequestPort));
    auto response = request ? CreateSocket(binding, settings_.Port(settings_.ResponsePort)) : nullptr;
    if (!response) {
      entry = usable.erase(entry);
      continue;
    }
    pairs_.push_back({std::move(response), std::move(request)});
    ++entry;
  }
  interfaces_ = InterfaceTable(usable);
  CreateNonLocalSocket();
}

std::unique_ptr<platform::UdpSocket> DiscoverySockets::MakeNonLocalSocket() const {
  platform::SocketError error{};
  auto socket = udp_.CreateSocket(error);
  if (!socket) {
    journal_.SocketRefused({0, 0, "create", error});
    trace_.Error(L"LanSeek: Failed to create nonlocal socket: %d", error);
    return nullptr;
  }
  error = socket->SetReuseAddress();
  if (error != 0) {
    trace_.Error(L"LanSeek:Failed to setup reuse addresses option for nonlocal socket. Error %d", error);
  }
  error = socket->Bind(0, 0, 0);
  if (error != 0) {
    journal_.SocketRefused({0, 0, "bind", error});
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
  interfaces_ = {};
  pairs_.clear();
  nonLocalSocket_.reset();
}

void DiscoverySockets::Broadcast(controllers::InterfaceIndex interfaceIndex, std::string_view datagram) {
  if (PlaceOf(interfaceIndex) >= pairs_.size()) return;
  const platform::Ipv4 destination = interfaces_[interfaceIndex].broadcastAddress;
  journal_.counters.broadcastRequests.Add();
  const Pair& pair = pairs_[PlaceOf(interfaceIndex)];
  Report(pair.response->SendTo(datagram, destination, settings_.Port(settings_.RequestPort)), L"dynamic",
         destination);
}

bool DiscoverySockets::SendToAddress(platform::Ipv4 address, std::string_view datagram) {
  if (!nonLocalSocket_) return true;
  const platform::SocketError error =
      nonLocalSocket_->TrySendTo(datagram, address, settings_.Port(settings_.NonLocalPort));
  if (error == platform::kNoRoom) return false;
  journal_.counters.requestsByAddress.Add();
  Report(error, L"static", address);
  return true;
}

void DiscoverySockets::Report(platform::SocketError error, const wchar_t* kind,
                              platform::Ipv4 destination) const {
  if (error == 0) return;
  journal_.SendFailed(error, destination);
  if (udp_.IsExpectedSendError(error)) return;
  trace_.Error(L"LanSeek: Sender Failed to send data (%s request) addr=0x%x. Error=%d", kind,
               platform::HostOrder(destination), error);
}

platform::SocketError DiscoverySockets::Answer(controllers::InterfaceIndex interfaceIndex,
                                               std::string_view datagram, platform::Ipv4& destination) {
  if (PlaceOf(interfaceIndex) >= pairs_.size()) return 0;
  destination = interfaces_[interfaceIndex].broadcastAddress;
  const Pair& pair = pairs_[PlaceOf(interfaceIndex)];
  const platform::SocketError error =
      pair.request->SendTo(datagram, destination, settings_.Port(settings_.ResponsePort));
  journal_.counters.answers.Add();
  if (error != 0) journal_.SendFailed(error, destination);
  return error;
}

void DiscoverySockets::NoteDrops() const {
  std::uint64_t drops = 0;
  for (const Pair& pair : pairs_) drops += pair.request->DroppedBySystem() + pair.response->DroppedBySystem();
  if (nonLocalSocket_) drops += nonLocalSocket_->DroppedBySystem();
  journal_.counters.droppedBySystem.Update(drops);
}

}  // namespace kellanseek::network
