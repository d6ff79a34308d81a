#include <cstdint>

#include "config/LanSeekConfigParser.h"
#include "configcheck/ConfigCheck.h"
#include "controllers/CtrlInfo.h"
#include "controllers/PollSchedule.h"
#include "diagnostics/NoDebugOutput.h"
#include "fuzz/FuzzFile.h"

using namespace kellanseek;
using fuzz::Require;

/// For any file, the settings are safe to work with, and the check reports a finding whenever the component
/// would reject the file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const fuzz::FuzzFile file(bytes, size);
  if (!file.Valid()) return 0;
  diagnostics::NoDebugOutput output;
  config::CLanSeekConfigParser parser(output);
  config::CKelLanSeekConfigSettings settings;
  const bool opened = SUCCEEDED(parser.Init(file.Path()));
  Require(SUCCEEDED(parser.GetInformation(settings)) == opened);
  Require(settings.RefreshIntervalTicks() != 0 && settings.NonLocalRefreshIntervalTicks() != 0);
  Require(settings.Ticks(settings.RefreshTimeout) >= kellanseek::controllers::kNone &&
          controllers::PollSchedule::OneMore(settings.RetryCount()) >= settings.RetryCount());
  Require(settings.DynamicDetectionEnabled != 0 ||
          (settings.InterfaceMode == config::UseListed && settings.SubNets.empty()));
  for (const config::SubNetEntry& each : settings.SubNets) Require(each.Valid());

  config::CKelLanSeekConfigSettings checked;
  configcheck::ConfigReport report;
  configcheck::CheckScanFile(file.Path(), {}, checked, report);
  Require(opened || !report.Clean());
  Require(checked.RequestPort == settings.RequestPort && checked.InterfaceMode == settings.InterfaceMode);
  return 0;
}
