#pragma once

#include <string>
#include <vector>

#include "config/Settings.h"
#include "controllers/CtrlInfo.h"
#include "diagnostics/Trace.h"
#include "platform/RegistryStore.h"

namespace kellanseek::config {

/// The directory that components of this host read, as the registry has it. S_FALSE when none is set, a
/// failure when it is longer than 259 characters or the registry cannot be read.
HRESULT ConfiguredDirectory(platform::RegistryStore& registry, std::wstring& directory);
/// Points the components of this host that start from now on to a directory. E_INVALIDARG when its path is
/// too long; what RegistryStore::Write gives.
HRESULT SetConfiguredDirectory(platform::RegistryStore& registry, const std::wstring& directory);

/// The two files of a configuration directory. The directory is taken as it stands.
std::wstring ScanConfigurationFile(const std::wstring& directory);
std::wstring StaticControllerFile(const std::wstring& directory);

/// Reads both files: fills the settings, and gives the static controllers to start with, in the order of the
/// file and without a lanSeekID. A file that is missing or rejected leaves what it would have set. `trace` is
/// for what is wrong with static controllers; the parsers trace on its output.
std::vector<CtrlInfo> LoadConfiguration(const std::wstring& directory, CKelLanSeekConfigSettings& settings,
                                        const diagnostics::Tracer& trace);

}  // namespace kellanseek::config
