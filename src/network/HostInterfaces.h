#pragma once

#include <string>
#include <vector>

#include "config/Settings.h"
#include "diagnostics/Trace.h"
#include "network/InterfaceTable.h"
#include "platform/DebugOutput.h"
#include "platform/NetworkAddresses.h"

namespace kellanseek::network {

/// Finds the host's interfaces that take part in discovery. Queries the system, which takes time, so call it
/// without a lock. Thread-safe.
class HostInterfaces {
 public:
  HostInterfaces(platform::NetworkAddresses& addresses, const config::CKelLanSeekConfigSettings& settings,
                 platform::DebugOutput& debugOutput);

  /// The currently usable interfaces.
  InterfaceTable SetupLanseekInterfaces() const;
  /// The keys of the currently usable interfaces, sorted, for comparisons.
  std::vector<InterfaceKey> UsableKeys() const;

 private:
  template <typename Visit>
  void ForEachUsable(Visit visit) const;
  std::string MacText(const platform::InterfaceRow& row, const std::wstring& addressText) const;

  platform::NetworkAddresses& addresses_;
  const config::CKelLanSeekConfigSettings& settings_;
  const diagnostics::Tracer trace_;
};

}  // namespace kellanseek::network
