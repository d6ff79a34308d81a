#include "tools/kelsim/Speakers.h"

#include <stdexcept>
#include <system_error>

namespace kellanseek::kelsim {
namespace {

using platform::Received;
using platform::SocketError;

std::runtime_error Failure(const std::string& what, SocketError error) {
  return std::runtime_error(what + ": " + std::system_category().message(error));
}

}  // namespace

Speakers::Library::Library(platform::UdpNetwork& started) : network(started) {
  if (const SocketError error = network.Startup(); error != 0) {
    network.Cleanup();
    throw Failure("the system's sockets cannot be used", error);
  }
}

Speakers::Library::~Library() { network.Cleanup(); }

Speakers::Speakers(platform::UdpNetwork& network, const std::vector<Place>& places, const Ports& ports,
                   bool broadcasts)
    : library_(network), responsePort_(ports.response) {
  const bool several = places.size() > 1;
  for (std::size_t i = 0; i < places.size(); ++i) {
    SendingSockets sending{nullptr, nullptr, places[i].address | ~places[i].mask};
    if (broadcasts) sending.toAll = Open(i, places[i], ports.request, false, true);
    if (ports.nonLocal != 0) sending.toOne = Open(i, places[i], ports.nonLocal, true, several);
    sending_.push_back(sending);
  }
  std::vector<platform::UdpSocket*> sockets;
  for (const ListeningSocket& listening : listening_) sockets.push_back(listening.socket.get());
  receiver_ = network.CreateReceiver(std::move(sockets), protocol::kMaxDatagram);
}

platform::UdpSocket* Speakers::Open(std::size_t speaker, const Place& place, std::uint16_t port, bool polls,
                                    bool shared) {
  const std::string what = "port " + std::to_string(port) + " of " + platform::FormatIpv4(place.address);
  SocketError error = 0;
  std::unique_ptr<platform::UdpSocket> socket = library_.network.CreateSocket(error);
  if (!socket) throw Failure("no socket for " + what, error);
  if (shared) error = socket->SetReuseAddress();
  if (error == 0) error = socket->SetBroadcast();
  if (error == 0) error = socket->Bind(place.address, place.mask, port);
  if (error != 0) throw Failure(what + " cannot be used", error);
  listening_.push_back({speaker, polls, std::move(socket)});
  return listening_.back().socket.get();
}

std::optional<Heard> Speakers::Hear(platform::Event& stop, std::chrono::milliseconds most) {
  const Received received = receiver_->ReceiveOne(stop, most);
  if (received.outcome != Received::Outcome::Datagram || !received.sourceIsIpv4) return std::nullopt;
  const ListeningSocket& listening = listening_[received.socket];
  Heard heard{{received.text.data(), received.text.size()}, listening.speaker, received.source, std::nullopt};
  if (listening.polls) heard.pollFrom = Endpoint{received.source, received.sourcePort};
  return heard;
}

bool Speakers::Send(const Outgoing& datagram) {
  const SendingSockets& sending = sending_[datagram.speaker];
  const Endpoint to = datagram.to.value_or(Endpoint{sending.broadcast, responsePort_});
  platform::UdpSocket* const socket = datagram.to ? sending.toOne : sending.toAll;
  return socket != nullptr && socket->SendTo(datagram.text, to.address, to.port) == 0;
}

}  // namespace kellanseek::kelsim
