#pragma once

#include <cstddef>
#include <string>
#include <vector>

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

}  // namespace kellanseek::configcheck
