#include "SimulatedPlant.h"

#include <utility>

#include "protocol/Fields.h"
#include "protocol/MessageWriter.h"

namespace kellanseek::test {
namespace {

using controllers::CtrlTable;

constexpr const char* kMask = "255.255.255.0";

SimulatedHost& PluggedIn(SimulatedNetwork& network, std::string_view address) {
  SimulatedHost& host = network.AddHost();
  host.Attach(0, address, kMask);
  return host;
}

std::string Narrow(const std::wstring& text) { return {text.begin(), text.end()}; }

}  // namespace

SimulatedWorkstation::SimulatedWorkstation(SimulatedNetwork& simulation, std::string_view address)
    : network(simulation),
      host(PluggedIn(simulation, address)),
      sockets_(host, settings_, polling_, traces_),
      receiver_({host, logic_.dispatcher, logic_.engineLock, rebuildWanted_, traces_}) {
  auto usable =
      network::HostInterfaces(host.addresses, settings_, traces_).SetupLanseekInterfaces().Entries();
  sockets_.CreateSockets(usable);
  {
    CtrlTable::Access table(table_);
    logic_.UseInterfaces(table, sockets_.Interfaces());
  }
  set_.emplace(sockets_);
  datagrams_ = host.CreateReceiver(set_->sockets, protocol::kMaxDatagram);
  host.OnArrival([this] { Receive(); });
  logic_.refreshCycle.BeginRun({sockets_, pacer_});
  network.Every(std::chrono::milliseconds(settings_.TickMilliseconds()), [this] {
    logic_.refreshCycle.Tick({sockets_, pacer_});
    Note();
  });
}

void SimulatedWorkstation::Receive() {
  for (;;) {
    const platform::Received received = datagrams_->ReceiveOne(stop_, std::chrono::milliseconds(0));
    if (received.outcome == platform::Received::Outcome::Nothing) return;
    heard[platform::FormatIpv4(received.source)].push_back(network.Now());
    receiver_.Handle(received, *set_);
    Note();
  }
}

void SimulatedWorkstation::Note() {
  const CtrlTable::Access table(table_);
  for (const ClientEvent& event : events_.Take()) {
    if (const CtrlTable::Record record = table.Find(event.lanSeekID))
      addresses_[event.lanSeekID] = Narrow(record->ctrlAddress);
    told.push_back({network.Now(), addresses_[event.lanSeekID], event});
  }
}

std::vector<std::string> SimulatedWorkstation::Listed() {
  std::vector<std::string> listed;
  CtrlTable::Access(table_).ForEach([&](CtrlTable::Record record) {
    if (record->published && record->Available()) listed.push_back(Narrow(record->ctrlAddress));
  });
  return listed;
}

std::string SimulatedWorkstation::Story(const std::string& address) const {
  static const std::map<LanSeekEventReason, std::string> kWords = {{CtrlNew, "new"},
                                                                   {CtrlUpdated, "updated"},
                                                                   {CtrlLostConnection, "lost"},
                                                                   {CtrlLostRestart, "restart"},
                                                                   {CtrlLostPowerDown, "power-down"}};
  std::string story;
  for (const Told& each : told) {
    if (each.address != address) continue;
    const auto word = kWords.find(each.event.reason);
    story += (story.empty() ? "" : " ") + (word == kWords.end() ? "other" : word->second);
  }
  return story;
}

SimulatedController::SimulatedController(SimulatedNetwork& network, std::string_view address)
    : host_(PluggedIn(network, address)), address_(address), name_("Cell " + address_) {
  platform::SocketError error = 0;
  const config::CKelLanSeekConfigSettings settings;
  socket_ = host_.CreateSocket(error);
  socket_->SetBroadcast();
  socket_->Bind(platform::ParseIpv4(address), platform::ParseIpv4(kMask),
                settings.Port(settings.RequestPort));
  datagrams_ = host_.CreateReceiver({socket_.get()}, protocol::kMaxDatagram);
  host_.OnArrival([this] { Receive(); });
}

void SimulatedController::Say(protocol::MessageType type) {
  using protocol::MessageWriter;
  const config::CKelLanSeekConfigSettings settings;
  const std::string datagram = MessageWriter(MessageWriter::LengthDigits::Three, type)
                                   .Text(protocol::kTagCtrlName, name_)
                                   .Text(protocol::kTagSystemID, "{" + address_ + "}")
                                   .Text(protocol::kTagMacAddress, "mac of " + address_)
                                   .Take();
  const platform::Ipv4 everybody = platform::ParseIpv4(address_) | ~platform::ParseIpv4(kMask);
  socket_->SendTo(datagram, everybody, settings.Port(settings.ResponsePort));
}

void SimulatedController::Receive() {
  static const std::string kFull = protocol::BuildRequest(protocol::MessageType::FullRequestMsg);
  static const std::string kRefresh = protocol::BuildRequest(protocol::MessageType::RefreshRequestMsg);
  const std::string targeted = protocol::BuildTargetedRequest(address_, "");
  for (;;) {
    const platform::Received received = datagrams_->ReceiveOne(never_, std::chrono::milliseconds(0));
    if (received.outcome != platform::Received::Outcome::Datagram) return;
    const std::string_view text(received.text.data(), received.text.size());
    if (silent_) continue;
    if (text == kFull || text == targeted) Say(protocol::MessageType::CtrlInfoMsg);
    if (text == kRefresh) Say(protocol::MessageType::CtrlAliveMsg);
  }
}

}  // namespace kellanseek::test
