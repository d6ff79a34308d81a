#pragma once

#include <string>
#include <string_view>

#include "config/Settings.h"
#include "tests/support/ScratchDirectory.h"

namespace kellanseek::test {

inline constexpr const char* kDeclaration = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n";

/// A configuration directory of one test's own.
class ConfigFiles {
 public:
  void WriteScanFile(std::string_view content) const { directory_.Write("lanseekconf.xml", content); }
  void WriteStaticFile(std::string_view content) const { directory_.Write("controllerid.xml", content); }
  /// The same with the declaration and the root element around it.
  void WriteSettings(const std::string& inside) const {
    WriteScanFile(kDeclaration + ("<KelLanSeekConfigurations>" + inside) + "</KelLanSeekConfigurations>");
  }
  void WriteControllers(const std::string& inside) const {
    WriteStaticFile(kDeclaration + ("<ControllerIdentities>" + inside) + "</ControllerIdentities>");
  }

  const ScratchDirectory& Directory() const { return directory_; }
  std::wstring ScanFile() const { return directory_.WideFile("lanseekconf.xml"); }
  std::wstring StaticFile() const { return directory_.WideFile("controllerid.xml"); }

 private:
  ScratchDirectory directory_;
};

/// Every setting that differs from its default, as "Name=value;" in the order of the record.
inline std::string Differences(const CKelLanSeekConfigSettings& settings) {
  using Settings = CKelLanSeekConfigSettings;
  const Settings defaults;
  std::string text;
  const auto add = [&](const char* name, std::int32_t value, std::int32_t usual) {
    if (value != usual) text += std::string(name) + "=" + std::to_string(value) + ";";
  };
#define KELLANSEEK_ADD(field) add(#field, settings.field, defaults.field)
  KELLANSEEK_ADD(DynamicDetectionEnabled);
  KELLANSEEK_ADD(RequestPort);
  KELLANSEEK_ADD(ResponsePort);
  KELLANSEEK_ADD(RefreshInterval);
  KELLANSEEK_ADD(RefreshTimeout);
  KELLANSEEK_ADD(Retries);
  KELLANSEEK_ADD(MaxRequestsPerSecond);
  KELLANSEEK_ADD(TickInterval);
  KELLANSEEK_ADD(VCRefreshInterval);
  KELLANSEEK_ADD(NonLocalUpdatesEnabled);
  KELLANSEEK_ADD(NonLocalPort);
  KELLANSEEK_ADD(NonLocalRefreshInterval);
  KELLANSEEK_ADD(NonLocalRefreshTimeout);
  KELLANSEEK_ADD(NonLocalRetries);
  KELLANSEEK_ADD(DetectInterfaceChanges);
  KELLANSEEK_ADD(FakeRemoteVCAs);
  KELLANSEEK_ADD(InterfaceMode);
#undef KELLANSEEK_ADD
  for (const SubNetEntry& each : settings.SubNets) {
    text += std::string(each.IPNumber.begin(), each.IPNumber.end()) + "/" +
            std::string(each.SubNetMask.begin(), each.SubNetMask.end()) + ";";
  }
  return text;
}

}  // namespace kellanseek::test
