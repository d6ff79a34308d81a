#pragma once

#include <string>

namespace kellanseek::configcheck {

/// The scan configuration file with every setting at its default and a comment on each.
std::string DefaultScanConfiguration();
/// A static controller file without controllers; a comment shows a complete entry.
std::string DefaultStaticControllers();

/// Writes both files into a directory, with every setting at its default and a comment on each. Creates the
/// directory if necessary. Returns false, with the reason in `error`, if a file already exists (then nothing
/// is written) or cannot be written.
bool WriteDefaultConfiguration(const std::wstring& directory, std::wstring& error);

}  // namespace kellanseek::configcheck
