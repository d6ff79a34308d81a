#pragma once

#include <string>

#include "config/Settings.h"
#include "configcheck/ConfigReport.h"

namespace kellanseek::configcheck {

/// Reports how a component with these settings would read the static controller file.
void CheckStaticFile(const std::wstring& file, const config::CKelLanSeekConfigSettings& settings,
                     ConfigReport& report);

}  // namespace kellanseek::configcheck
