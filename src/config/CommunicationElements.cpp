#include "config/CommunicationElements.h"

namespace kellanseek::config {
namespace {

using Settings = CKelLanSeekConfigSettings;
using Kind = NumericElement::Kind;

constexpr std::int32_t kMaxPort = 65535;
constexpr std::int32_t kDay = 86400;
constexpr std::int32_t kMinute = 60;
constexpr std::int32_t kManyRetries = 100;

template <auto Field>
constexpr NumericElement Make(const wchar_t* name, Kind kind, std::int32_t least, std::int32_t most,
                              const wchar_t* meaning) {
  return {name,
          kind,
          [](Settings& settings, std::int32_t number) { settings.*Field = number; },
          [](const Settings& settings) -> std::int32_t { return settings.*Field; },
          least,
          most,
          meaning};
}

constexpr NumericElement kCommunication[] = {
    Make<&Settings::RequestPort>(L"RequestPort", Kind::Port, 1, kMaxPort,
                                 L"UDP port to which requests are broadcast."),
    Make<&Settings::ResponsePort>(L"ResponsePort", Kind::Port, 1, kMaxPort,
                                  L"UDP port at which answers to broadcast requests arrive."),
    Make<&Settings::NonLocalPort>(L"NonLocalPort", Kind::Port, 1, kMaxPort,
                                  L"UDP port to which polls of controllers known by address are sent."),
    Make<&Settings::RefreshInterval>(L"RefreshInterval", Kind::Seconds, 1, kDay,
                                     L"Seconds between two refresh broadcasts on a local network."),
    Make<&Settings::NonLocalRefreshInterval>(
        L"NonLocalRefreshInterval", Kind::Seconds, 1, kDay,
        L"Seconds between two requests to a controller known by address."),
    Make<&Settings::RefreshTimeout>(L"RefreshTimeout", Kind::Seconds, 1, kMinute,
                                    L"Seconds that a controller on a local network has to answer."),
    Make<&Settings::NonLocalRefreshTimeout>(L"NonLocalRefreshTimeout", Kind::Seconds, 1, kMinute,
                                            L"Seconds that a controller known by address has to answer."),
    Make<&Settings::DynamicDetectionEnabled>(
        L"DynamicDetectionEnabled", Kind::Flag, 0, 1,
        L"1: find controllers by broadcast on the local networks; 0: no broadcast discovery."),
    Make<&Settings::NonLocalUpdatesEnabled>(L"NonLocalUpdatesEnabled", Kind::Flag, 0, 1,
                                            L"1: poll controllers known by address; 0: do not poll them."),
    Make<&Settings::Retries>(L"Retries", Kind::Count, 0, kManyRetries,
                             L"How often a silent controller on a local network is asked again."),
    Make<&Settings::NonLocalRetries>(L"NonLocalRetries", Kind::Count, 0, kManyRetries,
                                     L"How often a silent controller known by address is asked again."),
};

constexpr NumericElement kDetectInterfaceChanges = Make<&Settings::DetectInterfaceChanges>(
    L"DetectInterfaceChanges", Kind::Flag, 0, 1,
    L"1: follow network interfaces as they come, go and change; 0: keep those found at the start.");

}  // namespace

std::span<const NumericElement> CommunicationElements() { return kCommunication; }

const NumericElement& DetectInterfaceChangesElement() { return kDetectInterfaceChanges; }

void Store(const NumericElement& element, std::int32_t number, Settings& settings) {
  element.store(settings, element.kind == Kind::Flag ? static_cast<std::int32_t>(number != 0) : number);
}

}  // namespace kellanseek::config
