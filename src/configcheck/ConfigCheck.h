#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/NetworkAddresses.h"

namespace kellanseek::configcheck {

/// One thing to say of a configuration file.
struct ConfigRemark {
  bool finding = false;  ///< Something is ignored, rejected or senseless; otherwise just what is taken.
  std::wstring file;     ///< Its path, as a component that is pointed to the directory would open it.
  std::size_t line =
      0;              ///< Counted from 1; 0 when the remark is not about one line, or the line is not known.
  std::wstring text;  ///< A sentence or two for people.
};

/// All that there is to say, in the order of the files.
struct ConfigReport {
  std::vector<ConfigRemark> remarks;
  bool unreadable = false;  ///< The directory, or a file that is there, cannot be read at all.

  bool Clean() const;
};

/// Says what a component would make of a configuration directory: what it takes from the two files, and what
/// it ignores or rejects, and why. It is the component's own parsers and checks that decide. `host` are the
/// networks of the host that it could search, with which the lists of networks are compared; without any
/// nothing is.
ConfigReport CheckConfiguration(const std::wstring& directory,
                                const std::vector<platform::AddressRow>& host = {});

/// Writes both files into a directory, with every setting at its default and a comment to each. The directory
/// is made when it is not there. False, with the reason in words, when a file is already there (then nothing
/// is written) or cannot be written.
bool WriteDefaultConfiguration(const std::wstring& directory, std::wstring& error);

}  // namespace kellanseek::configcheck
