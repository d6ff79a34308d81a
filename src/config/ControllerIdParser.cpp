#include "config/ControllerIdParser.h"

#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "diagnostics/UnitNames.h"

namespace kellanseek::config {
namespace {

using controllers::CtrlInfo;

constexpr const wchar_t* kHostNameLookupFailed =
    L"CControllerIdParser::GetInformation. raw_selectSingleNode ";

constexpr FileMessages kMessages = {
    diagnostics::kStaticInfoUnit,
    {L"LanSeek. CControllerIdParser::Init. Static controller file rejected. get_firstChild failed",
     L"LanSeek. CControllerIdParser::Init. Static controller file rejected. Attributes failure.",
     L"LanSeek. CControllerIdParser::Init. Static controller file rejected. Failed to get encoding type.",
     nullptr},
    L"LanSeek. CControllerIdParser::Init. Static controller file rejected due to invalid encoding type.",
    L"LanSeek. CControllerIdParser::Init. Config file rejected. Failed to get encoding type.",
    L"LanSeek. CControllerIdParser::GetInformation. raw_selectSingleNode ",
    L"LanSeek. CControllerIdParser::GetInformation. get_text "};

using Node = ConfigFile::Node;

/// Completes the version numbers after all four elements have been read. The rule depends on whether the
/// compatibility revision is absent (S_FALSE) or could not be read (a failure).
void SettleVersions(CtrlInfo& record, HRESULT compatibilityRead) {
  if (compatibilityRead == S_FALSE) record.kelAPICompatibilityRevision = record.versionRevision;
  if (VersionKnown(record)) return;
  record.versionMajor = record.versionMinor = record.versionRevision = controllers::kVersionUnknown;
  record.kelAPICompatibilityRevision = controllers::kVersionUnknown;
}

}  // namespace

CControllerIdParser::CControllerIdParser(platform::DebugOutput& output, XmlDocumentFactory create,
                                         ReadListener& listener)
    : file_(output, kMessages, std::move(create), listener) {}

HRESULT CControllerIdParser::GetInformation(std::vector<CtrlInfo>& list) try {
  if (!file_.Valid()) return E_FAIL;
  Node root;
  HRESULT result = file_.Root(kStaticFileRoot, root);
  if (result != S_OK) {
    file_.Listener().RootMissing(kStaticFileRoot);
    return result;
  }
  file_.Listener().Opened(kStaticFileRoot, *root);
  std::vector<Node> nodes;
  result = root->SelectNodes(kControllerIdentity.name, nodes);
  if (FAILED(result)) {
    file_.Trace().LongError(
        L"LanSeek. CControllerIdParser::GetInformation. Failed to get static controllers. raw_selectNodes %s "
        L"failed",
        kControllerIdentity.name);
    return result;
  }
  for (const Node& node : nodes) {
    if (!node) {
      file_.Trace().LongError(
          L"LanSeek. CControllerIdParser::GetInformation. Failed to get static controller. get_item failed");
      return E_FAIL;
    }
    file_.Listener().Opened(kControllerIdentity, *node);
    CtrlInfo record;
    result = ReadController(*node, record);
    try {
      list.push_back(std::move(record));
    } catch (const std::bad_alloc&) {
      continue;
    }
    file_.Listener().Closed(kControllerIdentity, *node);
  }
  return result;
} catch (const std::exception&) {
  return E_FAIL;
}

HRESULT CControllerIdParser::ReadController(platform::XmlNode& node, CtrlInfo& record) {
  HRESULT result = S_OK;
  for (const Element& element : kControllerIdentity.texts) {
    const bool isHostName = element.field == Element::Field(&CtrlInfo::hostName);
    result = file_.Read(node, element, record, isHostName ? kHostNameLookupFailed : nullptr);
    if (element.field == Element::Field(&CtrlInfo::kelAPICompatibilityRevision))
      SettleVersions(record, result);
  }
  return result;
}

bool VersionKnown(const CtrlInfo& record) {
  using controllers::kVersionUnknown;
  return record.versionMajor != 0 && record.versionMajor != kVersionUnknown &&
         record.versionMinor != kVersionUnknown && record.versionRevision != kVersionUnknown;
}

}  // namespace kellanseek::config
