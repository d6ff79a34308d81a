#include "config/ControllerIdParser.h"

#include <exception>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "config/ElementReader.h"
#include "config/IdentityElements.h"
#include "diagnostics/UnitNames.h"

namespace kellanseek::config {
namespace {

using controllers::CtrlInfo;

constexpr const wchar_t* kLookupFailed =
    L"LanSeek. CControllerIdParser::GetInformation. raw_selectSingleNode ";
constexpr const wchar_t* kHostNameLookupFailed =
    L"CControllerIdParser::GetInformation. raw_selectSingleNode ";
constexpr const wchar_t* kTextFailed = L"LanSeek. CControllerIdParser::GetInformation. get_text ";

constexpr config::RejectionMessages kRejections = {
    L"LanSeek. CControllerIdParser::Init. Static controller file rejected. get_firstChild failed",
    L"LanSeek. CControllerIdParser::Init. Static controller file rejected. Attributes failure.",
    L"LanSeek. CControllerIdParser::Init. Static controller file rejected. Failed to get encoding type.",
    nullptr,
    L"LanSeek. CControllerIdParser::Init. Static controller file rejected due to invalid encoding type.",
    L"LanSeek. CControllerIdParser::Init. Config file rejected. Failed to get encoding type."};

using Node = std::unique_ptr<platform::XmlNode>;

/// Completes the version numbers after all four elements have been read. The rule depends on whether the
/// compatibility revision is absent (S_FALSE) or could not be read (a failure).
void SettleVersions(CtrlInfo& record, HRESULT compatibilityRead) {
  if (compatibilityRead == S_FALSE) record.kelAPICompatibilityRevision = record.versionRevision;
  if (config::VersionKnown(record)) return;
  record.versionMajor = record.versionMinor = record.versionRevision = controllers::kVersionUnknown;
  record.kelAPICompatibilityRevision = controllers::kVersionUnknown;
}

}  // namespace

CControllerIdParser::CControllerIdParser(platform::DebugOutput& output, config::XmlDocumentFactory create)
    : create_(std::move(create)), trace_(output, diagnostics::kStaticInfoUnit) {}

HRESULT CControllerIdParser::Init(const std::wstring& path) {
  return file_.Open(path, create_, kRejections, trace_);
}

HRESULT CControllerIdParser::GetInformation(std::vector<CtrlInfo>& list) {
  if (!file_.Valid()) return E_FAIL;
  try {
    return ReadControllers(list);
  } catch (const std::exception&) {
    return E_FAIL;
  }
}

HRESULT CControllerIdParser::ReadControllers(std::vector<CtrlInfo>& list) {
  Node root;
  HRESULT result = file_.Document()->SelectRoot(L"ControllerIdentities", root);
  if (FAILED(result)) {
    trace_.LongError(
        L"LanSeek. CControllerIdParser::GetInformation. raw_selectSingleNode ControllerIdentities failed");
  }
  if (result != S_OK) return result;
  std::vector<Node> nodes;
  result = root->SelectNodes(L"ControllerIdentity", nodes);
  if (FAILED(result)) {
    trace_.LongError(
        L"LanSeek. CControllerIdParser::GetInformation. Failed to get static controllers. raw_selectNodes "
        L"ControllerIdentity failed");
    return result;
  }
  for (const Node& node : nodes) {
    if (!node) {
      trace_.LongError(
          L"LanSeek. CControllerIdParser::GetInformation. Failed to get static controller. get_item failed");
      return E_FAIL;
    }
    CtrlInfo record;
    result = ReadController(*node, record);
    try {
      list.push_back(std::move(record));
    } catch (const std::bad_alloc&) {
      continue;
    }
  }
  return result;
}

HRESULT CControllerIdParser::ReadController(platform::XmlNode& node, CtrlInfo& record) {
  const config::ElementReader reader(trace_, kLookupFailed, kTextFailed);
  const config::ElementReader hostNameReader(trace_, kHostNameLookupFailed, kTextFailed);
  HRESULT result = S_OK;
  std::wstring text;
  for (const config::IdentityElement& element : config::IdentityElements()) {
    const bool isHostName = element.text == &CtrlInfo::hostName;
    result = (isHostName ? hostNameReader : reader).ChildText(node, element.name, text);
    if (result == S_OK) config::Store(element, text, record);
    if (element.number == &CtrlInfo::kelAPICompatibilityRevision) SettleVersions(record, result);
  }
  return result;
}

}  // namespace kellanseek::config
