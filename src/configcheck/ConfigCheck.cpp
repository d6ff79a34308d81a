#include "configcheck/ConfigCheck.h"

#include "config/Configuration.h"
#include "configcheck/Remarks.h"
#include "configcheck/ScanFileCheck.h"
#include "configcheck/StaticFileCheck.h"
#include "platform/Files.h"

namespace kellanseek::configcheck {

ConfigReport CheckConfiguration(const std::wstring& directory,
                                const std::vector<platform::AddressRow>& host) {
  ConfigReport report;
  const platform::PathKind kind = platform::KindOfPath(directory);
  if (kind != platform::PathKind::Directory) {
    Remarks(report, directory)
        .Unreadable(kind == platform::PathKind::Nothing ? L"The directory does not exist."
                                                        : L"This is not a directory.");
    return report;
  }
  config::CKelLanSeekConfigSettings settings;
  CheckScanFile(config::ScanConfigurationFile(directory), host, settings, report);
  CheckStaticFile(config::StaticControllerFile(directory), settings, report);
  return report;
}

}  // namespace kellanseek::configcheck
