#pragma once

#include <string>
#include <vector>

#include "config/LoadedFiles.h"
#include "config/Settings.h"
#include "controllers/CtrlInfo.h"
#include "diagnostics/Trace.h"
#include "platform/RegistryStore.h"

namespace kellanseek::config {

/// Names the configuration directory of this process alone, in place of the registry.
inline constexpr const char* kDirectoryVariable = "KELLANSEEK_CONFIG_DIR";

/// The configuration directory of components in this process: the value of the environment variable, else of
/// the registry. Returns S_FALSE if none is set, a failure code if the path in the registry exceeds 259
/// characters or the registry cannot be read.
HRESULT ConfiguredDirectory(platform::RegistryStore& registry, std::wstring& directory);
/// Sets the configuration directory for components created from now on. Returns E_INVALIDARG if the path
/// exceeds 259 characters, otherwise the result of RegistryStore::Write().
HRESULT SetConfiguredDirectory(platform::RegistryStore& registry, const std::wstring& directory);

/// Full paths of the two files in `directory`. The directory need not exist.
std::wstring ScanConfigurationFile(const std::wstring& directory);
std::wstring StaticControllerFile(const std::wstring& directory);

/// Reads both files. Fills `settings` and returns the static controllers to start with, in file order and
/// without a lanSeekID. A missing or rejected file is no error: the settings keep their values, or the list
/// is empty. Rejected controllers are traced through `trace`, the parsers' failures on its output. `files`,
/// unless null, receives what became of the files.
std::vector<controllers::CtrlInfo> LoadConfiguration(const std::wstring& directory,
                                                     CKelLanSeekConfigSettings& settings,
                                                     const diagnostics::Tracer& trace,
                                                     LoadedFiles* files = nullptr);

}  // namespace kellanseek::config
