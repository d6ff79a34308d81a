#include "config/Elements.h"

#include <stdexcept>

#include "text/Number.h"

namespace kellanseek::config {
namespace {

using controllers::CtrlInfo;
using Kind = Element::Kind;
using Settings = CKelLanSeekConfigSettings;

constexpr std::int32_t kMaxPort = 65535;
constexpr std::int32_t kDay = 86400;
constexpr std::int32_t kMinute = 60;
constexpr std::int32_t kManyRetries = 100;

constexpr Element kRootTexts[] = {
    {L"FakeRemoteVCAs", &Settings::FakeRemoteVCAs, Kind::ControllerType,
     L"The kind of controller that older clients see in a remote virtual controller: RC (a real one) or VC."},
    {L"DetectInterfaceChanges", &Settings::DetectInterfaceChanges, Kind::Flag,
     L"1: follow network interfaces as they come, go and change; 0: keep those found at the start.", 0, 1},
};

constexpr Element kCommunicationTexts[] = {
    {L"RequestPort", &Settings::RequestPort, Kind::Port, L"UDP port to which requests are broadcast.", 1,
     kMaxPort},
    {L"ResponsePort", &Settings::ResponsePort, Kind::Port,
     L"UDP port at which answers to broadcast requests arrive.", 1, kMaxPort},
    {L"NonLocalPort", &Settings::NonLocalPort, Kind::Port,
     L"UDP port to which polls of controllers known by address are sent.", 1, kMaxPort},
    {L"RefreshInterval", &Settings::RefreshInterval, Kind::Seconds,
     L"Seconds between two refresh broadcasts on a local network.", 1, kDay},
    {L"NonLocalRefreshInterval", &Settings::NonLocalRefreshInterval, Kind::Seconds,
     L"Seconds between two requests to a controller known by address.", 1, kDay},
    {L"RefreshTimeout", &Settings::RefreshTimeout, Kind::Seconds,
     L"Seconds that a controller on a local network has to answer.", 1, kMinute},
    {L"NonLocalRefreshTimeout", &Settings::NonLocalRefreshTimeout, Kind::Seconds,
     L"Seconds that a controller known by address has to answer.", 1, kMinute},
    {L"DynamicDetectionEnabled", &Settings::DynamicDetectionEnabled, Kind::Flag,
     L"1: find controllers by broadcast on the local networks; 0: no broadcast discovery.", 0, 1},
    {L"NonLocalUpdatesEnabled", &Settings::NonLocalUpdatesEnabled, Kind::Flag,
     L"1: poll controllers known by address; 0: do not poll them.", 0, 1},
    {L"Retries", &Settings::Retries, Kind::Count,
     L"How often a silent controller on a local network is asked again.", 0, kManyRetries},
    {L"NonLocalRetries", &Settings::NonLocalRetries, Kind::Count,
     L"How often a silent controller known by address is asked again.", 0, kManyRetries},
};

constexpr Element kSubNetTexts[] = {
    {L"IPNumber", &SubNetEntry::IPNumber, Kind::Text, L"192.168.1.0"},
    {L"SubNetMask", &SubNetEntry::SubNetMask, Kind::Text, L"255.255.255.0"},
};

constexpr Element kIdentityTexts[] = {
    {L"ControllerName", &CtrlInfo::ctrlName, Kind::Text, L"Cell4"},
    {L"ControllerLocAddr", &CtrlInfo::ctrlAddress, Kind::Text, L"10.20.1.15"},
    {L"SystemName", &CtrlInfo::systemName, Kind::Text, L"Line2Cell4"},
    {L"ReleasePath", &CtrlInfo::releasePath, Kind::Text, L"/disk0/system/release"},
    {L"SystemIdentity", &CtrlInfo::systemID, Kind::Text, L"12-34567"},
    {L"ControllerID", &CtrlInfo::ctrlID, Kind::Text, L"12-34567"},
    {L"HostName", &CtrlInfo::hostName, Kind::Text, L"cell4-ctrl"},
    {L"MacAddress", &CtrlInfo::macAddress, Kind::Text, L"02-00-00-12-34-56"},
    {L"MajorVersion", &CtrlInfo::versionMajor, Kind::Version, L"5"},
    {L"MinorVersion", &CtrlInfo::versionMinor, Kind::Version, L"15"},
    {L"Revision", &CtrlInfo::versionRevision, Kind::Version, L"1"},
    {L"KelAPICompatibilityRevision", &CtrlInfo::kelAPICompatibilityRevision, Kind::Version, L"1"},
    {L"CommPortNumber", &CtrlInfo::commPortNumber, Kind::Port, L"5515"},
    {L"ControllerLevel", &CtrlInfo::ctrlLevel, Kind::Level, L"SystemLevel"},
};

constexpr const Container* kRootContainers[] = {&kCommunicationSettings, &kExcludeInterfaces,
                                                &kUseInterfaces};
constexpr const Container* kBelowRoot[] = {&kUseInterfaces, &kSubNet, &kCommunicationSettings};
constexpr const Container* kBesideCommunication[] = {&kScanFileRoot, &kUseInterfaces, &kSubNet};
constexpr const Container* kSubNets[] = {&kSubNet};
constexpr const Container* kControllers[] = {&kControllerIdentity};

}  // namespace

constexpr Container kScanFileRoot = {L"KelLanSeekConfigurations", kRootTexts, kRootContainers, false,
                                     kBelowRoot};
constexpr Container kCommunicationSettings = {
    L"CommunicationSettings", kCommunicationTexts, {}, false, kBesideCommunication};
constexpr Container kExcludeInterfaces = {L"ExcludeInterfaces", {}, kSubNets, false, kSubNets};
constexpr Container kUseInterfaces = {L"UseInterfaces", {}, kSubNets, false, kSubNets};
constexpr Container kSubNet = {L"SubNet", kSubNetTexts, {}, true};
constexpr Container kStaticFileRoot = {L"ControllerIdentities", {}, kControllers, false, kControllers};
constexpr Container kControllerIdentity = {L"ControllerIdentity", kIdentityTexts, {}, true};

const Element& ElementOf(Element::Field field) {
  for (const Container* each : {&kScanFileRoot, &kCommunicationSettings, &kSubNet, &kControllerIdentity}) {
    for (const Element& element : each->texts) {
      if (element.field == field) return element;
    }
  }
  throw std::invalid_argument("no element fills this field");
}

void Store(const Element& element, const std::wstring& text, Settings& settings) {
  std::int32_t& value = settings.*std::get<std::int32_t Settings::*>(element.field);
  switch (element.kind) {
    case Kind::ControllerType: value = text == L"RC" ? RC : value; break;
    case Kind::Flag: value = text::ToNumber(text) != 0 ? 1 : 0; break;
    default: value = text::ToNumber(text);
  }
}

void Store(const Element& element, const std::wstring& text, CtrlInfo& record) {
  if (const auto* const field = std::get_if<std::wstring CtrlInfo::*>(&element.field)) {
    record.*(*field) = text;
  } else if (const auto* const compact = std::get_if<text::CompactText CtrlInfo::*>(&element.field)) {
    record.*(*compact) = text;
  } else if (element.kind != Kind::Level) {
    record.*std::get<std::uint32_t CtrlInfo::*>(element.field) =
        static_cast<std::uint32_t>(text::ToNumber(text));
  } else if (text == L"BootLevel") {
    record.ctrlLevel = BootLevel;
  }
}

}  // namespace kellanseek::config
