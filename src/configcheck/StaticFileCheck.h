#pragma once

#include <string>

#include "config/Settings.h"
#include "configcheck/ConfigCheck.h"

namespace kellanseek::configcheck {

/// Reports on the static controller file as a component with those settings would take it.
void CheckStaticFile(const std::wstring& file, const CKelLanSeekConfigSettings& settings,
                     ConfigReport& report);

}  // namespace kellanseek::configcheck
