#pragma once

#include <string>

#include "config/ConfigCheck.h"
#include "config/Settings.h"

namespace kellanseek::config {

/// Reports on the scan configuration file, and fills the settings as a component would.
void CheckScanFile(const std::wstring& file, CKelLanSeekConfigSettings& settings, ConfigReport& report);

}  // namespace kellanseek::config
