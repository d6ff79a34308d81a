#include "config/Configuration.h"

#include <utility>

#include "config/ControllerIdParser.h"
#include "config/LanSeekConfigParser.h"
#include "config/StaticControllers.h"
#include "platform/Files.h"

namespace kellanseek::config {
namespace {

constexpr const wchar_t* kConfigKey = L"HKEY_LOCAL_MACHINE\\Software\\Tarnwell\\Velmora\\KelAPI";
constexpr const wchar_t* kConfigValue = L"ConfigDir";
constexpr std::size_t kMaxConfigDir = 259;

std::wstring InDirectory(const std::wstring& directory, const wchar_t* name) {
  return directory + std::wstring(platform::PathSeparator()) + name;
}

}  // namespace

HRESULT ConfiguredDirectory(platform::RegistryStore& registry, std::wstring& directory) {
  return registry.Read(kConfigKey, kConfigValue, kMaxConfigDir, directory);
}

HRESULT SetConfiguredDirectory(platform::RegistryStore& registry, const std::wstring& directory) {
  if (directory.size() > kMaxConfigDir) return E_INVALIDARG;
  return registry.Write(kConfigKey, kConfigValue, directory);
}

std::wstring ScanConfigurationFile(const std::wstring& directory) {
  return InDirectory(directory, L"lanseekconf.xml");
}

std::wstring StaticControllerFile(const std::wstring& directory) {
  return InDirectory(directory, L"controllerid.xml");
}

std::vector<controllers::CtrlInfo> LoadConfiguration(const std::wstring& directory,
                                                     CKelLanSeekConfigSettings& settings,
                                                     const diagnostics::Tracer& trace) {
  CLanSeekConfigParser settingsParser(trace.Output());
  if (SUCCEEDED(settingsParser.Init(ScanConfigurationFile(directory))))
    settingsParser.GetInformation(settings);

  CControllerIdParser controllerParser(trace.Output());
  std::vector<controllers::CtrlInfo> listed;
  if (FAILED(controllerParser.Init(StaticControllerFile(directory)))) return {};
  if (FAILED(controllerParser.GetInformation(listed))) return {};
  return AcceptStaticControllers(std::move(listed), settings, trace);
}

}  // namespace kellanseek::config
