#include "doctor/AddressDiagnosis.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "doctor/Cause.h"
#include "doctor/ReportReader.h"

namespace kellanseek::kelseek {
namespace {

using Json = nlohmann::json;
using platform::Ipv4;
using platform::NeighbourState;
using platform::Reply;
using platform::Route;

/// Whether what was found before explains that an address is not in the list. To suspect masks and switches
/// as well would send people the wrong way.
bool IsExplained(const std::string& address, const Json& report, const Findings& findings) {
  const Json& collisions = ListOf(report, "collisions");
  return CauseFor(platform::ParseIpv4(address), findings, report) != nullptr ||
         std::any_of(collisions.begin(), collisions.end(), [&](const Json& each) {
           return TextOf(MemberOf(each, "known"), "address") == address ||
                  TextOf(MemberOf(each, "heard"), "address") == address;
         });
}

class AddressDiagnosis {
 public:
  AddressDiagnosis(const AddressFacts& facts, const Json& report, Findings& findings)
      : facts_(facts), report_(report), findings_(findings), text_(platform::FormatIpv4(facts.address)) {}

  void Make() {
    if (facts_.route.kind == Route::Kind::None)
      return Fault("no-route", "This host has no way to " + text_ + ".", "The system has no route to it.",
                   "Connect its network, or enter a gateway for it.");
    if (facts_.route.kind == Route::Kind::Prohibited)
      return Fault("route-prohibited", "A route of this host forbids the way to " + text_ + ".",
                   "The system's route to it is a prohibited one.", "Remove that route.");
    switch (facts_.reply.kind) {
      case Reply::Kind::Answer: return Answered();
      case Reply::Kind::PortClosed:
        return Fault("port-closed", text_ + " is there, but is no controller that can be asked by address.",
                     "It refused the question: nobody serves the port there.",
                     "Check the address, and the setting NonLocalPort.");
      case Reply::Kind::SendRefused:
        return Fault("firewall-out", "This host does not let questions to " + text_ + " out.", ErrorText(),
                     "Allow outgoing UDP in the firewall of this host.");
      case Reply::Kind::HostUnreachable: return Unreachable();
      case Reply::Kind::Silent: return Silent();
    }
  }

 private:
  void Add(Mark mark, const char* code, std::string what, std::string seen = {}, std::string todo = {}) {
    findings_.push_back({mark, code, std::move(what), std::move(seen), std::move(todo)});
  }
  void Fault(const char* code, std::string what, std::string seen, std::string todo) {
    Add(Mark::Fault, code, std::move(what), std::move(seen), std::move(todo));
  }
  std::string ErrorText() const { return "Sending failed: " + platform::TextOfError(facts_.reply.error); }

  bool IsNeighbour() const { return facts_.route.kind == Route::Kind::OnLink; }

  void HostDown() {
    Fault("host-down", text_ + " does not exist on its network, or is switched off.",
          "Nobody on the network answers to this address.", "Check its power, its cable and its address.");
  }

  bool IsGatewayDown() const {
    return facts_.route.kind == Route::Kind::Gateway && facts_.neighbour == NeighbourState::Silent;
  }
  void GatewayDown() {
    Fault("gateway-down",
          "The gateway " + platform::FormatIpv4(facts_.route.gateway) + " on the way to " + text_ +
              " does not answer.",
          "It does not say its hardware address when asked for it (ARP).",
          "Check the gateway's power and cable, and whether the route of this host names the right one.");
  }

  void Unreachable() {
    if (IsNeighbour()) return HostDown();
    if (IsGatewayDown()) return GatewayDown();
    const Ipv4 router = facts_.reply.router;
    const std::string error = platform::TextOfError(facts_.reply.error);
    Fault("unreachable",
          router == 0
              ? text_ + " cannot be reached."
              : "The router " + platform::FormatIpv4(router) + " says that " + text_ + " cannot be reached.",
          router == 0 ? "This host says: " + error : "It answered the question: " + error,
          "Check the address, and the routers on the way.");
  }

  void Silent() {
    if (IsGatewayDown()) return GatewayDown();
    if (IsNeighbour() && facts_.neighbour == NeighbourState::Silent) return HostDown();
    if (IsNeighbour() && facts_.neighbour == NeighbourState::Answered)
      return Fault("firewall-there", text_ + " is there, but does not answer the question of the search.",
                   "It answered to its address on the network, and not on UDP port " +
                       std::to_string(SettingOf(report_, "NonLocalPort")) + ".",
                   "Check that it is a controller and runs, that its mask or its gateway lets it answer to "
                   "this host, and "
                   "whether a firewall there drops the question.");
    Fault("no-answer", text_ + " does not answer.",
          facts_.route.kind == Route::Kind::Gateway
              ? "Nothing came back from behind the router " + platform::FormatIpv4(facts_.route.gateway) + "."
              : "Nothing came back.",
          "Check that it is switched on, and the firewalls on the way and on both sides.");
  }

  void Answered() {
    const std::string after = " after " + std::to_string(facts_.reply.delay.count()) + " ms";
    if (!facts_.isDiscoveryMessage)
      return Fault("strange-answer", text_ + " answers with something that is no discovery message.",
                   "The answer came" + after + ".",
                   "Check the address: something else serves this port there.");
    if (facts_.systemId.empty() || facts_.mac.empty())
      return Fault("incomplete",
                   text_ + " answers without its " +
                       (facts_.systemId.empty() ? "system identity" : "MAC address") +
                       ", so it is not listed.",
                   "The answer came" + after + ".", "Complete the set-up of the controller.");
    if (IsTooLate())
      return Fault("slow", text_ + " answers too late to be listed reliably.",
                   "The answer came" + after + "; the component waits " + std::to_string(Patience()) + " s.",
                   "Check the load of the controller and of the network, or raise RefreshTimeout and "
                   "NonLocalRefreshTimeout in the settings.");
    if (const Json* other = Related()) return Shared(*other);
    Add(Mark::Fine, "answers", text_ + " answers" + after + ": " + facts_.name + ".");
    const Json* const network = NetworkOf(facts_.address, report_);
    const Json* const known = ControllerAt(text_, report_);
    if (network == nullptr || IsToSingleHost(*network)) return;
    if (known != nullptr && TextOf(*known, "way") == "broadcast") return;
    if (IsExplained(text_, report_, findings_)) return;
    Fault(
        "broadcast-lost",
        "Broadcasts between this host and " + text_ +
            " do not arrive, although it answers when asked directly.",
        "It is on the network of " + NameOf(*network) + ", and no answer to a broadcast came from it.",
        "Compare the masks of both, and look for a switch or a firewall that drops broadcasts on UDP ports " +
            std::to_string(SettingOf(report_, "RequestPort")) + " and " +
            std::to_string(SettingOf(report_, "ResponsePort")) + ".");
  }

  /// Seconds that the component gives the answer; 0 if it does not wait for it.
  std::int64_t Patience() const {
    const bool isNear = NetworkOf(facts_.address, report_) != nullptr;
    return std::max<std::int64_t>(SettingOf(report_, isNear ? "RefreshTimeout" : "NonLocalRefreshTimeout"),
                                  0);
  }
  bool IsTooLate() const { return Patience() > 0 && facts_.reply.delay > std::chrono::seconds(Patience()); }

  /// A known controller at another address with the same identity or MAC address; null if there is none.
  const Json* Related() const {
    for (const Json& each : ListOf(report_, "controllers")) {
      const bool other = TextOf(each, "address") != text_;
      if (other && (TextOf(each, "systemId") == facts_.systemId || TextOf(each, "mac") == facts_.mac))
        return &each;
    }
    return nullptr;
  }

  void Shared(const Json& other) {
    const bool sameIdentity = TextOf(other, "systemId") == facts_.systemId;
    const bool sameMac = TextOf(other, "mac") == facts_.mac;
    if (sameIdentity && sameMac)
      return Add(
          Mark::Remark, "second-address", text_ + " is another address of a known controller.",
          DescriptionOf(other) + " has the same identity and MAC address.",
          "Nothing has to be done if it has two addresses. Otherwise one of the two is a copy: give it an "
          "identity and a MAC address of its own.");
    const std::string what = sameIdentity ? "identity" : "MAC address";
    Fault("collision", text_ + " has the same " + what + " as another controller.",
          facts_.name + " at " + text_ + " (" + facts_.systemId + ", " + facts_.mac + ") and " +
              DescriptionOf(other) + ", which is known already.",
          "Give one of the two another " + what + ".");
  }

  const AddressFacts& facts_;
  const Json& report_;
  Findings& findings_;
  const std::string text_;
};

void Expect(platform::Ipv4 address, const Json& report, Findings& findings) {
  const std::string text = platform::FormatIpv4(address);
  if (const Json* known = ControllerAt(text, report)) {
    findings.push_back({Mark::Fine, "expected", DescriptionOf(*known) + " is known, as expected.", {}, {}});
  } else if (IsExplained(text, report, findings)) {
    findings.push_back({Mark::Fault, "expected-missing",
                        text + " is not in the list, as the faults above explain.",
                        "No listed controller has this address.", "Mend them first, then look again."});
  } else if (const Json* network = NetworkOf(address, report);
             network != nullptr && IsToSingleHost(*network)) {
    findings.push_back({Mark::Fault, "expected-missing",
                        text + " is behind " + NameOf(*network) + ", through which no broadcast goes.",
                        "It is a connection to a single host, such as a VPN.",
                        "Add it by its address: kelseek add --save " + text + "."});
  } else if (network != nullptr) {
    findings.push_back({Mark::Fault, "expected-missing", text + " was not found on its network.",
                        "It belongs to the network of " + NameOf(*network) + " with the mask " +
                            TextOf(*network, "mask") + ".",
                        "See the faults above. If there are none: compare its mask with that of this host."});
  } else {
    findings.push_back(
        {Mark::Fault, "other-network",
         text + " is on no network of this host, so broadcasts do not reach it.",
         "The networks searched: " + NetworksInWords(report) + ".",
         "Correct the address or the mask of this host or of the controller. If the controller is on another "
         "network on purpose, add it by its address: kelseek add --save " +
             text + ". kelseek doctor " + text + " tells whether there is a way to it."});
  }
}

}  // namespace

void AppendAddressFindings(const Facts& facts, Findings& findings) {
  for (const AddressFacts& each : facts.asked) AddressDiagnosis(each, facts.report, findings).Make();
  for (const platform::Ipv4 each : facts.expected) Expect(each, facts.report, findings);
}

}  // namespace kellanseek::kelseek
