#pragma once

#include <algorithm>
#include <optional>
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
  /// The interface, by its address, on which this fault alone keeps every controller away, or kAllNetworks.
  std::optional<platform::Ipv4> cutsOff = {};
};

/// An address that no interface has.
inline constexpr platform::Ipv4 kAllNetworks = 0;

using Findings = std::vector<Finding>;

inline bool Has(const Findings& findings, std::string_view code) {
  return std::any_of(findings.begin(), findings.end(),
                     [&](const Finding& each) { return each.code == code; });
}

}  // namespace kellanseek::kelseek
