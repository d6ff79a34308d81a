#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/LanSeekConfigParser.h"
#include "configcheck/ConfigCheck.h"
#include "configcheck/FileCheck.h"
#include "diagnostics/NoDebugOutput.h"
#include "platform/Ipv4.h"
#include "text/Number.h"

namespace kellanseek::configcheck {
namespace {

using config::Container;
using config::Element;
using config::NameOf;
using Kind = Element::Kind;
using Settings = config::CKelLanSeekConfigSettings;

std::wstring Number(std::int64_t number) { return std::to_wstring(number); }

bool Fills(const Element& element, Element::Field field) { return element.field == field; }

bool IsInterval(const Element& element) {
  return Fills(element, &Settings::RefreshInterval) || Fills(element, &Settings::NonLocalRefreshInterval);
}

/// The effect of a time below the sensible range.
std::wstring ShortTimeProblem(const Element& element, std::int32_t seconds) {
  const bool isInterval = IsInterval(element);
  if (seconds >= 0 && isInterval) return L" counts as 1 second, the shortest interval.";
  if (seconds >= 0) return L" leaves controllers no time to answer.";
  if (Fills(element, &Settings::RefreshInterval)) return L" is negative, so no refresh is ever broadcast.";
  if (isInterval) return L" is negative, so controllers known by address are not asked periodically.";
  return L" is negative, so answers have no deadline: silent controllers are not asked again and are never "
         L"lost.";
}

/// The effect of a number outside the sensible range.
std::wstring RangeProblem(const Element& element, std::int32_t number) {
  if (number >= element.least && number <= element.most) return {};
  const std::wstring name = element.name;
  const bool isLow = number < element.least;
  if (element.kind == Kind::Flag) return name + L" counts as 1, like every number except 0; write 1.";
  if (element.kind == Kind::Port) {
    return name + L" is " + Number(number) + L", which is not a valid port; sockets use its low 16 bits, " +
           Number(Settings::Port(number)) + L".";
  }
  if (element.kind == Kind::Seconds && isLow) return name + ShortTimeProblem(element, number);
  if (element.kind == Kind::Count && isLow)
    return name + L" is negative, so silent controllers are asked for ever and are never lost.";
  return name + L" is outside the sensible range (" + Number(element.least) + L" to " + Number(element.most) +
         L").";
}

class ScanFileCheck final : public FileCheck {
 public:
  ScanFileCheck(const std::vector<platform::AddressRow>& host, Settings& settings, ConfigReport& report,
                const std::wstring& file)
      : FileCheck(report, file), host_(host), settings_(settings) {}

  /// Reads the interface selection last, because its effect depends on a communication setting.
  void Run() {
    if (Absent(L"every setting has its default.")) return;
    diagnostics::NoDebugOutput silence;
    config::CLanSeekConfigParser parser(silence, platform::CreateXmlDocument, *this);
    if (FAILED(parser.Init(File()))) return;
    const HRESULT communication = parser.GetCommunicationSettings(settings_);
    const HRESULT interfaces = parser.GetInterfaceSettings(settings_.SubNets, settings_.InterfaceMode,
                                                           settings_.DetectInterfaceChanges);
    if (FAILED(communication) || FAILED(interfaces)) Unreadable(L"The settings cannot all be read.");
    settings_.ValidateInterfaces({silence, L""});
  }

  void Opened(const Container& container, platform::XmlNode& node) override {
    const bool isExclude = &container == &config::kExcludeInterfaces;
    if (&container == &config::kScanFileRoot) {
      // The parser looks for UseInterfaces only if there is no other list.
      std::unique_ptr<platform::XmlNode> use;
      if (node.SelectSingleNode(config::kUseInterfaces.name, use) == S_OK) lineOfUse_ = use->Line();
    }
    if (isExclude && lineOfUse_) {
      Finding(*lineOfUse_, std::wstring(config::kUseInterfaces.name) + L" is ignored because " +
                               container.name + L" is present.");
    }
    const bool isList = isExclude || &container == &config::kUseInterfaces;
    if (isList) InterfacesAt(node.Line());
    if (isList && settings_.DynamicDetectionEnabled == 0) {
      Finding(node.Line(), std::wstring(container.name) + L" has no effect because " +
                               NameOf(&Settings::DynamicDetectionEnabled) + L" is 0.");
    }
    FileCheck::Opened(container, node);
  }

  void Closed(const Container& container, platform::XmlNode& node) override {
    if (&container == &config::kCommunicationSettings) return CheckCombinations(node.Line());
    if (&container == &config::kSubNet) return CheckSubNet(settings_.SubNets.back(), node.Line());
    if (std::any_of(settings_.SubNets.begin(), settings_.SubNets.end(),
                    [](const config::SubNetEntry& each) { return each.Valid(); })) {
      return CheckAgainstHost(container.name, node.Line());
    }
    Finding(node.Line(),
            std::wstring(container.name) + L" names no usable subnet; " +
                (Excluding() ? L"no interface is excluded." : L"this switches broadcast discovery off."));
  }

  void PassedOver(const Container& container, platform::XmlNode& node, const Element& missing) override {
    Finding(node.Line(), std::wstring(container.name) + L" has no " + missing.name + L" and is ignored.");
  }

  void Read(const Element& element, platform::XmlNode& node, const std::wstring& text) override {
    element.kind == Kind::ControllerType ? CheckControllerType(element, text, node.Line())
                                         : CheckNumber(element, text, node.Line());
  }

 private:
  bool Excluding() const { return settings_.InterfaceMode == config::ExcludeListed; }

  void CheckControllerType(const Element& element, const std::wstring& text, std::size_t line) {
    if (text == L"RC" || text == L"VC") {
      const std::wstring kind = settings_.FakeRemoteVCAs == RC ? L"real" : L"virtual";
      return Accepted(line, L"Older clients see remote virtual controllers as " + kind + L" ones.");
    }
    Finding(line, element.name + (L" is " + Quoted(text)) +
                      L" and is ignored: it must be exactly \"RC\" or \"VC\".");
  }

  void CheckNumber(const Element& element, const std::wstring& text, std::size_t line) {
    const std::int32_t number = text::ToNumber(text);
    std::wstring problem = NumberProblem(element.name, text);
    const std::wstring range = RangeProblem(element, number);
    if (!problem.empty() && element.kind == Kind::Flag && number == 0)
      problem += L" This switches it off; only numbers switch a flag on.";
    if (!problem.empty() && !range.empty()) problem += L" ";
    problem += range;
    if (!problem.empty()) return Finding(line, problem);
    Accepted(line, element.name + (L" is " + Number(number)) + L".");
  }

  /// Reports settings that make sense on their own but not in combination.
  void CheckCombinations(std::size_t line) {
    const std::wstring request = NameOf(&Settings::RequestPort);
    const std::wstring response = NameOf(&Settings::ResponsePort);
    if (Settings::Port(settings_.RequestPort) == Settings::Port(settings_.ResponsePort)) {
      Finding(line,
              request + L" and " + response + L" are the same; requests and answers cannot be told apart.");
    }
    const Settings usual;
    const std::array ports = {settings_.RequestPort, settings_.ResponsePort, settings_.NonLocalPort};
    const std::array usualPorts = {usual.RequestPort, usual.ResponsePort, usual.NonLocalPort};
    if (ports != usualPorts && std::is_permutation(ports.begin(), ports.end(), usualPorts.begin())) {
      Finding(line, request + L", " + response + L" and " + NameOf(&Settings::NonLocalPort) +
                        L" look swapped: " + Number(ports[0]) + L", " + Number(ports[1]) + L" and " +
                        Number(ports[2]) + L" are their defaults in another order.");
    }
    CheckTimeout(&Settings::RefreshTimeout, &Settings::RefreshInterval, line);
    CheckTimeout(&Settings::NonLocalRefreshTimeout, &Settings::NonLocalRefreshInterval, line);
  }

  void CheckTimeout(std::int32_t Settings::*timeout, std::int32_t Settings::*interval, std::size_t line) {
    if (settings_.*interval >= 0 && settings_.*timeout > settings_.*interval)
      Finding(line, NameOf(timeout) + L" is longer than " + NameOf(interval) + L".");
  }

  /// Compares the effective interface list with the networks of this host.
  void CheckAgainstHost(const std::wstring& list, std::size_t line) {
    if (settings_.DynamicDetectionEnabled == 0) return;
    if (host_.empty())
      return Accepted(line, list + L" is not compared with this host, which has no usable network now.");
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
    const wchar_t* const noDiscovery = L" so broadcast discovery finds nothing here.";
    if (!anySelected && Excluding()) {
      Finding(line, list + L" excludes every network of this host," + noDiscovery + all + L".");
    } else if (!anySelected || (allSelected && Excluding())) {
      Finding(line, list + L" matches no network of this host," +
                        (Excluding() ? L" so it excludes none." : noDiscovery) + all + L".");
    }
  }

  void CheckSubNet(const config::SubNetEntry& entry, std::size_t line) {
    const std::wstring address = NameOf(&config::SubNetEntry::IPNumber);
    const std::wstring maskName = NameOf(&config::SubNetEntry::SubNetMask);
    if (!entry.Valid()) {
      return Finding(line, config::kSubNet.name + (L" with " + address + L" ") + Quoted(entry.IPNumber) +
                               L" and " + maskName + L" " + Quoted(entry.SubNetMask) +
                               L" is invalid and is removed: both must be dotted IPv4 addresses other than "
                               L"255.255.255.255.");
    }
    bool plain = true;
    for (const std::wstring& problem :
         {AddressProblem(address, entry.IPNumber), AddressProblem(maskName, entry.SubNetMask)}) {
      if (problem.empty()) continue;
      plain = false;
      Finding(line, problem);
    }
    const std::uint32_t mask = platform::HostOrder(platform::ParseIpv4(std::wstring_view(entry.SubNetMask)));
    if (std::countl_one(mask) + std::countr_zero(mask) < 32) {
      Finding(line, maskName + L" " + entry.SubNetMask + L" has a gap, so no interface can have it.");
    } else if (plain) {
      Accepted(line, L"Interfaces in the subnet of " + entry.IPNumber + L" with mask " + entry.SubNetMask +
                         (Excluding() ? L" are excluded." : L" are used."));
    }
  }

  const std::vector<platform::AddressRow>& host_;
  Settings& settings_;
  std::optional<std::size_t> lineOfUse_;
};

}  // namespace

void CheckScanFile(const std::wstring& file, const std::vector<platform::AddressRow>& host,
                   config::CKelLanSeekConfigSettings& settings, ConfigReport& report) {
  ScanFileCheck(host, settings, report, file).Run();
}

}  // namespace kellanseek::configcheck
