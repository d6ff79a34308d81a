#include "doctor/Diagnosis.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "doctor/AddressDiagnosis.h"
#include "doctor/AnswerDiagnosis.h"
#include "doctor/Cause.h"
#include "doctor/ConfigurationDiagnosis.h"
#include "doctor/HelloDiagnosis.h"
#include "doctor/ReceptionDiagnosis.h"
#include "doctor/ReportReader.h"
#include "doctor/WireDiagnosis.h"

namespace kellanseek::kelseek {
namespace {

using Json = nlohmann::json;

/// So many controllers that leave requests unanswered are named one by one.
constexpr std::size_t kMostUnanswered = 5;
constexpr const char* kRaiseFiles =
    "Raise the limit on open files of this user or service (ulimit -n, LimitNOFILE).";

class Diagnosis {
 public:
  explicit Diagnosis(const Facts& facts) : facts_(facts), report_(facts.report) {}

  Findings Make() {
    if (!facts_.failure.empty()) {
      CutOff(kAllNetworks, "descriptors",
             "The component cannot work, because this program may open too few files and sockets.",
             facts_.failure + ". " + OpenFilesInWords(), kRaiseFiles);
      return std::move(findings_);
    }
    Component();
    Limits();
    Interfaces();
    Firewall();
    SystemFirewall();
    Sending();
    AppendConfigurationFindings(facts_, findings_);
    AppendReceptionFindings(facts_, findings_);
    Controllers();
    Surroundings();
    AppendAnswerFindings(facts_, findings_);
    AppendAddressFindings(facts_, findings_);
    AppendHelloFindings(facts_, findings_);
    AppendWireFindings(facts_, findings_);
    ReferToCause();
    return std::move(findings_);
  }

 private:
  void Add(Mark mark, const char* code, std::string what, std::string seen = {}, std::string todo = {}) {
    findings_.push_back({mark, code, std::move(what), std::move(seen), std::move(todo)});
  }
  void CutOff(platform::Ipv4 network, const char* code, std::string what, std::string seen,
              std::string todo) {
    findings_.push_back({Mark::Fault, code, std::move(what), std::move(seen), std::move(todo), network});
  }

  void Component();
  void Surroundings();
  void Threads();
  std::string PlaceOfList() const;
  std::string HelpForList() const;
  bool IsAnyInterfaceUsed() const;
  void Interfaces();
  void Interface(const Json& entry);
  void RefusedInterface(const Json& entry);
  void Firewall();
  void Sending();
  void Limits();
  void SystemFirewall();
  void Controllers();
  void ReferToCause();
  void Collisions();
  std::string HoldersOf(std::uint16_t port) const;
  std::string OpenFilesInWords() const;

  const Facts& facts_;
  const Json& report_;
  Findings findings_;
};

void Diagnosis::Component() {
  Add(Mark::Fine, "component",
      "The component " + TextOf(report_, "version") + " works and has listened for " +
          Seconds(facts_.listened) + ".");
  Threads();
}

/// Where the program runs may be why nobody was found; a program that finds controllers need not hear of it.
void Diagnosis::Surroundings() {
  if (!Has(findings_, "none-found")) return;
  if (facts_.host == platform::HostKind::Container)
    Add(Mark::Remark, "container", "This program runs in a container.",
        "The system has the marks of a container.",
        "A container usually has a network of its own, which broadcasts of the plant do not enter. Run it "
        "with the network of the host.");
  if (facts_.host == platform::HostKind::WindowsSubsystem)
    Add(Mark::Remark, "wsl", "This program runs in the Linux subsystem of Windows.", "The kernel says so.",
        "Broadcasts of the plant do not reach it unless its network is mirrored. Run kelseek on Windows "
        "itself.");
}

void Diagnosis::Threads() {
  std::string refused;
  std::string error;
  for (const Json& thread : ListOf(report_, "threads")) {
    if (FlagOf(thread, "started", true)) continue;
    refused += (refused.empty() ? "" : ", ") + TextOf(thread, "name");
    error = TextOf(thread, "error");
  }
  if (refused.empty()) return;
  const std::uint64_t limit = facts_.resources.threadsLimit;
  CutOff(
      kAllNetworks, "threads",
      "The system refused threads that the component needs, so it works in part or not.",
      refused + " could not be started: " + error +
          (limit == 0 ? "" : "; this user may have " + std::to_string(limit) + " in all programs together"),
      "Raise the limit on threads and processes of this user or service (ulimit -u, TasksMax).");
}

std::string Diagnosis::OpenFilesInWords() const {
  const platform::ResourceUse& use = facts_.resources;
  return "This process had " + std::to_string(use.openFiles) + " of " + std::to_string(use.openFilesLimit) +
         " file descriptors open.";
}

void Diagnosis::Limits() {
  const platform::ResourceUse& use = facts_.resources;
  const Json refused = MemberOf(MemberOf(report_, "polling"), "refused");
  const bool isUsedUp = (use.openFilesLimit != 0 && use.openFiles >= use.openFilesLimit) ||
                        platform::IsOutOfFiles(static_cast<int>(NumberOf(refused, "error")));
  if (isUsedUp || (IsShortOfFiles(use) && !IsAnyInterfaceUsed()))
    return CutOff(kAllNetworks, "descriptors",
                  "No file or socket can be opened any more, so networks and controllers may be missing.",
                  OpenFilesInWords(), kRaiseFiles);
  if (IsShortOfFiles(use))
    Add(Mark::Remark, "few-descriptors", "This user may hardly open more files and sockets.",
        OpenFilesInWords(), kRaiseFiles);
}

/// The settings file and the line in it where the list of networks begins.
std::string Diagnosis::PlaceOfList() const {
  const std::string file = TextOf(MemberOf(MemberOf(report_, "configuration"), "settingsFile"), "path");
  return file + (facts_.lineOfInterfaces == 0 ? "" : ":" + std::to_string(facts_.lineOfInterfaces));
}

std::string Diagnosis::HelpForList() const {
  const bool isUse = TextOf(MemberOf(report_, "configuration"), "interfaceMode") != "allButListed";
  return isUse ? "Add the network of the controllers to UseInterfaces (" + PlaceOfList() +
                     "), or remove UseInterfaces."
               : "Take the network of the controllers out of ExcludeInterfaces (" + PlaceOfList() + ").";
}

bool Diagnosis::IsAnyInterfaceUsed() const {
  const Json& all = ListOf(report_, "interfaces");
  return std::any_of(all.begin(), all.end(), [](const Json& each) { return FlagOf(each, "used"); });
}

void Diagnosis::Interfaces() {
  for (const Json& entry : ListOf(report_, "interfaces")) Interface(entry);
  // Without a thread or a socket none can be used, whatever is connected.
  if (IsAnyInterfaceUsed() || Has(findings_, "threads") || Has(findings_, "descriptors")) return;
  const bool isOff = SettingOf(report_, "DynamicDetectionEnabled") == 0;
  const bool isRefused = Has(findings_, "port-held") || Has(findings_, "socket-refused");
  CutOff(kAllNetworks, "no-interface",
         "No network of this host takes part in the search, so no broadcast is sent.",
         isOff ? "Broadcast discovery is switched off in the settings." : InterfacesInWords(report_),
         isOff                                  ? "Set DynamicDetectionEnabled to 1, unless that is intended."
         : isRefused                            ? "Mend the fault above."
         : Has(findings_, "interface-excluded") ? HelpForList()
                                                : "Connect the network of the controllers, and give its "
                                                  "interface an IPv4 address.");
}

void Diagnosis::Interface(const Json& entry) {
  const std::string name = NameOf(entry);
  const std::string why = TextOf(entry, "why");
  if (FlagOf(entry, "used")) {
    if (!FlagOf(entry, "carrier", true)) {
      CutOff(AddressOf(entry), "no-carrier", name + " has no connection.", "The system reports no carrier.",
             "Check the cable, the switch and the radio link.");
    } else if (IsToSingleHost(entry)) {
      Add(Mark::Remark, "single-host", name + " is a connection to a single host, such as a VPN.",
          "Its mask is " + TextOf(entry, "mask") + ", so broadcasts reach nobody there.",
          "Add controllers behind it by their addresses: kelseek add ADDRESS.");
    } else {
      Add(Mark::Fine, "interface", "Searching on " + name + ".");
    }
    return;
  }
  if (why == "refused") return RefusedInterface(entry);
  if (why == "down")
    Add(Mark::Remark, "interface-down", name + " is switched off.", "The system reports it as down.",
        "Switch it on if controllers are connected to it.");
  if (why == "onlyIpv6" || why == "noAddress")
    Add(Mark::Remark, "no-ipv4", name + " has no IPv4 address.",
        why == "onlyIpv6" ? "It has an IPv6 address only." : "The system lists none.",
        "Give it an address in the network of the controllers if they are connected to it.");
  if (why == "notListed" || why == "excluded")
    Add(Mark::Remark, "interface-excluded", name + " does not take part in the search.",
        why == "notListed" ? "UseInterfaces in the settings does not list its network."
                           : "ExcludeInterfaces in the settings lists its network.",
        "Change it (" + PlaceOfList() + ") unless that is intended.");
}

std::string Diagnosis::HoldersOf(std::uint16_t port) const {
  for (const PortFacts& facts : facts_.ports) {
    if (facts.port != port || facts.others.empty()) continue;
    std::string text;
    for (const platform::PortHolder& holder : facts.others) {
      if (!text.empty()) text += ", ";
      text += holder.program.empty() ? "a program of another user" : holder.program;
      if (holder.processId != 0) text += " (process " + std::to_string(holder.processId) + ")";
    }
    return text;
  }
  return {};
}

void Diagnosis::RefusedInterface(const Json& entry) {
  const Json refused = MemberOf(entry, "refused");
  const auto port = static_cast<std::uint16_t>(NumberOf(refused, "port"));
  const std::string holders = HoldersOf(port);
  const std::string seen = "UDP port " + std::to_string(port) + " on " + TextOf(entry, "address") + ": " +
                           platform::TextOfError(static_cast<int>(NumberOf(refused, "error")));
  if (platform::IsOutOfFiles(static_cast<int>(NumberOf(refused, "error")))) {
    CutOff(AddressOf(entry), "descriptors",
           "The system refuses a socket for " + NameOf(entry) + ", because no file may be opened any more.",
           seen + ". " + OpenFilesInWords(), kRaiseFiles);
  } else if (holders.empty()) {
    CutOff(AddressOf(entry), "socket-refused", "The system refuses a socket for " + NameOf(entry) + ".", seen,
           "Look for another program that uses this port, and whether this user may use it.");
  } else {
    CutOff(AddressOf(entry), "port-held", "Another program holds a port of the search: " + holders + ".",
           seen, "End that program, or give one of the two another port.");
  }
}

void Diagnosis::Firewall() {
  const std::int64_t requestPort = SettingOf(report_, "RequestPort");
  for (const Echo& echo : facts_.echoes) {
    const std::string port = "UDP port " + std::to_string(echo.port);
    // Broadcasts go to the one port, and the answers to them come to the other.
    const bool cutsOff = (echo.port == requestPort) == (echo.outcome == Echo::Outcome::NotSent);
    if (echo.outcome == Echo::Outcome::NotHeard) {
      Add(Mark::Fault, "firewall-in", "A firewall on this host drops what comes in on " + port + ".",
          "A broadcast of this host on " + platform::FormatIpv4(echo.address) +
              " did not come back to another socket.",
          "Allow incoming " + port +
              " in the firewall of this host, also for senders that were not asked first.");
    } else if (echo.outcome == Echo::Outcome::NotSent) {
      Add(Mark::Fault, "firewall-out",
          "This host does not let broadcasts out on " + platform::FormatIpv4(echo.address) + ".",
          "Sending failed: " + platform::TextOfError(echo.error),
          "Allow outgoing " + port + " in the firewall of this host.");
    } else {
      continue;
    }
    if (cutsOff) findings_.back().cutsOff = echo.address;
  }
}

void Diagnosis::SystemFirewall() {
  using Answer = platform::HostFirewall::Answer;
  const platform::HostFirewall& firewall = facts_.firewall;
  if (firewall.letsIn == Answer::No) {
    // What a broadcast has shown on some networks, the system says of all.
    const auto known = std::find_if(findings_.begin(), findings_.end(),
                                    [](const Finding& each) { return each.code == "firewall-in"; });
    if (known != findings_.end()) {
      known->cutsOff = kAllNetworks;
    } else {
      CutOff(
          kAllNetworks, "firewall-in", "The firewall of this host does not let answers in to this program.",
          "It is on, and no rule of it allows all UDP ports of the search to this program.",
          "Allow them for incoming UDP in the firewall. A rule for one program does not count for another: "
          "the program that searches needs its own, or a rule for the ports.");
    }
  }
  if (firewall.isPublicNetwork == Answer::Yes && firewall.isOn == Answer::Yes &&
      firewall.letsIn != Answer::Yes)
    Add(Mark::Remark, "public-network", "The system takes a network of this host for a public one.",
        "The profile of its firewall for public networks is in force, which drops what was not asked for.",
        "Set the network of the plant to private.");
}

void Diagnosis::Sending() {
  const bool known = Has(findings_, "firewall-out");
  for (const Json& error : ListOf(MemberOf(report_, "sent"), "errors")) {
    if (known) break;
    Add(Mark::Remark, "send-errors",
        std::to_string(NumberOf(error, "count")) + " requests could not be sent.",
        platform::TextOfError(static_cast<int>(NumberOf(error, "code"))) + ", last to " +
            TextOf(error, "lastDestination"),
        "Check the firewall and the routes of this host.");
  }
}

void Diagnosis::Controllers() {
  Collisions();
  std::size_t listed = 0;
  std::size_t unanswered = 0;
  for (const Json& each : ListOf(report_, "controllers")) {
    if (!FlagOf(each, "listed")) continue;
    ++listed;
    if (NumberOf(each, "unanswered") == 0 || ++unanswered > kMostUnanswered) continue;
    Add(Mark::Remark, "unanswered",
        DescriptionOf(each) + " left " + std::to_string(NumberOf(each, "unanswered")) +
            " requests unanswered.",
        "They had to be repeated.",
        "Its answers come late or get lost: check the load of the network and of the controller.");
  }
  if (unanswered > kMostUnanswered)
    Add(Mark::Remark, "unanswered",
        std::to_string(unanswered - kMostUnanswered) + " more controllers left requests unanswered.",
        "They had to be repeated.", "So many suggest a loaded network or host.");
  if (listed > 0) {
    Add(Mark::Fine, "controllers",
        listed == 1 ? "1 controller is known." : std::to_string(listed) + " controllers are known.");
  } else {
    Add(Mark::Fault, "none-found", "No controller was found.",
        "Nobody answered within " + Seconds(facts_.listened) + ".",
        "See the faults above. If there are none: check that the controllers are switched on and connected "
        "to these networks.");
  }
}

/// That nobody was found is no fault of its own if another one explains it.
void Diagnosis::ReferToCause() {
  const auto none = std::find_if(findings_.begin(), findings_.end(),
                                 [](const Finding& each) { return each.code == "none-found"; });
  const Finding* cause = CauseForAll(findings_, report_);
  // These concern one controller or one way each, but where nobody is found they are the best guess.
  for (const Finding& each : findings_) {
    const bool mayBeIt = each.code == "wrong-mask" || each.code == "broadcast-lost" ||
                         each.code == "firewall-in" || each.code == "firewall-out";
    if (cause == nullptr && mayBeIt) cause = &each;
  }
  if (none == findings_.end() || cause == nullptr) return;
  none->mark = Mark::Remark;
  none->todo = "Fix this first, then look again: " + cause->what;
}

void Diagnosis::Collisions() {
  for (const SharedMac& each : facts_.sharedMacs)
    Add(Mark::Fault, "collision",
        "Two controllers have the same MAC address, so they displace each other in the list.",
        each.mac + ": " + each.first + " and " + each.second,
        "Give one of the two another MAC address; a copied network set-up needs its own.");
  for (const Json& each : ListOf(report_, "collisions")) {
    const std::string kind = TextOf(each, "kind");
    Add(Mark::Fault, "collision",
        std::string("Two controllers have the same ") + (kind == "address" ? "address" : "system identity") +
            ", so neither can be listed reliably.",
        DescriptionOf(MemberOf(each, "known")) + " and " + DescriptionOf(MemberOf(each, "heard")),
        kind == "address" ? "Give one of the two another address."
                          : "Give one of the two another identity; a copied system needs its own.");
  }
}

}  // namespace

Findings Diagnose(const Facts& facts) { return Diagnosis(facts).Make(); }

std::string LikelyCause(const Json& report, std::vector<Echo> echoes) {
  Facts facts;
  facts.report = report;
  facts.echoes = std::move(echoes);
  const Findings findings = Diagnose(facts);
  if (const Finding* cause = CauseForAll(findings, report)) return cause->what;
  // Another fault explains less, but where nobody is found it is worth a look.
  for (const Finding& each : findings)
    if (each.mark == Mark::Fault && each.code != "none-found" && each.code != "no-carrier") return each.what;
  return {};
}

}  // namespace kellanseek::kelseek
