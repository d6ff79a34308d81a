#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "config/Settings.h"
#include "platform/NetworkAddresses.h"

namespace kellanseek::configcheck {

/// One remark on a configuration file.
struct ConfigRemark {
  bool finding = false;  ///< Something is ignored, rejected or senseless. False: accepted as written.
  std::wstring file;     ///< Full path, as a component using the directory would open it.
  std::size_t line = 0;  ///< Counted from 1; 0 if the remark concerns no single line or the line is unknown.
  std::wstring text;     ///< One or two sentences for the user.
};

/// All remarks, in the order of the files.
struct ConfigReport {
  std::vector<ConfigRemark> remarks;
  bool unreadable = false;  ///< The directory or an existing file cannot be read at all.
  /// Where the list of networks stands that decides which interfaces are used, UseInterfaces say; 0 if no
  /// list is in force.
  std::size_t lineOfInterfaces = 0;

  bool Clean() const;
};

/// Reports how a component would read a configuration directory: what it accepts, and what it ignores or
/// rejects, with the reasons. The component's own parsers and checks decide. `host` holds the networks that
/// this host can search; the interface lists are compared with them unless it is empty.
ConfigReport CheckConfiguration(const std::wstring& directory,
                                const std::vector<platform::AddressRow>& host = {});

/// The part for the scan configuration file. Fills the settings as a component would.
void CheckScanFile(const std::wstring& file, const std::vector<platform::AddressRow>& host,
                   config::CKelLanSeekConfigSettings& settings, ConfigReport& report);
/// The part for the static controller file, as a component with these settings would read it.
void CheckStaticFile(const std::wstring& file, const config::CKelLanSeekConfigSettings& settings,
                     ConfigReport& report);

}  // namespace kellanseek::configcheck
