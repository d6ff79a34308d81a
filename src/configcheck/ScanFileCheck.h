#pragma once

#include <string>
#include <vector>

#include "config/Settings.h"
#include "configcheck/ConfigReport.h"
#include "platform/NetworkAddresses.h"

namespace kellanseek::configcheck {

/// Reports on the scan configuration file and fills the settings as a component would. For `host` see
/// CheckConfiguration().
void CheckScanFile(const std::wstring& file, const std::vector<platform::AddressRow>& host,
                   config::CKelLanSeekConfigSettings& settings, ConfigReport& report);

}  // namespace kellanseek::configcheck
