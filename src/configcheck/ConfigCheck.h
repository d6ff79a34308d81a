#pragma once

#include <string>
#include <vector>

#include "configcheck/ConfigReport.h"
#include "platform/NetworkAddresses.h"

namespace kellanseek::configcheck {

/// Reports how a component would read a configuration directory: what it accepts, and what it ignores or
/// rejects, with the reasons. The component's own parsers and checks decide. `host` holds the networks that
/// this host can search; the interface lists are compared with them unless it is empty.
ConfigReport CheckConfiguration(const std::wstring& directory,
                                const std::vector<platform::AddressRow>& host = {});

}  // namespace kellanseek::configcheck
