#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Ipv4.h"

namespace kellanseek::kelseek {

enum class Mark { Fine, Remark, Fault };

/// One line of the doctor. Texts are UTF-8 and not yet safe to print: they may hold names from the network.
struct Finding {
  Mark mark = Mark::Fine;
  std::string code;  ///< Stable name of the cause, for programs: "firewall-in".
  std::string what;  ///< One sentence for somebody who is no programmer.
  std::string seen;  ///< How it was noticed; empty if fine.
  std::string todo;  ///< What helps; empty if nothing has to be done.
  /// The address of the interface whose network hears and sees nobody because of this fault alone;
  /// kAllNetworks for each; 0 if none is cut off.
  platform::Ipv4 cutsOff = 0;
};

inline constexpr platform::Ipv4 kAllNetworks = platform::kNoAddress;

using Findings = std::vector<Finding>;

inline bool Has(const Findings& findings, std::string_view code) {
  return std::any_of(findings.begin(), findings.end(),
                     [&](const Finding& each) { return each.code == code; });
}

}  // namespace kellanseek::kelseek
