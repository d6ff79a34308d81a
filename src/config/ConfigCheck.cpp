#include "config/ConfigCheck.h"

#include "config/Configuration.h"
#include "config/Remarks.h"
#include "config/ScanFileCheck.h"
#include "config/StaticFileCheck.h"
#include "platform/FilePath.h"

namespace kellanseek::config {

ConfigReport CheckConfiguration(const std::wstring& directory,
                                const std::vector<platform::AddressRow>& host) {
  ConfigReport report;
  const platform::PathKind kind = platform::KindOfPath(directory);
  if (kind != platform::PathKind::Directory) {
    Remarks(report, directory)
        .Unreadable(kind == platform::PathKind::Nothing ? L"There is no such directory."
                                                        : L"This is not a directory.");
    return report;
  }
  CKelLanSeekConfigSettings settings;
  CheckScanFile(ScanConfigurationFile(directory), host, settings, report);
  CheckStaticFile(StaticControllerFile(directory), settings, report);
  return report;
}

}  // namespace kellanseek::config
