#pragma once

#include <string>

namespace kellanseek::configcheck {

/// The scan configuration file with every setting at its default and a comment on each.
std::string DefaultScanConfiguration();
/// A static controller file without controllers; a comment shows a complete entry.
std::string DefaultStaticControllers();

}  // namespace kellanseek::configcheck
