#include "doctor/HelloDiagnosis.h"

#include <algorithm>
#include <string>

#include "doctor/ReportReader.h"

namespace kellanseek::kelseek {
namespace {

using platform::FormatIpv4;

class HelloDiagnosis {
 public:
  HelloDiagnosis(const Facts& facts, Findings& findings) : report_(facts.report), findings_(findings) {
    for (const HelloFacts& each : facts.hello)
      isAnswered_ |= std::any_of(each.peers.begin(), each.peers.end(), IsThere);
  }

  void Network(const HelloFacts& facts) {
    const std::string here = facts.address == 0 ? "" : NetworkName(facts.address);
    if (facts.peers.empty()) return Nobody(here, facts.isSent);
    for (const HelloPeer& peer : facts.peers) Peer(peer, here);
  }

 private:
  static bool IsThere(const HelloPeer& peer) { return peer.byBroadcast || peer.byAddress; }

  void Add(Mark mark, const char* code, std::string what, std::string seen = {}, std::string todo = {}) {
    findings_.push_back({mark, code, std::move(what), std::move(seen), std::move(todo)});
  }

  std::string NetworkName(platform::Ipv4 address) const {
    for (const nlohmann::json& entry : ListOf(report_, "interfaces"))
      if (TextOf(entry, "address") == FormatIpv4(address)) return NameOf(entry);
    return FormatIpv4(address);
  }
  std::string Port(const char* setting) const {
    return "UDP port " + std::to_string(SettingOf(report_, setting));
  }

  void Nobody(const std::string& here, bool isSent) {
    Add(isAnswered_ ? Mark::Remark : Mark::Fault, "hello-nobody", "Nobody says hello on " + here + ".",
        isSent ? "Broadcasts went out; nothing came back." : "No broadcast could be sent.",
        "Start kelsim --hello on a host of that network. If it runs there, try its address: kelseek doctor "
        "--hello "
        "ADDRESS.");
  }

  void Peer(const HelloPeer& peer, const std::string& here) {
    const std::string who = peer.name.empty() ? FormatIpv4(peer.address)
                                              : "\"" + peer.name + "\" (" + FormatIpv4(peer.address) + ")";
    if (!IsThere(peer))
      return Add(Mark::Fault, "hello-silent", who + " says no hello.",
                 "Neither a broadcast of it nor an answer to a question by its address came.",
                 "Check that kelsim --hello runs there, and the address; kelseek doctor " +
                     FormatIpv4(peer.address) + " says what stands between.");
    if (here.empty())
      return Add(
          Mark::Fine, "hello-by-address",
          who + " answers when asked by its address; broadcasts do not go beyond the networks of a host.");
    Broadcasts(peer, who, here);
    if (!peer.byAddress)
      Add(Mark::Remark, "hello-not-by-address", who + " does not answer when asked by its address.",
          "A question to its " + Port("NonLocalPort") + " got no answer.",
          "Allow that port in the firewalls of both sides if controllers are to be added by their "
          "addresses.");
  }

  void Broadcasts(const HelloPeer& peer, const std::string& who, const std::string& here) {
    const std::string there =
        "Allow incoming " + Port("RequestPort") +
        " in the firewall of the other host and outgoing in that of this host, and compare "
        "the masks of both.";
    const std::string back =
        "Allow incoming " + Port("ResponsePort") +
        " in the firewall of this host and outgoing in that of the other host, and compare the "
        "masks of both.";
    if (peer.byBroadcast && peer.hasHeardUs)
      return Add(Mark::Fine, "hello-both-ways",
                 "Broadcasts on " + here + " get to " + who + " and back" +
                     (peer.byAddress ? ", and so do questions by address." : "."));
    if (peer.byBroadcast)
      return Add(Mark::Fault, "hello-not-there",
                 "Broadcasts of this host on " + here + " do not arrive at " + who + ".",
                 "Its own broadcasts arrive here, and say that it hears none of this host.", there);
    if (peer.hasHeardUs)
      return Add(Mark::Fault, "hello-not-back",
                 "Broadcasts of " + who + " do not arrive here on " + here + ".",
                 "Asked by its address, it says that it hears the broadcasts of this host.", back);
    Add(Mark::Fault, "hello-only-by-address",
        "Between " + here + " and " + who + " only questions by address get through, no broadcasts.",
        "It answers by address, and says that it hears no broadcasts of this host; none of its own came.",
        there +
            " Look for a switch that drops broadcasts. Until then, add controllers by their addresses: "
            "kelseek add "
            "ADDRESS.");
  }

  const nlohmann::json& report_;
  Findings& findings_;
  bool isAnswered_ = false;
};

}  // namespace

void AppendHelloFindings(const Facts& facts, Findings& findings) {
  if (!facts.saidHello) return;
  HelloDiagnosis diagnosis(facts, findings);
  for (const HelloFacts& each : facts.hello) diagnosis.Network(each);
}

}  // namespace kellanseek::kelseek
