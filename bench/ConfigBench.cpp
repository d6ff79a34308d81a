#include <benchmark/benchmark.h>

#include <string>

#include "config/Configuration.h"
#include "configcheck/ConfigCheck.h"
#include "diagnostics/NoDebugOutput.h"
#include "tests/support/ScratchDirectory.h"

namespace kellanseek::bench {
namespace {

/// A configuration directory whose static controller file has `count` complete controllers.
void WriteControllers(const test::ScratchDirectory& directory, int count) {
  std::string text = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<ControllerIdentities>\n";
  for (int i = 0; i < count; ++i) {
    const std::string n = std::to_string(i);
    text +=
        "  <ControllerIdentity>\n    <ControllerName>Cell" + n +
        "</ControllerName>\n    <ControllerLocAddr>10." + std::to_string(i / 250 / 250) + "." +
        std::to_string(i / 250 % 250) + "." + std::to_string(i % 250 + 1) +
        "</ControllerLocAddr>\n    <SystemName>Line2Cell" + n +
        "</SystemName>\n    <ReleasePath>/disk0/system/release</ReleasePath>\n    <SystemIdentity>12-" + n +
        "</SystemIdentity>\n    <ControllerID>12-" + n + "</ControllerID>\n    <HostName>cell" + n +
        "</HostName>\n    <MacAddress>02-00-00-12-34-56</MacAddress>\n    <MajorVersion>5</MajorVersion>\n"
        "    <MinorVersion>15</MinorVersion>\n    <Revision>1</Revision>\n    <KelAPICompatibilityRevision>1"
        "</KelAPICompatibilityRevision>\n    <CommPortNumber>5515</CommPortNumber>\n"
        "    <ControllerLevel>SystemLevel</ControllerLevel>\n  </ControllerIdentity>\n";
  }
  directory.Write("controllerid.xml", text + "</ControllerIdentities>\n");
  directory.Write(
      "lanseekconf.xml",
      "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<KelLanSeekConfigurations><CommunicationSettings>"
      "<DynamicDetectionEnabled>0</DynamicDetectionEnabled><NonLocalUpdatesEnabled>0"
      "</NonLocalUpdatesEnabled></CommunicationSettings></KelLanSeekConfigurations>\n");
}

void LoadStaticControllers(benchmark::State& state) {
  const test::ScratchDirectory directory;
  const auto count = static_cast<int>(state.range(0));
  WriteControllers(directory, count);
  diagnostics::NoDebugOutput output;
  const diagnostics::Tracer trace(output, L"bench");
  for (auto _ : state) {
    config::CKelLanSeekConfigSettings settings;
    const auto controllers = config::LoadConfiguration(directory.Wide(), settings, trace);
    if (controllers.size() != static_cast<std::size_t>(count))
      state.SkipWithError("controllers were dropped");
  }
}
BENCHMARK(LoadStaticControllers)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void CheckStaticControllers(benchmark::State& state) {
  const test::ScratchDirectory directory;
  WriteControllers(directory, static_cast<int>(state.range(0)));
  for (auto _ : state) {
    if (!configcheck::CheckConfiguration(directory.Wide()).Clean()) state.SkipWithError("there are findings");
  }
}
BENCHMARK(CheckStaticControllers)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kellanseek::bench
