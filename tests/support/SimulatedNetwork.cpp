#include "tests/support/SimulatedNetwork.h"

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <utility>

namespace kellanseek::test {

using platform::Ipv4;
using platform::SocketError;

class SimulatedSocket : public platform::UdpSocket {
 public:
  explicit SimulatedSocket(SimulatedHost& host) : host_(host) { host.sockets_.push_back(this); }
  ~SimulatedSocket() override { std::erase(host_.sockets_, this); }

  SocketError SetReuseAddress() override { return 0; }
  SocketError SetBroadcast() override { return 0; }
  SocketError Bind(Ipv4 address, Ipv4 mask, std::uint16_t port) override;
  SocketError SendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) override;
  SocketError TrySendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) override {
    return SendTo(bytes, destination, port);
  }

  bool Hears(const SimulatedHost::Attachment& at, std::uint16_t port) const {
    return port_ == port && (address_ == 0 || address_ == at.address);
  }
  SimulatedNetwork& network() const { return host_.network_; }

  std::deque<SimulatedNetwork::Sent> arrived;

 private:
  bool Attached() const {
    return address_ == 0 || std::any_of(host_.attachments_.begin(), host_.attachments_.end(),
                                        [this](const auto& each) { return each.address == address_; });
  }
  const SimulatedHost::Attachment* Route(Ipv4 destination) const;

  SimulatedHost& host_;
  Ipv4 address_ = 0;
  std::uint16_t port_ = 0;
};

SocketError SimulatedSocket::Bind(Ipv4 address, Ipv4 /*mask*/, std::uint16_t port) {
  address_ = address;
  if (!Attached()) return SimulatedHost::kNoSuchAddress;
  port_ = port != 0 ? port : ++host_.lastFreePort_;
  return 0;
}

const SimulatedHost::Attachment* SimulatedSocket::Route(Ipv4 destination) const {
  const SimulatedHost::Attachment* found = nullptr;
  for (const SimulatedHost::Attachment& each : host_.attachments_) {
    if (each.IsBroadcast(destination) ? address_ == 0 || each.address == address_
                                      : each.Contains(destination)) {
      if (found == nullptr || each.address == address_) found = &each;
    }
  }
  return found;
}

SocketError SimulatedSocket::SendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) {
  if (!Attached()) return SimulatedHost::kNoSuchAddress;
  const SimulatedHost::Attachment* via = Route(destination);
  if (via == nullptr) return SimulatedHost::kUnreachable;
  if (port_ == 0) Bind(0, 0, 0);
  const Ipv4 source = address_ != 0 ? address_ : via->address;
  network().Send(host_, *via, {network().Now(), source, port_, destination, port, std::string(bytes)});
  return 0;
}

namespace {

class SimulatedReceiver : public platform::DatagramReceiver {
 public:
  explicit SimulatedReceiver(const std::vector<platform::UdpSocket*>& sockets) {
    for (platform::UdpSocket* socket : sockets) sockets_.push_back(static_cast<SimulatedSocket*>(socket));
  }

  /// Never waits: time passes only outside.
  platform::Received ReceiveOne(platform::Event&, std::chrono::milliseconds) override {
    const auto ready = std::find_if(sockets_.begin(), sockets_.end(),
                                    [](const auto* each) { return !each->arrived.empty(); });
    if (ready == sockets_.end()) return {};
    current_ = std::move((*ready)->arrived.front());
    (*ready)->arrived.pop_front();
    current_.text.push_back('\0');
    return {.outcome = platform::Received::Outcome::Datagram,
            .socket = static_cast<std::size_t>(ready - sockets_.begin()),
            .text = {current_.text.data(), current_.text.size() - 1},
            .source = current_.source,
            .sourcePort = current_.sourcePort,
            .sourceIsIpv4 = true};
  }

 private:
  std::vector<SimulatedSocket*> sockets_;
  SimulatedNetwork::Sent current_;
};

}  // namespace

void SimulatedHost::Attach(int domain, std::string_view address, std::string_view mask) {
  attachments_.push_back({domain, platform::ParseIpv4(address), platform::ParseIpv4(mask)});
  ++interfaces_;
  addresses.AddInterface(interfaces_, {0x02, 0x00, 0x00, 0x00, number_, interfaces_});
  addresses.AddAddress(interfaces_, address, mask);
}

std::unique_ptr<platform::UdpSocket> SimulatedHost::CreateSocket(SocketError& error) {
  error = 0;
  return std::make_unique<SimulatedSocket>(*this);
}

std::unique_ptr<platform::DatagramReceiver> SimulatedHost::CreateReceiver(
    std::vector<platform::UdpSocket*> sockets, std::size_t /*capacity*/) {
  return std::make_unique<SimulatedReceiver>(sockets);
}

SimulatedNetwork::SimulatedNetwork(std::uint32_t seed)
    : seedTrace_(__FILE__, __LINE__, "KELLANSEEK_SEED=" + std::to_string(seed)), random_(seed) {}

std::uint32_t SimulatedNetwork::ChooseSeed() {
  const char* const said = std::getenv("KELLANSEEK_SEED");
  return said != nullptr ? static_cast<std::uint32_t>(std::strtoul(said, nullptr, 10))
                         : std::random_device()();
}

SimulatedHost& SimulatedNetwork::AddHost() {
  return *hosts_.emplace_back(
      std::make_unique<SimulatedHost>(*this, static_cast<std::uint8_t>(hosts_.size() + 1)));
}

void SimulatedNetwork::CutOff(const std::vector<SimulatedHost*>& hosts) {
  ++lastSide_;
  for (SimulatedHost* host : hosts) host->side_ = lastSide_;
}

void SimulatedNetwork::Heal() {
  for (const auto& host : hosts_) host->side_ = 0;
}

void SimulatedNetwork::Every(Time period, std::function<void()> action) {
  At(now_ + period, [this, period, action = std::move(action)] {
    Every(period, action);
    action();
  });
}

void SimulatedNetwork::RunFor(Time duration) {
  const Time end = now_ + duration;
  while (!actions_.empty() && actions_.top().time <= end) {
    const Action next = actions_.top();
    actions_.pop();
    now_ = std::max(now_, next.time);
    next.run();
  }
  now_ = end;
}

void SimulatedNetwork::Send(const SimulatedHost& from, const SimulatedHost::Attachment& via,
                            const Sent& datagram) {
  sent.push_back(datagram);
  const auto shared = std::make_shared<const Sent>(datagram);
  for (const auto& host : hosts_) {
    const bool self = host.get() == &from;
    if (host->side_ != from.side_) continue;
    for (const SimulatedHost::Attachment& at : host->attachments_) {
      const bool taken = at.address == datagram.destination || at.IsBroadcast(datagram.destination);
      if (at.domain != via.domain || !taken) continue;
      const int copies = !self && std::bernoulli_distribution(weather.duplicates)(random_) ? 2 : 1;
      for (int i = 0; i < copies; ++i) {
        if (!self && std::bernoulli_distribution(weather.loss)(random_)) continue;
        const Time jitter(std::uniform_int_distribution<Time::rep>(0, weather.jitter.count())(random_));
        At(now_ + (self ? Time(0) : weather.delay + jitter),
           [&to = *host, at, shared] { Arrive(to, at, *shared); });
      }
    }
  }
}

void SimulatedNetwork::Arrive(SimulatedHost& host, const SimulatedHost::Attachment& at,
                              const Sent& datagram) {
  for (SimulatedSocket* socket : host.sockets_) {
    if (!socket->Hears(at, datagram.port)) continue;
    socket->arrived.push_back(datagram);
    // A unicast goes to only one of the sockets that share the address.
    if (!at.IsBroadcast(datagram.destination)) break;
  }
  if (host.onArrival_) host.onArrival_();
}

}  // namespace kellanseek::test
