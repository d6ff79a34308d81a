#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace kellanseek::kelseek {

enum class Mark { Fine, Remark, Fault };

/// One line of the doctor. Texts are UTF-8 and not yet safe to print: they may hold names from the network.
struct Finding {
  Mark mark = Mark::Fine;
  std::string code;  ///< Stable name of the cause, for programs: "firewall-in".
  std::string what;  ///< One sentence for somebody who is no programmer.
  std::string seen;  ///< How it was noticed; empty if fine.
  std::string todo;  ///< What helps; empty if nothing has to be done.
};

using Findings = std::vector<Finding>;

/// Whether it is a fault of this host that by itself explains why nobody is found.
inline bool KeepsAllAway(const Finding& finding) {
  constexpr std::array<std::string_view, 9> kCodes = {"threads",        "descriptors",   "port-held",
                                                      "socket-refused", "no-interface",  "firewall-in",
                                                      "firewall-out",   "ports-swapped", "ports-same"};
  return finding.mark == Mark::Fault && std::find(kCodes.begin(), kCodes.end(), finding.code) != kCodes.end();
}

inline bool Has(const Findings& findings, std::string_view code) {
  return std::any_of(findings.begin(), findings.end(),
                     [&](const Finding& each) { return each.code == code; });
}

}  // namespace kellanseek::kelseek
