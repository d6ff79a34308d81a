#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/Settings.h"
#include "tests/config/XmlText.h"
#include "tests/support/ScratchDirectory.h"

namespace kellanseek::test {

/// A configuration directory for one test.
class ConfigFiles {
 public:
  void WriteScanFile(std::string_view content) const { directory_.Write("lanseekconf.xml", content); }
  void WriteStaticFile(std::string_view content) const { directory_.Write("controllerid.xml", content); }
  /// The same, with declaration and root element added; `inside` begins on line 2.
  void WriteSettings(const std::string& inside) const {
    WriteScanFile(kDeclaration + In("KelLanSeekConfigurations", inside));
  }
  void WriteControllers(const std::string& inside) const {
    WriteStaticFile(kDeclaration + In("ControllerIdentities", inside));
  }

  const ScratchDirectory& Directory() const { return directory_; }
  std::wstring ScanFile() const { return directory_.WideFile("lanseekconf.xml"); }
  std::wstring StaticFile() const { return directory_.WideFile("controllerid.xml"); }

 private:
  ScratchDirectory directory_;
};

/// Every numeric setting, in the order of the record.
inline std::vector<std::pair<std::string, std::int32_t>> Numbers(
    const config::CKelLanSeekConfigSettings& settings) {
#define FIELD(name) \
  { #name, settings.name }
  return {FIELD(DynamicDetectionEnabled), FIELD(RequestPort),     FIELD(ResponsePort),
          FIELD(RefreshInterval),         FIELD(RefreshTimeout),  FIELD(Retries),
          FIELD(MaxRequestsPerSecond),    FIELD(TickInterval),    FIELD(VCRefreshInterval),
          FIELD(NonLocalUpdatesEnabled),  FIELD(NonLocalPort),    FIELD(NonLocalRefreshInterval),
          FIELD(NonLocalRefreshTimeout),  FIELD(NonLocalRetries), FIELD(DetectInterfaceChanges),
          FIELD(FakeRemoteVCAs),          FIELD(InterfaceMode)};
#undef FIELD
}

/// Every setting that differs from its default, as "Name=value;", in the order of the record.
inline std::string Differences(const config::CKelLanSeekConfigSettings& settings) {
  const auto defaults = Numbers({});
  std::string text;
  for (const auto& number : Numbers(settings)) {
    const bool usual = std::find(defaults.begin(), defaults.end(), number) != defaults.end();
    if (!usual) text += number.first + "=" + std::to_string(number.second) + ";";
  }
  for (const config::SubNetEntry& each : settings.SubNets) {
    text += std::string(each.IPNumber.begin(), each.IPNumber.end()) + "/" +
            std::string(each.SubNetMask.begin(), each.SubNetMask.end()) + ";";
  }
  return text;
}

}  // namespace kellanseek::test
