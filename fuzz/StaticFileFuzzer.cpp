#include <cstdint>
#include <set>
#include <vector>

#include "config/ControllerIdParser.h"
#include "config/StaticControllers.h"
#include "configcheck/ConfigCheck.h"
#include "diagnostics/NoDebugOutput.h"
#include "fuzz/FuzzFile.h"
#include "fuzz/Shortage.h"

using namespace kellanseek;
using fuzz::Require;

/// For any file, the accepted controllers have distinct addresses, and the check reports the others.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(bytes), size);
  fuzz::Shortage shortage(input);
  const fuzz::FuzzFile file(input);
  diagnostics::NoDebugOutput output;
  shortage.Run([&] {
    std::vector<controllers::CtrlInfo> some;
    fuzz::ReadWith<config::CControllerIdParser>(file, some, !shortage.Chosen());
    config::AcceptStaticControllers(some, {}, diagnostics::Tracer(output, L"KelLanSeekImpl"));
  });
  std::vector<controllers::CtrlInfo> listed;
  const bool opened = fuzz::ReadWith<config::CControllerIdParser>(file, listed);
  for (const bool complete : {false, true}) {
    config::CKelLanSeekConfigSettings settings;
    if (complete) settings.DynamicDetectionEnabled = settings.NonLocalUpdatesEnabled = 0;
    const auto accepted =
        config::AcceptStaticControllers(listed, settings, diagnostics::Tracer(output, L"KelLanSeekImpl"));
    std::set<std::wstring> addresses;
    for (const controllers::CtrlInfo& each : accepted) {
      Require(addresses.insert(each.ctrlAddress).second);
      Require(platform::ParseIpv4(std::wstring_view(each.ctrlAddress)) != platform::kNoAddress);
      Require(!complete || (!each.systemID.empty() && each.Available()));
    }
    configcheck::ConfigReport report;
    configcheck::CheckStaticFile(file.Path(), settings, report);
    Require((opened && accepted.size() == listed.size()) || !report.Clean());
  }
  return 0;
}
