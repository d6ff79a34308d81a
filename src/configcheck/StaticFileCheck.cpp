#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "config/ControllerIdParser.h"
#include "config/StaticControllers.h"
#include "configcheck/ConfigCheck.h"
#include "configcheck/FileCheck.h"
#include "diagnostics/NoDebugOutput.h"
#include "platform/Ipv4.h"
#include "text/Number.h"

namespace kellanseek::configcheck {
namespace {

using config::Element;
using config::NameOf;
using controllers::CtrlInfo;
using Kind = Element::Kind;
using Verdict = config::StaticControllerCheck::Verdict;

constexpr std::int32_t kMaxPort = 65535;

std::wstring Title(const CtrlInfo& controller) {
  std::wstring title = L"Controller " + controller.ctrlAddress;
  if (!controller.ctrlName.empty()) title += L" (" + controller.ctrlName.Wide() + L")";
  return title;
}

std::wstring ElementProblem(const Element& element, const std::wstring& text) {
  const std::wstring name = element.name;
  if (element.kind == Kind::Level) {
    if (text == L"BootLevel" || text == L"SystemLevel") return {};
    return name + L" is " + Quoted(text) +
           L" and counts as \"SystemLevel\", like every text except \"BootLevel\".";
  }
  if (element.kind == Kind::Text) return {};
  std::wstring problem = NumberProblem(name, text);
  if (!problem.empty()) return problem;
  const std::int32_t number = text::ToNumber(text);
  if (number < 0) return name + L" is negative.";
  if (element.kind == Kind::Port && number > kMaxPort)
    return name + L" is not a valid port: the highest is 65535.";
  return {};
}

class StaticFileCheck final : public FileCheck {
 public:
  StaticFileCheck(bool completeInfoMode, ConfigReport& report, const std::wstring& file)
      : FileCheck(report, file), completeInfoMode_(completeInfoMode), check_(completeInfoMode) {}

  void Run() {
    if (Absent(L"there are no static controllers.")) return;
    diagnostics::NoDebugOutput silence;
    config::CControllerIdParser parser(silence, platform::CreateXmlDocument, *this);
    if (FAILED(parser.Init(File()))) return;
    if (FAILED(parser.GetInformation(listed_)))
      Unreadable(L"The elements " + Quoted(config::kControllerIdentity.name) + L" cannot be read.");
  }

  void Opened(const config::Container& container, platform::XmlNode& node) override {
    FileCheck::Opened(container, node);
    clean_ = true;
    hasVersion_ = false;
    if (&container != &config::kStaticFileRoot || !completeInfoMode_) return;
    Accepted(0,
             L"Neither broadcast discovery nor polling is on, so this file is the only source for its "
             L"controllers, so each needs a system identity and a version.");
  }

  void Read(const Element& element, platform::XmlNode& node, const std::wstring& text) override {
    hasVersion_ = hasVersion_ || element.kind == Kind::Version;
    const std::wstring problem = ElementProblem(element, text);
    if (!problem.empty()) Doubt(node.Line(), problem);
  }

  void Closed(const config::Container&, platform::XmlNode& node) override {
    const CtrlInfo& controller = listed_.back();
    const std::size_t line = node.Line();
    if (hasVersion_ && !config::VersionKnown(controller)) {
      Doubt(line, L"The version counts as unknown: it needs a " + NameOf(&CtrlInfo::versionMajor) +
                      L" other than 0, a " + NameOf(&CtrlInfo::versionMinor) + L" and a " +
                      NameOf(&CtrlInfo::versionRevision) + L".");
    }
    const auto decision = check_.Decide(controller);
    if (decision.verdict != Verdict::Accepted) return Finding(line, Rejection(decision, controller));
    acceptedLines_.push_back(line);
    CheckAddress(controller, line);
    if (clean_) Accepted(line, Title(controller) + L" is accepted.");
  }

 private:
  /// A finding on a controller that may be accepted all the same.
  void Doubt(std::size_t line, std::wstring text) {
    clean_ = false;
    Finding(line, std::move(text));
  }

  /// Reports an accepted address that is probably a mistake.
  void CheckAddress(const CtrlInfo& controller, std::size_t line) {
    const std::wstring name = NameOf(&CtrlInfo::ctrlAddress);
    const platform::Ipv4 address = platform::ParseIpv4(std::wstring_view(controller.ctrlAddress));
    const std::wstring problem = AddressProblem(name, controller.ctrlAddress);
    if (!problem.empty()) Doubt(line, problem);
    const std::uint32_t first = platform::HostOrder(address) >> 24;
    if (first == 0 || first >= 224)
      Doubt(line, Title(controller) + L" has a " + name + L" that no controller can have.");
    const auto [earlier, isFirst] = lineOfAddress_.emplace(address, line);
    if (isFirst) return;
    Doubt(line, Title(controller) + L" has the " + name + L" of the controller of line " +
                    std::to_wstring(earlier->second) + L", written differently.");
  }

  std::wstring Rejection(const config::StaticControllerCheck::Decision& decision,
                         const CtrlInfo& controller) const {
    const std::wstring address = NameOf(&CtrlInfo::ctrlAddress);
    const std::wstring system = NameOf(&CtrlInfo::systemID);
    const std::wstring dropped = Title(controller) + L" is dropped: ";
    const auto earlier = [&] {
      return L"the controller of line " + std::to_wstring(acceptedLines_[decision.conflicting]);
    };
    switch (decision.verdict) {
      case Verdict::Accepted: break;
      case Verdict::NoAddress: return L"The controller is dropped: it has no " + address + L".";
      case Verdict::InvalidAddress:
        return L"The controller is dropped: its " + address + L" " + Quoted(controller.ctrlAddress) +
               L" is not an IPv4 address.";
      case Verdict::NoSystemID:
        return dropped + L"it has no " + system +
               L", which it needs because the network is never asked for it.";
      case Verdict::NoVersion:
        return dropped + L"it has no version (" + NameOf(&CtrlInfo::versionMajor) + L", " +
               NameOf(&CtrlInfo::versionMinor) + L", " + NameOf(&CtrlInfo::versionRevision) +
               L"), which it needs because nothing asks for it.";
      case Verdict::AddressConflict: return dropped + earlier() + L" has the same " + address + L".";
      case Verdict::SystemIDConflict: return dropped + earlier() + L" has the same " + system + L".";
    }
    return {};
  }

  bool completeInfoMode_;
  config::StaticControllerCheck check_;
  std::vector<CtrlInfo> listed_;
  std::vector<std::size_t> acceptedLines_;
  std::unordered_map<platform::Ipv4, std::size_t> lineOfAddress_;
  // Of the controller that is being read:
  bool clean_ = true;        ///< Nothing of it is in doubt.
  bool hasVersion_ = false;  ///< Some version number is given.
};

}  // namespace

void CheckStaticFile(const std::wstring& file, const config::CKelLanSeekConfigSettings& settings,
                     ConfigReport& report) {
  StaticFileCheck(settings.CompleteInfoMode(), report, file).Run();
}

}  // namespace kellanseek::configcheck
