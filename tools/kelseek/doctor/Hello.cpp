#include "doctor/Hello.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "client/Text.h"
#include "doctor/ReportReader.h"
#include "doctor/Sockets.h"
#include "platform/Event.h"
#include "protocol/MessageReader.h"
#include "protocol/MessageWriter.h"
#include "tools/kelsim/HelloWords.h"

namespace kellanseek::kelseek {
namespace {

using Json = nlohmann::json;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// Two announcements of the other end fit in.
constexpr milliseconds kListening{2500};
constexpr milliseconds kBetweenQuestions{500};
constexpr milliseconds kHelloTime{1000};

/// What an identity says, if it is a hello.
struct Words {
  std::string name;
  std::wstring heard;
};
std::optional<Words> ReadHello(std::string_view datagram) {
  protocol::Message message;
  const auto parsed = protocol::ParseMessage(datagram, datagram.size(), message);
  const std::wstring name = message.identity.ctrlName.Wide();
  if (parsed.outcome != protocol::ParseResult::Outcome::Accepted ||
      message.type != protocol::MessageType::CtrlInfoMsg || !hello::IsHello(name))
    return std::nullopt;
  return Words{ToUtf8(name), message.identity.systemName.Wide()};
}

class Greeting {
 public:
  explicit Greeting(const Json& report)
      : question_(protocol::BuildRequest(protocol::MessageType::FullRequestMsg)),
        requestPort_(PortOf(report, "RequestPort")),
        pollPort_(PortOf(report, "NonLocalPort")) {
    std::vector<platform::UdpSocket*> listeners;
    for (const Json* const entry : BroadcastNetworks(report)) {
      Network network;
      network.facts.address = AddressOf(*entry);
      network.mask = platform::ParseIpv4(TextOf(*entry, "mask"));
      network.sender = OpenSocket(network.facts.address, network.mask, requestPort_);
      network.listener = OpenSocket(network.facts.address, network.mask, PortOf(report, "ResponsePort"));
      if (!network.sender || !network.listener) continue;
      listeners.push_back(network.listener.get());
      networks_.push_back(std::move(network));
    }
    if (!listeners.empty())
      receiver_ = platform::SystemUdpNetwork().CreateReceiver(std::move(listeners), protocol::kMaxDatagram);
  }

  std::vector<HelloFacts> Run(const std::vector<platform::Ipv4>& addresses) {
    Broadcast();
    for (const platform::Ipv4 address : addresses) PeerAt(FactsFor(address), address);
    std::vector<HelloFacts> all;
    for (Network& network : networks_) {
      for (HelloPeer& peer : network.facts.peers) AskByAddress(peer, network.facts.address);
      all.push_back(std::move(network.facts));
    }
    for (HelloPeer& peer : elsewhere_.peers) AskByAddress(peer, 0);
    if (!elsewhere_.peers.empty()) all.push_back(std::move(elsewhere_));
    return all;
  }

 private:
  struct Network {
    HelloFacts facts;
    platform::Ipv4 mask = 0;
    std::unique_ptr<platform::UdpSocket> sender;
    std::unique_ptr<platform::UdpSocket> listener;
  };

  static std::uint16_t PortOf(const Json& report, const char* setting) {
    return static_cast<std::uint16_t>(SettingOf(report, setting));
  }

  void Broadcast() {
    if (!receiver_) return;
    const auto end = Clock::now() + kListening;
    auto nextQuestion = Clock::now();
    while (Clock::now() < end && !AllProven()) {
      if (Clock::now() >= nextQuestion) {
        nextQuestion = Clock::now() + kBetweenQuestions;
        for (Network& network : networks_) {
          const platform::Ipv4 everybody = network.facts.address | ~network.mask;
          network.facts.isSent |= network.sender->SendTo(question_, everybody, requestPort_) == 0;
        }
      }
      const auto wait = std::min(nextQuestion, end) - Clock::now();
      Hear(std::max(std::chrono::ceil<milliseconds>(wait), milliseconds(0)));
    }
  }

  bool AllProven() const {
    return std::all_of(networks_.begin(), networks_.end(), [](const Network& network) {
      const std::vector<HelloPeer>& peers = network.facts.peers;
      return !peers.empty() && std::all_of(peers.begin(), peers.end(), [](const HelloPeer& peer) {
        return peer.byBroadcast && peer.hasHeardUs;
      });
    });
  }

  void Hear(milliseconds wait) {
    const platform::Received got = receiver_->ReceiveOne(never_, wait);
    if (got.outcome != platform::Received::Outcome::Datagram) return;
    const auto words = ReadHello({got.text.data(), got.text.size()});
    HelloFacts& facts = networks_[got.socket].facts;
    if (!words || got.source == facts.address) return;
    HelloPeer& peer = PeerAt(facts, got.source);
    peer.byBroadcast = true;
    Take(*words, facts.address, peer);
  }

  static void Take(const Words& words, platform::Ipv4 ownAddress, HelloPeer& peer) {
    peer.name = words.name;
    peer.hasHeardUs |= hello::HasHeard(words.heard, ownAddress);
  }

  HelloFacts& FactsFor(platform::Ipv4 address) {
    for (Network& network : networks_)
      if ((network.facts.address & network.mask) == (address & network.mask)) return network.facts;
    return elsewhere_;
  }

  static HelloPeer& PeerAt(HelloFacts& facts, platform::Ipv4 address) {
    for (HelloPeer& peer : facts.peers)
      if (peer.address == address) return peer;
    facts.peers.push_back({address});
    return facts.peers.back();
  }

  void AskByAddress(HelloPeer& peer, platform::Ipv4 ownAddress) const {
    const platform::Reply reply = platform::Ask(peer.address, pollPort_, question_, kHelloTime);
    if (reply.kind != platform::Reply::Kind::Answer) return;
    const auto words = ReadHello(reply.datagram);
    if (!words) return;
    peer.byAddress = true;
    Take(*words, ownAddress, peer);
  }

  const std::string question_;
  const std::uint16_t requestPort_;
  const std::uint16_t pollPort_;
  std::vector<Network> networks_;  ///< In the order of the receiver's sockets.
  HelloFacts elsewhere_;
  std::unique_ptr<platform::DatagramReceiver> receiver_;
  platform::Event never_{platform::Event::Kind::ManualReset};
};

}  // namespace

std::vector<HelloFacts> SayHello(const Json& report, const std::vector<platform::Ipv4>& addresses) {
  return Greeting(report).Run(addresses);
}

}  // namespace kellanseek::kelseek
