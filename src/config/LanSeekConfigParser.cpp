#include "config/LanSeekConfigParser.h"

#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "diagnostics/UnitNames.h"
#include "text/Number.h"

namespace kellanseek::config {
namespace {

constexpr const wchar_t* kListFailed = L"CLanSeekConfigParser::GetInformation. raw_selectNodes ";

constexpr FileMessages kMessages = {
    diagnostics::kScanConfigurationUnit,
    {L"LanSeekConfigParser::Init. Config file rejected. get_firstChild failed",
     L"LanSeekConfigParser::Init. Config file rejected. Attributes failure.",
     L"LanSeekConfigParser::Init. Config file rejected. Failed to get encoding type.",
     L"LanSeekConfigParser::Init. Config file rejected. Failed to read encoding type."},
    L"LanSeekConfigParser::Init. Config file rejected due to invalid encoding type.",
    L"LanSeekConfigParser::Init. Config file rejected. Failed to get encoding type, exception thrown.",
    L"CLanSeekConfigParser::GetInformation. raw_selectSingleNode ",
    L"CLanSeekConfigParser::GetInformation. get_text "};

using Node = ConfigFile::Node;

}  // namespace

CLanSeekConfigParser::CLanSeekConfigParser(platform::DebugOutput& output, XmlDocumentFactory create,
                                           ReadListener& listener)
    : file_(output, kMessages, std::move(create), listener) {}

HRESULT CLanSeekConfigParser::GetInformation(CKelLanSeekConfigSettings& settings) {
  const HRESULT interfaces =
      GetInterfaceSettings(settings.SubNets, settings.InterfaceMode, settings.DetectInterfaceChanges);
  const HRESULT communication = GetCommunicationSettings(settings);
  settings.ValidateInterfaces(file_.Trace());
  if (FAILED(interfaces)) return interfaces;
  return FAILED(communication) ? communication : S_OK;
}

HRESULT CLanSeekConfigParser::GetCommunicationSettings(CKelLanSeekConfigSettings& settings) try {
  if (!file_.Valid()) return E_FAIL;
  Node root;
  HRESULT result = file_.Root(kScanFileRoot, root,
                              L"CLanSeekConfigParser::GetCommunicationSettings. raw_selectSingleNode ");
  if (result != S_OK) {
    file_.Listener().RootMissing(kScanFileRoot);
    return result;
  }
  file_.Listener().Opened(kScanFileRoot, *root);
  file_.Read(*root, ElementOf(&CKelLanSeekConfigSettings::FakeRemoteVCAs), settings);

  Node container;
  result = file_.Select(*root, kCommunicationSettings.name, container, kListFailed);
  if (result != S_OK) return result;
  file_.Listener().Opened(kCommunicationSettings, *container);
  for (const Element& element : kCommunicationSettings.texts)
    result = file_.Read(*container, element, settings);
  file_.Listener().Closed(kCommunicationSettings, *container);
  return result;
} catch (const std::exception&) {
  file_.Trace().LongError(L"CLanSeekConfigParser::GetCommunicationSettings. Exception while getting data");
  return E_FAIL;
}

HRESULT CLanSeekConfigParser::GetInterfaceSettings(std::vector<SubNetEntry>& subNets,
                                                   std::int32_t& interfaceMode,
                                                   std::int32_t& detectChanges) try {
  if (!file_.Valid()) return E_FAIL;
  interfaceMode = AllInterfaces;
  Node root;
  HRESULT result = file_.Root(kScanFileRoot, root);
  if (result != S_OK) return result;

  Node container;
  const Container* list = &kExcludeInterfaces;
  result = file_.Select(*root, list->name, container);
  if (result == S_OK) interfaceMode = ExcludeListed;
  if (result == S_FALSE) {
    list = &kUseInterfaces;
    result = file_.Select(*root, list->name, container);
    if (result == S_OK) interfaceMode = UseListed;
  }
  if (result == S_OK) result = ReadSubNets(*list, *container, subNets);
  if (FAILED(result)) return result;

  const Element& detect = ElementOf(&CKelLanSeekConfigSettings::DetectInterfaceChanges);
  Node node;
  result = file_.Select(*root, detect.name, node);
  if (result != S_OK) return result;
  std::wstring text;
  result = node->Text(text);
  if (result != S_OK) return result;
  detectChanges = text::ToNumber(text) != 0 ? 1 : 0;
  file_.Listener().Read(detect, *node, text);
  return result;
} catch (const std::exception&) {
  file_.Trace().LongError(
      L"CLanSeekConfigParser::GetInformation. Exception while getting interface addresses");
  return E_FAIL;
}

HRESULT CLanSeekConfigParser::ReadSubNets(const Container& list, platform::XmlNode& container,
                                          std::vector<SubNetEntry>& subNets) {
  file_.Listener().Opened(list, container);
  std::vector<Node> nodes;
  const HRESULT listed = container.SelectNodes(kSubNet.name, nodes);
  if (FAILED(listed)) {
    file_.Trace().LongError(L"%s%s failed", kListFailed, kSubNet.name);
    return listed;
  }
  for (const Node& node : nodes) {
    if (!node) {
      file_.Trace().LongError(L"CLanSeekConfigParser::GetInformation. get_item failed");
      return E_FAIL;
    }
    const HRESULT result = ReadSubNet(*node, subNets);
    if (FAILED(result)) return result;
  }
  file_.Listener().Closed(list, container);
  return S_OK;
}

/// Fails only if a look-up fails. Passes over a subnet without an address or mask.
HRESULT CLanSeekConfigParser::ReadSubNet(platform::XmlNode& node, std::vector<SubNetEntry>& subNets) {
  file_.Listener().Opened(kSubNet, node);
  SubNetEntry entry;
  for (const Element& element : kSubNet.texts) {
    Node child;
    const HRESULT selected = file_.Select(node, element.name, child);
    if (FAILED(selected)) return selected;
    if (selected != S_OK) {
      file_.Trace().LongError(L"CLanSeekConfigParser::GetInformation. %s node did not contain %s",
                              kSubNet.name, element.name);
    }
    std::wstring& text = entry.*std::get<std::wstring SubNetEntry::*>(element.field);
    if (selected != S_OK || file_.Text(*child, element.name, text) != S_OK) {
      file_.Listener().PassedOver(kSubNet, node, element);
      return S_FALSE;
    }
  }
  try {
    subNets.push_back(std::move(entry));
  } catch (const std::bad_alloc&) {
    file_.Trace().LongError(L"CLanSeekConfigParser::GetInformation. Error put data into interface list");
    return S_FALSE;
  }
  file_.Listener().Closed(kSubNet, node);
  return S_OK;
}

}  // namespace kellanseek::config
