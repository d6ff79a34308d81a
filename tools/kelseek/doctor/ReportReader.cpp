#include "doctor/ReportReader.h"

#include <cstdio>
#include <map>

namespace kellanseek::kelseek {
namespace {

using Json = nlohmann::json;

std::string WhyInWords(const std::string& why) {
  static const std::map<std::string, std::string> kWords = {
      {"loopback", "serves this host only"},
      {"down", "is switched off"},
      {"noAddress", "has no IPv4 address"},
      {"onlyIpv6", "has an IPv6 address only"},
      {"notListed", "is not listed in the settings"},
      {"excluded", "is excluded by the settings"},
      {"discoveryOff", "is not searched, because broadcast discovery is off"},
      {"refused", "got no socket"},
      {"notYet", "is being opened"}};
  const auto found = kWords.find(why);
  return found == kWords.end() ? "is not usable" : found->second;
}

}  // namespace

std::int64_t SettingOf(const Json& report, const char* name) {
  const Json& settings = MemberOf(MemberOf(report, "configuration"), "settings");
  return static_cast<std::int64_t>(NumberOf(MemberOf(settings, name), "value"));
}

std::string NameOf(const Json& interfaceEntry) {
  const std::string name = TextOf(interfaceEntry, "name");
  const std::string address = TextOf(interfaceEntry, "address");
  return address.empty() ? name : name + " (" + address + ")";
}

std::string DescriptionOf(const Json& controller) {
  std::string text = TextOf(controller, "name");
  if (text.empty()) text = "a controller without a name";
  std::string details;
  for (const char* member : {"address", "systemId", "mac"}) {
    const std::string detail = TextOf(controller, member);
    if (!detail.empty()) details += (details.empty() ? "" : ", ") + detail;
  }
  return text + " (" + details + ")";
}

const Json* NetworkOf(platform::Ipv4 address, const Json& report) {
  for (const Json& entry : ListOf(report, "interfaces")) {
    if (FlagOf(entry, "used") && IsInNetworkOf(entry, address)) return &entry;
  }
  return nullptr;
}

platform::Ipv4 AddressOf(const Json& interfaceEntry) {
  return platform::ParseIpv4(TextOf(interfaceEntry, "address"));
}

bool IsInNetworkOf(const Json& interfaceEntry, platform::Ipv4 address) {
  const platform::Ipv4 mask = platform::ParseIpv4(TextOf(interfaceEntry, "mask"));
  return (AddressOf(interfaceEntry) & mask) == (address & mask);
}

bool IsConnected(const Json& interfaceEntry) {
  return FlagOf(interfaceEntry, "used") && FlagOf(interfaceEntry, "carrier", true);
}

bool IsToSingleHost(const Json& interfaceEntry) {
  return FlagOf(interfaceEntry, "pointToPoint") || TextOf(interfaceEntry, "mask") == "255.255.255.255";
}

std::vector<const Json*> BroadcastNetworks(const Json& report) {
  std::vector<const Json*> networks;
  for (const Json& entry : ListOf(report, "interfaces"))
    if (IsConnected(entry) && !IsToSingleHost(entry)) networks.push_back(&entry);
  return networks;
}

const Json* ControllerAt(const std::string& address, const Json& report) {
  for (const Json& each : ListOf(report, "controllers"))
    if (TextOf(each, "address") == address && FlagOf(each, "listed")) return &each;
  return nullptr;
}

std::string InterfacesInWords(const Json& report) {
  std::string text;
  for (const Json& entry : ListOf(report, "interfaces"))
    text += (text.empty() ? "" : "; ") + NameOf(entry) + " " + WhyInWords(TextOf(entry, "why"));
  return text.empty() ? "The system lists no interface." : text + ".";
}

std::string NetworksInWords(const Json& report) {
  std::string text;
  for (const Json& entry : ListOf(report, "interfaces")) {
    if (!FlagOf(entry, "used")) continue;
    text += (text.empty() ? "" : ", ") + TextOf(entry, "address") + " mask " + TextOf(entry, "mask");
  }
  return text.empty() ? "none" : text;
}

std::string Seconds(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f s", seconds);
  return text;
}

}  // namespace kellanseek::kelseek
