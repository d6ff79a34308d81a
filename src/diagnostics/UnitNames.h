#pragma once

namespace kellanseek::diagnostics {

// The names of source units in traces and error texts. Users search their logs for these names, so they stay
// as they are, whatever the file is called that the code stands in today.

inline constexpr const wchar_t* kDynamicInfoUnit = L"dynamicinfo";             ///< Engine and network.
inline constexpr const wchar_t* kStaticInfoUnit = L"staticinfo";               ///< Static controllers.
inline constexpr const wchar_t* kScanConfigurationUnit = L"KelLanSeekConfig";  ///< The settings' file.
inline constexpr const wchar_t* kDaemonUnit = L"rVCDaemon";
inline constexpr const wchar_t* kComponentUnit = L"KelLanSeekImpl";
inline constexpr const wchar_t* kEventListUnit = L"EventItemsDB";
inline constexpr const wchar_t* kEventWorkerUnit = L"EventItemsWorker";

}  // namespace kellanseek::diagnostics
