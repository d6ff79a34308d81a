#pragma once

#include <string>

#include "config/ConfigCheck.h"
#include "config/Settings.h"

namespace kellanseek::config {

/// Reports on the static controller file as a component with those settings would take it.
void CheckStaticFile(const std::wstring& file, const CKelLanSeekConfigSettings& settings,
                     ConfigReport& report);

}  // namespace kellanseek::config
