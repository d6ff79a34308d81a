#include "configcheck/DefaultConfiguration.h"

#include <utility>
#include <variant>

#include "config/Configuration.h"
#include "config/Elements.h"
#include "platform/CodePage.h"
#include "platform/Files.h"

namespace kellanseek::configcheck {
namespace {

constexpr const char* kDeclaration = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n";

/// The names and comments passed here are plain ASCII.
std::string Narrow(const wchar_t* text) { return platform::ToNarrow(text); }

std::string Tag(const char* before, const wchar_t* name, const char* after = ">\n") {
  return before + Narrow(name) + after;
}

std::string Text(const std::string& indent, const config::Element& element, const std::string& text) {
  return indent + Tag("<", element.name, ">") + text + Tag("</", element.name);
}

std::string Setting(const std::string& indent, const config::Element& element) {
  const config::CKelLanSeekConfigSettings defaults;
  const bool isType = element.kind == config::Element::Kind::ControllerType;
  const std::int32_t value =
      defaults.*std::get<std::int32_t config::CKelLanSeekConfigSettings::*>(element.field);
  return indent + "<!-- " + Narrow(element.help) + " -->\n" +
         Text(indent, element, isType ? value == RC ? "RC" : "VC" : std::to_string(value));
}

/// The children of `container`, each with its example.
std::string Examples(const std::string& indent, const config::Container& container) {
  std::string text;
  for (const config::Element& each : container.texts) text += Text(indent, each, Narrow(each.help));
  return text;
}

}  // namespace

std::string DefaultScanConfiguration() {
  using namespace config;
  std::string text = kDeclaration;
  text +=
      "<!-- Every setting in this file is optional. The values below are the defaults. Numbers are decimal.\n"
      "     A component reads the file once, when it is created. -->\n" +
      Tag("<", kScanFileRoot.name) + Setting("  ", ElementOf(&CKelLanSeekConfigSettings::FakeRemoteVCAs)) +
      Tag("  <", kCommunicationSettings.name);
  for (const Element& each : kCommunicationSettings.texts) text += Setting("    ", each);
  text += Tag("  </", kCommunicationSettings.name) +
          "  <!-- The network interfaces that take part in broadcast discovery: all of them, unless the file "
          "has\n       " +
          Tag("", kUseInterfaces.name, " (only those in one of the subnets) or ") +
          Tag("", kExcludeInterfaces.name, " (all but those). ") + Narrow(kSubNet.texts[0].name) +
          " is\n       any address of the subnet, " + Narrow(kSubNet.texts[1].name) +
          " the interface's own mask.\n" + Tag("  <", kUseInterfaces.name) + Tag("    <", kSubNet.name) +
          Examples("      ", kSubNet) + Tag("    </", kSubNet.name) + Tag("  </", kUseInterfaces.name) +
          "  -->\n";
  text += Setting("  ", ElementOf(&CKelLanSeekConfigSettings::DetectInterfaceChanges));
  return text + Tag("</", kScanFileRoot.name);
}

std::string DefaultStaticControllers() {
  using namespace config;
  const auto name = [](Element::Field field) { return Narrow(ElementOf(field).name); };
  return kDeclaration +
         ("<!-- Controllers to list without finding them by broadcast. Each needs a " +
          name(&controllers::CtrlInfo::ctrlAddress) + ". If both\n     " +
          name(&CKelLanSeekConfigSettings::NonLocalUpdatesEnabled) + " and " +
          name(&CKelLanSeekConfigSettings::DynamicDetectionEnabled) + " are 0, it also needs a " +
          name(&controllers::CtrlInfo::systemID) + " and the\n     three version numbers. -->\n") +
         Tag("<", kStaticFileRoot.name) + "  <!--\n" + Tag("  <", kControllerIdentity.name) +
         Examples("    ", kControllerIdentity) + Tag("  </", kControllerIdentity.name) + "  -->\n" +
         Tag("</", kStaticFileRoot.name);
}

bool WriteDefaultConfiguration(const std::wstring& directory, std::wstring& error) {
  const std::pair<std::wstring, std::string> files[] = {
      {config::ScanConfigurationFile(directory), DefaultScanConfiguration()},
      {config::StaticControllerFile(directory), DefaultStaticControllers()}};
  for (const auto& [path, content] : files) {
    if (platform::KindOfPath(path) == platform::PathKind::Nothing) continue;
    error = path + L" already exists; nothing was written.";
    return false;
  }
  std::wstring why;
  if (FAILED(platform::MakeDirectory(directory, why))) {
    error = L"The directory " + directory + L" was not created: " + why;
    return false;
  }
  for (const auto& [path, content] : files) {
    const HRESULT created = platform::CreateNewFile(path, content, why);
    if (created == S_OK) continue;
    error = path + L" was not written: " + (created == S_FALSE ? L"it already exists." : why);
    return false;
  }
  return true;
}

}  // namespace kellanseek::configcheck
