#include "configcheck/ScanFileCheck.h"

#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <utility>
#include <vector>

#include "config/CommunicationElements.h"
#include "config/LanSeekConfigParser.h"
#include "configcheck/Remarks.h"
#include "diagnostics/NoDebugOutput.h"
#include "platform/Files.h"
#include "platform/Ipv4.h"
#include "text/Number.h"

namespace kellanseek::configcheck {
namespace {

using config::CKelLanSeekConfigSettings;

using Node = std::unique_ptr<platform::XmlNode>;

constexpr std::wstring_view kRoot = L"KelLanSeekConfigurations";

std::wstring Number(std::int64_t number) { return std::to_wstring(number); }

/// The effect of a negative time.
std::wstring NegativeTimeEffect(const std::wstring& name) {
  if (name == L"RefreshInterval") return L" is negative, so no refresh is ever broadcast.";
  if (name.ends_with(L"Interval"))
    return L" is negative, so controllers known by address are not asked periodically.";
  return L" is negative, so answers have no deadline: silent controllers are not asked again and are never "
         L"lost.";
}

/// The effect of a number outside the sensible range.
std::wstring RangeProblem(const config::NumericElement& element, std::int32_t number) {
  if (number >= element.least && number <= element.most) return {};
  const std::wstring name = element.name;
  switch (element.kind) {
    case config::NumericElement::Kind::Flag:
      return name + L" counts as 1, like every number except 0; write 1.";
    case config::NumericElement::Kind::Port:
      return name + L" is " + Number(number) + L", which is not a valid port; sockets use its low 16 bits, " +
             Number(CKelLanSeekConfigSettings::Port(number)) + L".";
    case config::NumericElement::Kind::Count:
      if (number < 0)
        return name + L" is negative, so silent controllers are asked for ever and are never lost.";
      break;
    case config::NumericElement::Kind::Seconds:
      if (number >= element.least) break;
      if (number < 0) return name + NegativeTimeEffect(name);
      if (name.ends_with(L"Interval")) return name + L" counts as 1 second, the shortest interval.";
      return name + L" leaves controllers no time to answer.";
  }
  return name + L" is outside the sensible range (" + Number(element.least) + L" to " + Number(element.most) +
         L").";
}

class ScanFileCheck {
 public:
  ScanFileCheck(const std::vector<platform::AddressRow>& host, CKelLanSeekConfigSettings& settings,
                Remarks& remarks)
      : host_(host), settings_(settings), remarks_(remarks) {}

  void Run() {
    if (platform::KindOfPath(remarks_.File()) == platform::PathKind::Nothing) {
      return remarks_.Accepted(0, L"The file does not exist; every setting has its default.");
    }
    diagnostics::NoDebugOutput silence;
    config::CLanSeekConfigParser parser(silence);
    const HRESULT opened = parser.Init(remarks_.File());
    const Node root = OpenedRoot(parser.File(), opened, kRoot, remarks_);
    if (!root) return;
    parser.GetCommunicationSettings(configured_);
    parser.GetInformation(settings_);
    CheckRoot(*root);
  }

 private:
  void CheckRoot(platform::XmlNode& root) {
    const config::NumericElement& detect = config::DetectInterfaceChangesElement();
    std::vector<KnownElement> communication;
    std::vector<std::wstring_view> deeper = {L"SubNet", L"IPNumber", L"SubNetMask"};
    std::vector<std::wstring_view> shallower = {
        L"FakeRemoteVCAs", L"ExcludeInterfaces", L"UseInterfaces", detect.name,
        L"SubNet",         L"IPNumber",          L"SubNetMask"};
    for (const config::NumericElement& each : config::CommunicationElements()) {
      communication.push_back({each.name});
      deeper.push_back(each.name);
    }
    CheckChildren(root, kRoot,
                  {{L"FakeRemoteVCAs"},
                   {L"CommunicationSettings", false, false},
                   {L"ExcludeInterfaces", false, false},
                   {L"UseInterfaces", false, false},
                   {detect.name}},
                  deeper, remarks_);
    CheckFakeRemoteVCAs(root);
    if (const Node container = Child(root, L"CommunicationSettings")) {
      CheckChildren(*container, L"CommunicationSettings", communication, shallower, remarks_);
      for (const config::NumericElement& each : config::CommunicationElements())
        CheckNumber(*container, each);
      CheckCombinations(container->Line());
    }
    CheckInterfaces(root);
    CheckNumber(root, detect);
  }

  void CheckFakeRemoteVCAs(platform::XmlNode& root) {
    const Node element = Child(root, L"FakeRemoteVCAs");
    std::wstring text;
    if (!element || element->Text(text) != S_OK) return;
    const std::wstring kind = settings_.FakeRemoteVCAs == RC ? L"real" : L"virtual";
    if (text == L"RC" || text == L"VC") {
      return remarks_.Accepted(element->Line(),
                               L"Older clients see remote virtual controllers as " + kind + L" ones.");
    }
    remarks_.Finding(element->Line(), L"FakeRemoteVCAs is " + Quoted(text) +
                                          L" and is ignored: it must be exactly \"RC\" or \"VC\".");
  }

  void CheckNumber(platform::XmlNode& parent, const config::NumericElement& element) {
    const Node node = Child(parent, element.name);
    std::wstring text;
    if (!node || node->Text(text) != S_OK) return;
    std::wstring problem = NumberProblem(element.name, text);
    const std::wstring range = RangeProblem(element, text::ToNumber(text));
    if (!problem.empty() && element.kind == config::NumericElement::Kind::Flag) {
      problem += text::ToNumber(text) == 0 ? L" This switches it off; only numbers switch a flag on." : L"";
    }
    if (!problem.empty() && !range.empty()) problem += L" ";
    problem += range;
    if (!problem.empty()) return remarks_.Finding(node->Line(), problem);
    remarks_.Accepted(node->Line(), element.name + (L" is " + Number(text::ToNumber(text))) + L".");
  }

  static bool LongerThan(std::int32_t timeout, std::int32_t interval) {
    return interval >= 0 && timeout > interval;
  }

  /// Reports settings that make sense on their own but not in combination.
  void CheckCombinations(std::size_t line) {
    using Settings = CKelLanSeekConfigSettings;
    if (Settings::Port(settings_.RequestPort) == Settings::Port(settings_.ResponsePort)) {
      remarks_.Finding(
          line, L"RequestPort and ResponsePort are the same; requests and answers cannot be told apart.");
    }
    const Settings usual;
    const std::array ports = {settings_.RequestPort, settings_.ResponsePort, settings_.NonLocalPort};
    const std::array usualPorts = {usual.RequestPort, usual.ResponsePort, usual.NonLocalPort};
    if (ports != usualPorts && std::is_permutation(ports.begin(), ports.end(), usualPorts.begin())) {
      remarks_.Finding(line, L"RequestPort, ResponsePort and NonLocalPort look swapped: " + Number(ports[0]) +
                                 L", " + Number(ports[1]) + L" and " + Number(ports[2]) +
                                 L" are their defaults in another order.");
    }
    if (LongerThan(settings_.RefreshTimeout, settings_.RefreshInterval)) {
      remarks_.Finding(line, L"RefreshTimeout is longer than RefreshInterval.");
    }
    if (LongerThan(settings_.NonLocalRefreshTimeout, settings_.NonLocalRefreshInterval)) {
      remarks_.Finding(line, L"NonLocalRefreshTimeout is longer than NonLocalRefreshInterval.");
    }
  }

  void CheckInterfaces(platform::XmlNode& root) {
    const Node exclude = Child(root, L"ExcludeInterfaces");
    const Node use = Child(root, L"UseInterfaces");
    if (exclude && use) {
      remarks_.Finding(use->Line(), L"UseInterfaces is ignored because ExcludeInterfaces is present.");
    }
    const Node& container = exclude ? exclude : use;
    if (!container) return;
    const std::wstring name = exclude ? L"ExcludeInterfaces" : L"UseInterfaces";
    if (configured_.DynamicDetectionEnabled == 0) {
      remarks_.Finding(container->Line(), name + L" has no effect because DynamicDetectionEnabled is 0.");
    }
    CheckChildren(*container, name, {{L"SubNet", true}}, {L"IPNumber", L"SubNetMask"}, remarks_);
    std::vector<Node> nodes;
    if (container->SelectNodes(L"SubNet", nodes) != S_OK) return;
    std::size_t usable = 0;
    for (const Node& node : nodes) {
      if (CheckSubNet(*node, exclude != nullptr)) ++usable;
    }
    if (usable > 0) return CheckAgainstHost(container->Line(), name);
    remarks_.Finding(container->Line(),
                     exclude ? L"ExcludeInterfaces names no usable subnet; no interface is excluded."
                             : L"UseInterfaces names no usable subnet; this switches broadcast "
                               L"discovery off.");
  }

  /// Compares the effective interface list with the networks of this host.
  void CheckAgainstHost(std::size_t line, const std::wstring& list) {
    if (configured_.DynamicDetectionEnabled == 0) return;
    if (host_.empty()) {
      return remarks_.Accepted(line,
                               list + L" is not compared with this host, which has no usable network now.");
    }
    std::wstring all;
    bool anySelected = false;
    bool allSelected = true;
    for (const platform::AddressRow& row : host_) {
      const bool selected = settings_.Selects(row.address, row.mask);
      anySelected = anySelected || selected;
      allSelected = allSelected && selected;
      all += (all.empty() ? L" This host has " : L", ") + platform::FormatIpv4Wide(row.address) +
             L" with mask " + platform::FormatIpv4Wide(row.mask);
    }
    const bool exclude = settings_.InterfaceMode == config::ExcludeListed;
    const wchar_t* const noDiscovery = L" so broadcast discovery finds nothing here.";
    if (!anySelected && exclude) {
      remarks_.Finding(line, list + L" excludes every network of this host," + noDiscovery + all + L".");
    } else if (!anySelected || (allSelected && exclude)) {
      remarks_.Finding(line, list + L" matches no network of this host," +
                                 (exclude ? L" so it excludes none." : noDiscovery) + all + L".");
    }
  }

  /// Returns whether the component keeps the entry.
  bool CheckSubNet(platform::XmlNode& node, bool excluded) {
    CheckChildren(node, L"SubNet", {{L"IPNumber"}, {L"SubNetMask"}}, {}, remarks_);
    config::SubNetEntry entry;
    for (const auto& [name, field] :
         {std::pair(L"IPNumber", &entry.IPNumber), {L"SubNetMask", &entry.SubNetMask}}) {
      const Node element = Child(node, name);
      if (!element || element->Text(*field) != S_OK) {
        remarks_.Finding(node.Line(), std::wstring(L"SubNet has no ") + name + L" and is ignored.");
        return false;
      }
    }
    if (!entry.Valid()) {
      remarks_.Finding(node.Line(),
                       L"SubNet with IPNumber " + Quoted(entry.IPNumber) + L" and SubNetMask " +
                           Quoted(entry.SubNetMask) +
                           L" is invalid and is removed: both must be dotted IPv4 addresses other than "
                           L"255.255.255.255.");
      return false;
    }
    bool plain = true;
    for (const std::wstring& problem :
         {AddressProblem(L"IPNumber", entry.IPNumber), AddressProblem(L"SubNetMask", entry.SubNetMask)}) {
      if (problem.empty()) continue;
      plain = false;
      remarks_.Finding(node.Line(), problem);
    }
    const std::uint32_t mask = platform::HostOrder(platform::ParseIpv4(std::wstring_view(entry.SubNetMask)));
    if (std::countl_one(mask) + std::countr_zero(mask) < 32) {
      remarks_.Finding(node.Line(),
                       L"SubNetMask " + entry.SubNetMask + L" has a gap, so no interface can have it.");
    } else if (plain) {
      remarks_.Accepted(node.Line(), L"Interfaces in the subnet of " + entry.IPNumber + L" with mask " +
                                         entry.SubNetMask + (excluded ? L" are excluded." : L" are used."));
    }
    return true;
  }

  const std::vector<platform::AddressRow>& host_;
  CKelLanSeekConfigSettings& settings_;
  CKelLanSeekConfigSettings configured_;  ///< As in the file, before ValidateInterfaces().
  Remarks& remarks_;
};

}  // namespace

void CheckScanFile(const std::wstring& file, const std::vector<platform::AddressRow>& host,
                   CKelLanSeekConfigSettings& settings, ConfigReport& report) {
  Remarks remarks(report, file);
  ScanFileCheck(host, settings, remarks).Run();
}

}  // namespace kellanseek::configcheck
