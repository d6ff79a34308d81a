#include "configcheck/DefaultConfiguration.h"

#include <utility>
#include <variant>

#include "config/Configuration.h"
#include "config/Elements.h"
#include "platform/CodePage.h"
#include "platform/Files.h"

namespace kellanseek::configcheck {
namespace {

using config::Element;
using controllers::CtrlInfo;
using Settings = config::CKelLanSeekConfigSettings;

std::string Document(const std::string& content) {
  return "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n" + content;
}

/// The names and comments passed here are plain ASCII.
std::string Narrow(const wchar_t* text) { return platform::ToNarrow(text); }

std::string Name(Element::Field field) { return Narrow(config::ElementOf(field).name); }

std::string Text(const std::string& indent, const Element& element, const std::string& text) {
  const std::string name = Narrow(element.name);
  return indent + "<" + name + ">" + text + "</" + name + ">\n";
}

std::string Around(const std::string& indent, const config::Container& container, const std::string& inside) {
  const std::string name = Narrow(container.name);
  return indent + "<" + name + ">\n" + inside + indent + "</" + name + ">\n";
}

std::string Default(const std::string& indent, const Element& element) {
  const std::int32_t value = Settings().*std::get<std::int32_t Settings::*>(element.field);
  const bool isType = element.kind == Element::Kind::ControllerType;
  return indent + "<!-- " + Narrow(element.help) + " -->\n" +
         Text(indent, element, isType ? value == RC ? "RC" : "VC" : std::to_string(value));
}

/// The element with an example in each of its children.
std::string Example(const std::string& indent, const config::Container& container) {
  std::string inside;
  for (const Element& each : container.texts) inside += Text(indent + "  ", each, Narrow(each.help));
  return Around(indent, container, inside);
}

}  // namespace

std::string DefaultScanConfiguration() {
  std::string numbers;
  for (const Element& each : config::kCommunicationSettings.texts) numbers += Default("    ", each);
  const std::string interfaces =
      "  <!-- The network interfaces that take part in broadcast discovery: all of them, unless the file "
      "has\n"
      "       " +
      Narrow(config::kUseInterfaces.name) + " (only those in one of the subnets) or " +
      Narrow(config::kExcludeInterfaces.name) + " (all but those). " + Name(&config::SubNetEntry::IPNumber) +
      " is\n       any address of the subnet, " + Name(&config::SubNetEntry::SubNetMask) +
      " the interface's own mask.\n" +
      Around("  ", config::kUseInterfaces, Example("    ", config::kSubNet)) + "  -->\n";
  return Document(
      "<!-- Every setting in this file is optional. The values below are the defaults. Numbers are "
      "decimal.\n"
      "     A component reads the file once, when it is created. -->\n" +
      Around("", config::kScanFileRoot,
             Default("  ", config::ElementOf(&Settings::FakeRemoteVCAs)) +
                 Around("  ", config::kCommunicationSettings, numbers) + interfaces +
                 Default("  ", config::ElementOf(&Settings::DetectInterfaceChanges))));
}

std::string DefaultStaticControllers() {
  return Document("<!-- Controllers to list without finding them by broadcast. Each needs a " +
                  Name(&CtrlInfo::ctrlAddress) + ". If both\n     " +
                  Name(&Settings::NonLocalUpdatesEnabled) + " and " +
                  Name(&Settings::DynamicDetectionEnabled) + " are 0, it also needs a " +
                  Name(&CtrlInfo::systemID) + " and the\n     three version numbers. -->\n" +
                  Around("", config::kStaticFileRoot,
                         "  <!--\n" + Example("  ", config::kControllerIdentity) + "  -->\n"));
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
