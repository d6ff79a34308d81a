#pragma once

#include <cstddef>
#include <string>
#include <vector>

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

  bool Clean() const;
};

/// Reports how a component would read a configuration directory: what it accepts, and what it ignores or
/// rejects, with the reasons. The component's own parsers and checks decide. `host` holds the networks that
/// this host can search; the interface lists are compared with them unless it is empty.
ConfigReport CheckConfiguration(const std::wstring& directory,
                                const std::vector<platform::AddressRow>& host = {});

/// Writes both files into a directory, with every setting at its default and a comment on each. Creates the
/// directory if necessary. Returns false, with the reason in `error`, if a file already exists (then nothing
/// is written) or cannot be written.
bool WriteDefaultConfiguration(const std::wstring& directory, std::wstring& error);

}  // namespace kellanseek::configcheck
