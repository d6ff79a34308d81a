#include "doctor/WireDiagnosis.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "doctor/ReportReader.h"

namespace kellanseek::kelseek {
namespace {

using Json = nlohmann::json;
using platform::FormatIpv4;
using platform::Ipv4;

struct Network {
  const Json* entry = nullptr;
  Ipv4 address = 0;
  Ipv4 mask = 0;

  bool Has(Ipv4 other) const { return (address & mask) == (other & mask); }
  Ipv4 Broadcast() const { return address | ~mask; }
};

/// Whether a network with this broadcast address holds both addresses, whatever its mask.
bool BelongTogether(Ipv4 one, Ipv4 other, Ipv4 broadcast) {
  constexpr int kHostBits = 31;
  for (int bits = 1; bits < kHostBits; ++bits) {
    const Ipv4 host = platform::NetworkOrder((std::uint32_t{1} << bits) - 1);
    if ((one | host) == broadcast && (other | host) == broadcast) return true;
  }
  return false;
}

class WireDiagnosis {
 public:
  WireDiagnosis(const Facts& facts, Findings& findings)
      : facts_(facts), report_(facts.report), findings_(findings) {
    for (const Json& entry : ListOf(report_, "interfaces")) {
      if (!FlagOf(entry, "used")) continue;
      networks_.push_back({&entry, AddressOf(entry), platform::ParseIpv4(TextOf(entry, "mask"))});
    }
    for (const Json& each : ListOf(report_, "controllers")) known_.insert(TextOf(each, "systemId"));
    for (const Json& each : ListOf(report_, "collisions"))
      known_.insert(TextOf(MemberOf(each, "heard"), "systemId"));
  }

  void Make() {
    for (const Sighting& each : facts_.wire.sightings) {
      // The first network of the interface is as good as the others unless one has the sender.
      const Network* here = nullptr;
      bool isElsewhere = false;
      for (const Network& network : networks_) {
        const bool same = NumberOf(*network.entry, "index") == each.interfaceIndex;
        if (same && (here == nullptr || network.Has(each.source))) here = &network;
        isElsewhere |= !same && network.Has(each.source);
      }
      if (here == nullptr || named_.count(each.source) != 0) continue;
      if (isElsewhere) {
        OtherSubnet(each, *here);
      } else {
        Judge(each, *here);
      }
    }
  }

 private:
  void Judge(const Sighting& seen, const Network& here) {
    const bool isOurs = here.Has(seen.source);
    const bool isForAll = seen.destination == platform::kNoAddress || seen.destination == here.Broadcast();
    if (isForAll || seen.destination == here.address) {
      // By unicast it may come through a router.
      if (!isOurs && isForAll) Foreign(seen, here);
      if (!isOurs) return;
      // Where datagrams are lost for another reason, a missing one says nothing about a firewall.
      const Json& dropped = MemberOf(MemberOf(report_, "received"), "dropped");
      const bool losesNone = NumberOf(dropped, "tableFull") == 0 && NumberOf(dropped, "bySystem") == 0;
      if (losesNone && seen.isComplete && known_.count(seen.systemId) == 0) Unheard(seen, here);
    } else if (isOurs || BelongTogether(seen.source, here.address, seen.destination)) {
      Mask(seen, here);
    } else {
      Foreign(seen, here);
    }
  }

  void Add(Mark mark, const char* code, Ipv4 source, std::string what, std::string seen, std::string todo) {
    named_.insert(source);
    findings_.push_back({mark, code, std::move(what), std::move(seen), std::move(todo)});
  }

  void Unheard(const Sighting& seen, const Network& here) {
    Add(Mark::Fault, "firewall-in", seen.source,
        "This host drops what " + FormatIpv4(seen.source) + " sends before the component can read it.",
        "Its answers reach the network card of " + NameOf(*here.entry) + ", and not the component.",
        "Allow incoming UDP from it in the firewall of this host, and look at the reverse path filter.");
  }

  void Mask(const Sighting& seen, const Network& here) {
    Add(Mark::Fault, "wrong-mask", seen.source,
        "The masks of this host and of " + FormatIpv4(seen.source) +
            " differ, so neither hears the broadcasts of the other.",
        "It sends its broadcasts to " + FormatIpv4(seen.destination) + "; those of " + NameOf(*here.entry) +
            " with the mask " + FormatIpv4(here.mask) + " go to " + FormatIpv4(here.Broadcast()) + ".",
        "Give both the same mask.");
  }

  /// The component is not told of broadcasts to a network that is not that of the interface.
  void OtherSubnet(const Sighting& seen, const Network& here) {
    if (seen.destination == here.address || Has(findings_, "other-subnet")) return;
    Add(Mark::Remark, "other-subnet", seen.source,
        FormatIpv4(seen.source) + " is on the cable of " + NameOf(*here.entry) +
            ", and its address belongs to another network of this host.",
        "Its broadcasts to " + FormatIpv4(seen.destination) + " arrive there.",
        "Check whether two networks share a switch, whether a cable is in the wrong socket, and the mask of "
        "the "
        "controller.");
  }

  void Foreign(const Sighting& seen, const Network& here) {
    Add(Mark::Remark, "foreign-controller", seen.source,
        "A controller of another network is on the cable of " + NameOf(*here.entry) + ": " +
            FormatIpv4(seen.source) + ".",
        "Its broadcasts to " + FormatIpv4(seen.destination) + " arrive, but it does not belong to " +
            FormatIpv4(here.address) + " mask " + FormatIpv4(here.mask) + ".",
        "Correct its address or that of this host, unless the two networks share the cable on purpose.");
  }

  const Facts& facts_;
  const Json& report_;
  Findings& findings_;
  std::vector<Network> networks_;
  std::set<std::string> known_;
  std::set<Ipv4> named_;
};

}  // namespace

void AppendWireFindings(const Facts& facts, Findings& findings) {
  WireDiagnosis(facts, findings).Make();
  const bool isTroubled = std::any_of(findings.begin(), findings.end(),
                                      [](const Finding& each) { return each.mark == Mark::Fault; });
  if (!isTroubled || facts.wire.isWatched || facts.wire.whyNot.empty()) return;
  findings.push_back(
      {Mark::Remark, "not-watched",
       "What arrives at the network card and is dropped before the component could not be seen.",
       facts.wire.whyNot,
       "Run the doctor as an administrator: it then also sees answers that a firewall drops, wrong "
       "masks, and controllers with an address of another network."});
}

}  // namespace kellanseek::kelseek
