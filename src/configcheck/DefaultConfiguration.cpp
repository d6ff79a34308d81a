#include "configcheck/DefaultConfiguration.h"

#include <utility>

#include "config/CommunicationElements.h"
#include "config/Configuration.h"
#include "platform/CodePage.h"
#include "platform/Files.h"

namespace kellanseek::configcheck {
namespace {

constexpr const char* kDeclaration = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n";

/// The names and comments passed here are plain ASCII.
std::string Narrow(const wchar_t* text) { return platform::ToNarrow(text); }

void AppendElement(std::string& text, const char* indent, const config::NumericElement& element) {
  const config::CKelLanSeekConfigSettings defaults;
  const std::string name = Narrow(element.name);
  text.append(indent).append("<!-- ").append(Narrow(element.meaning)).append(" -->\n");
  text.append(indent).append("<" + name + ">" + std::to_string(element.value(defaults)) + "</" + name +
                             ">\n");
}

}  // namespace

std::string DefaultScanConfiguration() {
  std::string text = kDeclaration;
  text +=
      "<!-- Every setting in this file is optional. The values below are the defaults. Numbers are decimal.\n"
      "     A component reads the file once, when it is created. -->\n"
      "<KelLanSeekConfigurations>\n"
      "  <!-- The kind of controller that older clients see in a remote virtual controller: RC (a real one) "
      "or "
      "VC. -->\n"
      "  <FakeRemoteVCAs>VC</FakeRemoteVCAs>\n"
      "  <CommunicationSettings>\n";
  for (const config::NumericElement& each : config::CommunicationElements())
    AppendElement(text, "    ", each);
  text +=
      "  </CommunicationSettings>\n"
      "  <!-- The network interfaces that take part in broadcast discovery: all of them, unless the file "
      "has\n"
      "       UseInterfaces (only those in one of the subnets) or ExcludeInterfaces (all but those). "
      "IPNumber "
      "is\n"
      "       any address of the subnet, SubNetMask the interface's own mask.\n"
      "  <UseInterfaces>\n"
      "    <SubNet>\n"
      "      <IPNumber>192.168.1.0</IPNumber>\n"
      "      <SubNetMask>255.255.255.0</SubNetMask>\n"
      "    </SubNet>\n"
      "  </UseInterfaces>\n"
      "  -->\n";
  AppendElement(text, "  ", config::DetectInterfaceChangesElement());
  return text + "</KelLanSeekConfigurations>\n";
}

std::string DefaultStaticControllers() {
  return std::string(kDeclaration) +
         "<!-- Controllers to list without finding them by broadcast. Each needs a ControllerLocAddr. If "
         "both\n"
         "     NonLocalUpdatesEnabled and DynamicDetectionEnabled are 0, it also needs a SystemIdentity and "
         "the\n"
         "     three version numbers. -->\n"
         "<ControllerIdentities>\n"
         "  <!--\n"
         "  <ControllerIdentity>\n"
         "    <ControllerName>Cell4</ControllerName>\n"
         "    <ControllerLocAddr>10.20.1.15</ControllerLocAddr>\n"
         "    <SystemName>Line2Cell4</SystemName>\n"
         "    <ReleasePath>/disk0/system/release</ReleasePath>\n"
         "    <SystemIdentity>12-34567</SystemIdentity>\n"
         "    <ControllerID>12-34567</ControllerID>\n"
         "    <HostName>cell4-ctrl</HostName>\n"
         "    <MacAddress>02-00-00-12-34-56</MacAddress>\n"
         "    <MajorVersion>5</MajorVersion>\n"
         "    <MinorVersion>15</MinorVersion>\n"
         "    <Revision>1</Revision>\n"
         "    <KelAPICompatibilityRevision>1</KelAPICompatibilityRevision>\n"
         "    <CommPortNumber>5515</CommPortNumber>\n"
         "    <ControllerLevel>SystemLevel</ControllerLevel>\n"
         "  </ControllerIdentity>\n"
         "  -->\n"
         "</ControllerIdentities>\n";
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
