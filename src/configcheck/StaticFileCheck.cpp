#include "configcheck/StaticFileCheck.h"

#include <memory>
#include <unordered_map>
#include <vector>

#include "config/ControllerIdParser.h"
#include "config/IdentityElements.h"
#include "config/StaticControllers.h"
#include "configcheck/Remarks.h"
#include "diagnostics/NoDebugOutput.h"
#include "platform/Files.h"
#include "platform/Ipv4.h"
#include "text/Number.h"

namespace kellanseek::configcheck {
namespace {

using controllers::CtrlInfo;

using Node = std::unique_ptr<platform::XmlNode>;
using Verdict = config::StaticControllerCheck::Verdict;

constexpr std::wstring_view kRoot = L"ControllerIdentities";
constexpr std::wstring_view kEntry = L"ControllerIdentity";
constexpr std::uint32_t kMaxPort = 65535;

std::wstring Title(const CtrlInfo& controller) {
  std::wstring title = L"Controller " + controller.ctrlAddress;
  if (!controller.ctrlName.empty()) title += L" (" + controller.ctrlName + L")";
  return title;
}

class StaticFileCheck {
 public:
  StaticFileCheck(bool completeInfoMode, Remarks& remarks)
      : completeInfoMode_(completeInfoMode), check_(completeInfoMode), remarks_(remarks) {
    for (const config::IdentityElement& each : config::IdentityElements()) known_.push_back({each.name});
  }

  void Run() {
    if (platform::KindOfPath(remarks_.File()) == platform::PathKind::Nothing) {
      return remarks_.Accepted(0, L"The file does not exist; there are no static controllers.");
    }
    diagnostics::NoDebugOutput silence;
    config::CControllerIdParser parser(silence);
    const HRESULT opened = parser.Init(remarks_.File());
    const Node root = OpenedRoot(parser.File(), opened, kRoot, remarks_);
    if (!root) return;
    std::vector<CtrlInfo> listed;
    std::vector<Node> nodes;
    if (FAILED(parser.GetInformation(listed)) || FAILED(root->SelectNodes(std::wstring(kEntry), nodes)) ||
        nodes.size() != listed.size()) {
      return remarks_.Unreadable(L"The elements " + Quoted(kEntry) + L" cannot be read.");
    }
    std::vector<std::wstring_view> elsewhere;
    for (const KnownElement& each : known_) elsewhere.push_back(each.name);
    CheckChildren(*root, kRoot, {{kEntry, true}}, elsewhere, remarks_);
    if (completeInfoMode_) {
      remarks_.Accepted(
          0,
          L"Neither broadcast discovery nor polling is on, so this file is the only source for its "
          L"controllers, so each needs a system identity and a version.");
    }
    for (std::size_t i = 0; i < listed.size(); ++i) CheckEntry(*nodes[i], listed[i]);
  }

 private:
  void CheckEntry(platform::XmlNode& node, const CtrlInfo& controller) {
    CheckChildren(node, kEntry, known_, {}, remarks_);
    std::wstring text;
    bool clean = true;
    for (const config::IdentityElement& each : config::IdentityElements()) {
      const Node element = Child(node, each.name);
      if (!element || element->Text(text) != S_OK) continue;
      const std::wstring problem = ElementProblem(each, text);
      if (problem.empty()) continue;
      clean = false;
      remarks_.Finding(element->Line(), problem);
    }
    clean = CheckVersion(node, controller) && clean;
    const auto decision = check_.Decide(controller);
    if (decision.verdict != Verdict::Accepted) {
      return remarks_.Finding(node.Line(), Rejection(decision, controller));
    }
    acceptedLines_.push_back(node.Line());
    clean = CheckAddress(node, controller) && clean;
    if (clean) remarks_.Accepted(node.Line(), Title(controller) + L" is accepted.");
  }

  static std::wstring ElementProblem(const config::IdentityElement& element, const std::wstring& text) {
    const std::wstring name = element.name;
    if (element.level != nullptr) {
      if (text == L"BootLevel" || text == L"SystemLevel") return {};
      return name + L" is " + Quoted(text) +
             L" and counts as \"SystemLevel\", like every text except \"BootLevel\".";
    }
    if (element.number == nullptr) return {};
    std::wstring problem = NumberProblem(name, text);
    if (!problem.empty()) return problem;
    const std::int32_t number = text::ToNumber(text);
    if (number < 0) return name + L" is negative.";
    const bool port = element.number == &CtrlInfo::commPortNumber;
    if (port && static_cast<std::uint32_t>(number) > kMaxPort)
      return name + L" is not a valid port: the highest is 65535.";
    return {};
  }

  /// Returns false if some version numbers are given but the version as a whole is unknown.
  bool CheckVersion(platform::XmlNode& node, const CtrlInfo& controller) {
    if (config::VersionKnown(controller)) return true;
    for (const config::IdentityElement& each : config::IdentityElements()) {
      const bool version = each.number != nullptr && each.number != &CtrlInfo::commPortNumber;
      if (!version || !Child(node, each.name)) continue;
      remarks_.Finding(
          node.Line(),
          L"The version counts as unknown: it needs a MajorVersion other than 0, a MinorVersion and a "
          L"Revision.");
      return false;
    }
    return true;
  }

  /// Returns false if an accepted address is probably a mistake.
  bool CheckAddress(platform::XmlNode& node, const CtrlInfo& controller) {
    const platform::Ipv4 address = platform::ParseIpv4(std::wstring_view(controller.ctrlAddress));
    const std::wstring problem = AddressProblem(L"ControllerLocAddr", controller.ctrlAddress);
    if (!problem.empty()) remarks_.Finding(node.Line(), problem);
    const std::uint32_t first = platform::HostOrder(address) >> 24;
    const bool reachable = first != 0 && first < 224;
    if (!reachable)
      remarks_.Finding(node.Line(),
                       Title(controller) + L" has a ControllerLocAddr that no controller can have.");
    const auto [earlier, isFirst] = lineOfAddress_.emplace(address, node.Line());
    if (!isFirst) {
      remarks_.Finding(node.Line(), Title(controller) +
                                        L" has the ControllerLocAddr of the controller of line " +
                                        std::to_wstring(earlier->second) + L", written differently.");
    }
    return problem.empty() && reachable && isFirst;
  }

  std::wstring Rejection(const config::StaticControllerCheck::Decision& decision,
                         const CtrlInfo& controller) const {
    const std::wstring dropped = Title(controller) + L" is dropped: ";
    const auto earlier = [&] {
      return L"the controller of line " + std::to_wstring(acceptedLines_[decision.conflicting]);
    };
    switch (decision.verdict) {
      case Verdict::Accepted: break;
      case Verdict::NoAddress: return L"The controller is dropped: it has no ControllerLocAddr.";
      case Verdict::InvalidAddress:
        return L"The controller is dropped: its ControllerLocAddr " + Quoted(controller.ctrlAddress) +
               L" is not an IPv4 address.";
      case Verdict::NoSystemID:
        return dropped +
               L"it has no SystemIdentity, which it needs because the network is never asked for it.";
      case Verdict::NoVersion:
        return dropped +
               L"it has no version (MajorVersion, MinorVersion, Revision), which it needs because nothing "
               L"asks for it.";
      case Verdict::AddressConflict: return dropped + earlier() + L" has the same ControllerLocAddr.";
      case Verdict::SystemIDConflict: return dropped + earlier() + L" has the same SystemIdentity.";
    }
    return {};
  }

  bool completeInfoMode_;
  config::StaticControllerCheck check_;
  Remarks& remarks_;
  std::vector<KnownElement> known_;
  std::vector<std::size_t> acceptedLines_;
  std::unordered_map<platform::Ipv4, std::size_t> lineOfAddress_;
};

}  // namespace

void CheckStaticFile(const std::wstring& file, const config::CKelLanSeekConfigSettings& settings,
                     ConfigReport& report) {
  Remarks remarks(report, file);
  StaticFileCheck(settings.CompleteInfoMode(), remarks).Run();
}

}  // namespace kellanseek::configcheck
