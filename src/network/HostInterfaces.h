#pragma once

#include <string>
#include <vector>

#include "config/Settings.h"
#include "diagnostics/Trace.h"
#include "network/InterfaceTable.h"
#include "platform/DebugOutput.h"
#include "platform/NetworkAddresses.h"

namespace kellanseek::network {

/// Asks the system which interfaces of this host take part in discovery. Both questions take a while, so no
/// lock should be held. Callable from any thread.
class HostInterfaces {
 public:
  HostInterfaces(platform::NetworkAddresses& addresses, const CKelLanSeekConfigSettings& settings,
                 platform::DebugOutput& debugOutput);

  /// The usable interfaces as they are now.
  InterfaceTable SetupLanseekInterfaces() const;
  /// Only the keys of the usable interfaces, sorted, for a comparison.
  std::vector<InterfaceKey> UsableKeys() const;

 private:
  template <typename Visit>
  void ForEachUsable(Visit visit) const;
  std::string MacText(const platform::InterfaceRow& row, const std::wstring& addressText) const;

  platform::NetworkAddresses& addresses_;
  const CKelLanSeekConfigSettings& settings_;
  const diagnostics::Tracer trace_;
};

}  // namespace kellanseek::network
