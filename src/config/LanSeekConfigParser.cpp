#include "config/LanSeekConfigParser.h"

#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "config/CommunicationElements.h"
#include "config/ElementReader.h"
#include "diagnostics/UnitNames.h"
#include "text/Number.h"

namespace kellanseek::config {
namespace {

constexpr const wchar_t* kRoot = L"KelLanSeekConfigurations";
constexpr const wchar_t* kLookupFailed = L"CLanSeekConfigParser::GetInformation. raw_selectSingleNode ";
constexpr const wchar_t* kTextFailed = L"CLanSeekConfigParser::GetInformation. get_text ";

constexpr config::RejectionMessages kRejections = {
    L"LanSeekConfigParser::Init. Config file rejected. get_firstChild failed",
    L"LanSeekConfigParser::Init. Config file rejected. Attributes failure.",
    L"LanSeekConfigParser::Init. Config file rejected. Failed to get encoding type.",
    L"LanSeekConfigParser::Init. Config file rejected. Failed to read encoding type.",
    L"LanSeekConfigParser::Init. Config file rejected due to invalid encoding type.",
    L"LanSeekConfigParser::Init. Config file rejected. Failed to get encoding type, exception thrown."};

using Node = std::unique_ptr<platform::XmlNode>;

}  // namespace

CLanSeekConfigParser::CLanSeekConfigParser(platform::DebugOutput& output, config::XmlDocumentFactory create)
    : create_(std::move(create)), trace_(output, diagnostics::kScanConfigurationUnit) {}

HRESULT CLanSeekConfigParser::Init(const std::wstring& path) {
  return file_.Open(path, create_, kRejections, trace_);
}

HRESULT CLanSeekConfigParser::GetInformation(CKelLanSeekConfigSettings& settings) {
  const HRESULT interfaces =
      GetInterfaceSettings(settings.SubNets, settings.InterfaceMode, settings.DetectInterfaceChanges);
  const HRESULT communication = GetCommunicationSettings(settings);
  settings.ValidateInterfaces(trace_);
  if (FAILED(interfaces)) return interfaces;
  return FAILED(communication) ? communication : S_OK;
}

HRESULT CLanSeekConfigParser::GetCommunicationSettings(CKelLanSeekConfigSettings& settings) {
  if (!file_.Valid()) return E_FAIL;
  try {
    return ReadCommunicationSettings(settings);
  } catch (const std::exception&) {
    trace_.LongError(L"CLanSeekConfigParser::GetCommunicationSettings. Exception while getting data");
    return E_FAIL;
  }
}

HRESULT CLanSeekConfigParser::ReadCommunicationSettings(CKelLanSeekConfigSettings& settings) {
  const config::ElementReader reader(trace_, kLookupFailed, kTextFailed);
  Node root;
  HRESULT result = file_.Document()->SelectRoot(kRoot, root);
  if (FAILED(result)) {
    trace_.LongError(
        L"CLanSeekConfigParser::GetCommunicationSettings. raw_selectSingleNode KelLanSeekConfigurations "
        L"failed");
  }
  if (result != S_OK) return result;

  std::wstring text;
  if (reader.ChildText(*root, L"FakeRemoteVCAs", text) == S_OK && text == L"RC") settings.FakeRemoteVCAs = RC;

  Node container;
  result = root->SelectSingleNode(L"CommunicationSettings", container);
  if (FAILED(result)) {
    trace_.LongError(L"CLanSeekConfigParser::GetInformation. raw_selectNodes CommunicationSettings failed");
  }
  if (result != S_OK) return result;
  for (const config::NumericElement& element : config::CommunicationElements()) {
    result = reader.ChildText(*container, element.name, text);
    if (result == S_OK) config::Store(element, text::ToNumber(text), settings);
  }
  return result;
}

HRESULT CLanSeekConfigParser::GetInterfaceSettings(std::vector<SubNetEntry>& subNets,
                                                   std::int32_t& interfaceMode, std::int32_t& detectChanges) {
  if (!file_.Valid()) return E_FAIL;
  try {
    return ReadInterfaceSettings(subNets, interfaceMode, detectChanges);
  } catch (const std::exception&) {
    trace_.LongError(L"CLanSeekConfigParser::GetInformation. Exception while getting interface addresses");
    return E_FAIL;
  }
}

HRESULT CLanSeekConfigParser::ReadInterfaceSettings(std::vector<SubNetEntry>& subNets,
                                                    std::int32_t& interfaceMode,
                                                    std::int32_t& detectChanges) {
  const config::ElementReader reader(trace_, kLookupFailed, kTextFailed);
  interfaceMode = AllInterfaces;
  Node root;
  HRESULT result = file_.Document()->SelectRoot(kRoot, root);
  if (FAILED(result)) {
    trace_.LongError(
        L"CLanSeekConfigParser::GetInformation. raw_selectSingleNode KelLanSeekConfigurations failed");
  }
  if (result != S_OK) return result;

  Node container;
  result = reader.Select(*root, L"ExcludeInterfaces", container);
  if (result == S_OK) interfaceMode = ExcludeListed;
  if (result == S_FALSE) {
    result = reader.Select(*root, L"UseInterfaces", container);
    if (result == S_OK) interfaceMode = UseListed;
  }
  if (result == S_OK) result = ReadSubNets(*container, subNets);
  if (FAILED(result)) return result;

  const config::NumericElement& detect = config::DetectInterfaceChangesElement();
  Node element;
  result = reader.Select(*root, detect.name, element);
  if (result != S_OK) return result;
  std::wstring text;
  result = element->Text(text);
  if (result == S_OK) detectChanges = text::ToNumber(text) != 0 ? 1 : 0;
  return result;
}

HRESULT CLanSeekConfigParser::ReadSubNets(platform::XmlNode& container, std::vector<SubNetEntry>& subNets) {
  const config::ElementReader reader(trace_, kLookupFailed, kTextFailed);
  std::vector<Node> nodes;
  const HRESULT listed = container.SelectNodes(L"SubNet", nodes);
  if (FAILED(listed)) {
    trace_.LongError(L"CLanSeekConfigParser::GetInformation. raw_selectNodes SubNet failed");
    return listed;
  }
  for (const Node& node : nodes) {
    if (!node) {
      trace_.LongError(L"CLanSeekConfigParser::GetInformation. get_item failed");
      return E_FAIL;
    }
    SubNetEntry entry;
    bool complete = true;
    for (const auto& [name, field] :
         {std::pair(L"IPNumber", &entry.IPNumber), {L"SubNetMask", &entry.SubNetMask}}) {
      Node element;
      const HRESULT selected = reader.Select(*node, name, element);
      if (FAILED(selected)) return selected;
      if (selected != S_OK) {
        trace_.LongError(L"CLanSeekConfigParser::GetInformation. SubNet node did not contain %s", name);
      }
      complete = selected == S_OK && reader.Text(*element, name, *field) == S_OK;
      if (!complete) break;
    }
    if (!complete) continue;
    try {
      subNets.push_back(std::move(entry));
    } catch (const std::bad_alloc&) {
      trace_.LongError(L"CLanSeekConfigParser::GetInformation. Error put data into interface list");
    }
  }
  return S_OK;
}

}  // namespace kellanseek::config
