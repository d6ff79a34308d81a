#include "doctor/Cause.h"

#include <algorithm>
#include <string>
#include <vector>

#include "doctor/ReportReader.h"

namespace kellanseek::kelseek {
namespace {

using Json = nlohmann::json;
using platform::Ipv4;

template <typename Holds>
const Finding* FirstOf(const Findings& findings, Holds holds) {
  const auto found = std::find_if(findings.begin(), findings.end(), holds);
  return found == findings.end() ? nullptr : &*found;
}

bool CutsOff(const Findings& findings, Ipv4 network) {
  return FirstOf(findings, [&](const Finding& each) { return each.cutsOff == network; }) != nullptr;
}

}  // namespace

const Finding* CauseForAll(const Findings& findings, const Json& report) {
  const std::vector<const Json*> networks = BroadcastNetworks(report);
  const bool isEachCutOff = std::all_of(networks.begin(), networks.end(), [&](const Json* each) {
    return CutsOff(findings, platform::ParseIpv4(TextOf(*each, "address")));
  });
  return FirstOf(findings, [&](const Finding& each) {
    return each.cutsOff == kAllNetworks || (isEachCutOff && each.cutsOff != 0);
  });
}

const Finding* CauseFor(Ipv4 address, const Findings& findings, const Json& report) {
  const auto hasAddress = [&](Ipv4 network) {
    const Json& all = ListOf(report, "interfaces");
    return std::any_of(all.begin(), all.end(), [&](const Json& each) {
      const Ipv4 mask = platform::ParseIpv4(TextOf(each, "mask"));
      return platform::ParseIpv4(TextOf(each, "address")) == network && (network & mask) == (address & mask);
    });
  };
  return FirstOf(findings, [&](const Finding& each) {
    return each.cutsOff == kAllNetworks || (each.cutsOff != 0 && hasAddress(each.cutsOff));
  });
}

}  // namespace kellanseek::kelseek
