#pragma once

#include <string>

namespace kellanseek::configcheck {

/// The scan configuration file with every setting at its default and a comment to each.
std::string DefaultScanConfiguration();
/// A static controller file without controllers, and a comment that shows how one is written.
std::string DefaultStaticControllers();

}  // namespace kellanseek::configcheck
