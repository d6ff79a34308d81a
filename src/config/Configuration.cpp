#include "config/Configuration.h"

#include <utility>

#include "config/ControllerIdParser.h"
#include "config/LanSeekConfigParser.h"
#include "config/ReadListener.h"
#include "config/StaticControllers.h"
#include "platform/Environment.h"
#include "platform/Files.h"
#include "text/Utf8.h"

namespace kellanseek::config {
namespace {

constexpr const wchar_t* kConfigKey = L"HKEY_LOCAL_MACHINE\\Software\\Tarnwell\\Velmora\\KelAPI";
constexpr const wchar_t* kConfigValue = L"ConfigDir";
constexpr std::size_t kMaxConfigDir = 259;

std::wstring InDirectory(const std::wstring& directory, const wchar_t* name) {
  return directory + std::wstring(platform::PathSeparator()) + name;
}

/// Notes what becomes of a file.
class FileWitness : public ReadListener {
 public:
  FileWitness(std::wstring path, LoadedFile& file) : file_(file) { file_.path = std::move(path); }

  void NotLoaded(const std::wstring& why) override { file_.remark = why; }
  void EncodingRejected(const std::wstring& declared) override {
    file_.remark =
        declared.empty() ? L"It declares no encoding." : L"The encoding " + declared + L" is not supported.";
  }
  void RootMissing(const Container& expected) override {
    file_.remark = std::wstring(L"Its document element is not ") + expected.name + L".";
  }

  void End(HRESULT result) {
    const bool absent = platform::KindOfPath(file_.path) == platform::PathKind::Nothing;
    if (absent) {
      file_.outcome = LoadedFile::Outcome::Absent;
      file_.remark.clear();
    } else {
      const bool read = SUCCEEDED(result) && file_.remark.empty();
      file_.outcome = read ? LoadedFile::Outcome::Read : LoadedFile::Outcome::Refused;
    }
  }

 private:
  LoadedFile& file_;
};

/// Also notes which settings the file states.
class SettingsWitness final : public FileWitness {
 public:
  SettingsWitness(std::wstring path, LoadedFiles& files)
      : FileWitness(std::move(path), files.settings), stated_(files.settingsStated) {}

  void Read(const Element& element, platform::XmlNode& /*node*/, const std::wstring& /*text*/) override {
    stated_.push_back(&element);
  }

 private:
  std::vector<const Element*>& stated_;
};

}  // namespace

HRESULT ConfiguredDirectory(platform::RegistryStore& registry, std::wstring& directory) {
  if (const auto named = platform::EnvironmentVariable(kDirectoryVariable)) {
    directory = text::FromUtf8(*named);
    return S_OK;
  }
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
  SettingsWitness settingsFile(ScanConfigurationFile(directory), files);
  CLanSeekConfigParser settingsParser(trace.Output(), platform::CreateXmlDocument, settingsFile);
  HRESULT result = settingsParser.Init(files.settings.path);
  if (SUCCEEDED(result)) result = settingsParser.GetInformation(settings);
  settingsFile.End(result);

  FileWitness controllersFile(StaticControllerFile(directory), files.controllers);
  CControllerIdParser controllerParser(trace.Output(), platform::CreateXmlDocument, controllersFile);
  std::vector<controllers::CtrlInfo> listed;
  result = controllerParser.Init(files.controllers.path);
  if (SUCCEEDED(result)) result = controllerParser.GetInformation(listed);
  controllersFile.End(result);
  if (FAILED(result)) return {};
  files.controllersListed = listed.size();
  auto accepted = AcceptStaticControllers(std::move(listed), settings, trace);
  files.controllersAccepted = accepted.size();
  return accepted;
}

}  // namespace kellanseek::config
