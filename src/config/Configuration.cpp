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

/// Passes messages on and keeps the first, for the report of a file.
class FirstMessage final : public platform::DebugOutput {
 public:
  explicit FirstMessage(platform::DebugOutput& next) : next_(next) {}

  // Always, because the report wants the text even if nobody reads the traces.
  bool Enabled() const override { return true; }
  void Write(std::wstring_view text) override {
    if (first_.empty()) first_ = text;
    if (next_.Enabled()) next_.Write(text);
  }

  void Describe(HRESULT result, LoadedFile& file) const {
    const bool absent = platform::KindOfPath(file.path) == platform::PathKind::Nothing;
    file.outcome = SUCCEEDED(result) ? LoadedFile::Outcome::Read
                   : absent          ? LoadedFile::Outcome::Absent
                                     : LoadedFile::Outcome::Refused;
    file.reason = first_;
  }

 private:
  platform::DebugOutput& next_;
  std::wstring first_;
};

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
                                                     const diagnostics::Tracer& trace, LoadedFiles* outcome) {
  LoadedFiles unwanted;
  LoadedFiles& files = outcome != nullptr ? *outcome : unwanted;
  files.directory = directory;
  files.settings.path = ScanConfigurationFile(directory);
  FirstMessage settingsMessage(trace.Output());
  CLanSeekConfigParser settingsParser(settingsMessage);
  HRESULT result = settingsParser.Init(files.settings.path);
  if (SUCCEEDED(result)) result = settingsParser.GetInformation(settings);
  settingsMessage.Describe(result, files.settings);

  files.controllers.path = StaticControllerFile(directory);
  FirstMessage controllersMessage(trace.Output());
  CControllerIdParser controllerParser(controllersMessage);
  std::vector<controllers::CtrlInfo> listed;
  result = controllerParser.Init(files.controllers.path);
  if (SUCCEEDED(result)) result = controllerParser.GetInformation(listed);
  controllersMessage.Describe(result, files.controllers);
  if (FAILED(result)) return {};
  files.controllersListed = listed.size();
  auto accepted = AcceptStaticControllers(std::move(listed), settings, trace);
  files.controllersAccepted = accepted.size();
  return accepted;
}

}  // namespace kellanseek::config
