#include "doctor/Cause.h"

#include <algorithm>
#include <string>

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

/// Whether any interface takes part in the search and is connected, be it to a single host.
bool IsAnyConnected(const Json& report) {
  const Json& all = ListOf(report, "interfaces");
  return std::any_of(all.begin(), all.end(), IsConnected);
}

}  // namespace

const Finding* CauseForAll(const Findings& findings, const Json& report) {
  if (!IsAnyConnected(report)) {
    // An interface that is not connected may be a spare, so any other fault comes first.
    const Finding* const cause =
        FirstOf(findings, [](const Finding& each) { return each.cutsOff && each.code != "no-carrier"; });
    if (cause != nullptr) return cause;
    return FirstOf(findings, [](const Finding& each) { return each.cutsOff.has_value(); });
  }
  const auto cutsOff = [](Ipv4 network) {
    return [network](const Finding& each) { return each.cutsOff == network; };
  };
  if (const Finding* const cause = FirstOf(findings, cutsOff(kAllNetworks))) return cause;
  const Finding* first = nullptr;
  for (const Json* const network : BroadcastNetworks(report)) {
    const Finding* const cause = FirstOf(findings, cutsOff(AddressOf(*network)));
    if (cause == nullptr) return nullptr;
    if (first == nullptr) first = cause;
  }
  return first;
}

const Finding* CauseFor(Ipv4 address, const Findings& findings, const Json& report) {
  const auto hasAddress = [&](Ipv4 network) {
    const Json& all = ListOf(report, "interfaces");
    return std::any_of(all.begin(), all.end(), [&](const Json& each) {
      return AddressOf(each) == network && IsInNetworkOf(each, address);
    });
  };
  return FirstOf(findings, [&](const Finding& each) {
    return each.cutsOff && (*each.cutsOff == kAllNetworks || hasAddress(*each.cutsOff));
  });
}

}  // namespace kellanseek::kelseek
