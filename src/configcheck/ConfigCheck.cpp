#include "configcheck/ConfigCheck.h"

#include <algorithm>

#include "config/Configuration.h"
#include "platform/Files.h"

namespace kellanseek::configcheck {

bool ConfigReport::Clean() const {
  return !unreadable &&
         std::none_of(remarks.begin(), remarks.end(), [](const ConfigRemark& each) { return each.finding; });
}

ConfigReport CheckConfiguration(const std::wstring& directory,
                                const std::vector<platform::AddressRow>& host) {
  ConfigReport report;
  const platform::PathKind kind = platform::KindOfPath(directory);
  if (kind != platform::PathKind::Directory) {
    report.unreadable = true;
    report.remarks.push_back({true, directory, 0,
                              kind == platform::PathKind::Nothing ? L"The directory does not exist."
                                                                  : L"This is not a directory."});
    return report;
  }
  config::CKelLanSeekConfigSettings settings;
  CheckScanFile(config::ScanConfigurationFile(directory), host, settings, report);
  CheckStaticFile(config::StaticControllerFile(directory), settings, report);
  return report;
}

}  // namespace kellanseek::configcheck
