#include <cstdint>

#include "config/LanSeekConfigParser.h"
#include "configcheck/ConfigCheck.h"
#include "controllers/CtrlInfo.h"
#include "controllers/PollSchedule.h"
#include "fuzz/FuzzFile.h"
#include "fuzz/Shortage.h"

using namespace kellanseek;
using fuzz::Require;

namespace {

void CheckSafe(const config::CKelLanSeekConfigSettings& settings) {
  Require(settings.RefreshIntervalTicks() != 0 && settings.NonLocalRefreshIntervalTicks() != 0);
  Require(settings.Ticks(settings.RefreshTimeout) >= kellanseek::controllers::kNone &&
          controllers::PollSchedule::OneMore(settings.RetryCount()) >= settings.RetryCount());
  Require(settings.DynamicDetectionEnabled != 0 ||
          (settings.InterfaceMode == config::UseListed && settings.SubNets.empty()));
  for (const config::SubNetEntry& each : settings.SubNets) Require(each.Valid());
}

bool Read(const fuzz::FuzzFile& file, config::CKelLanSeekConfigSettings& settings, bool enoughMemory = true) {
  return fuzz::ReadWith<config::CLanSeekConfigParser>(file, settings, enoughMemory);
}

}  // namespace

/// For any file, the settings are safe to work with, and the check reports a finding whenever the component
/// would reject the file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(bytes), size);
  fuzz::Shortage shortage(input);
  const fuzz::FuzzFile file(input);
  config::CKelLanSeekConfigSettings first;
  bool accepted = false;
  if (shortage.Run([&] { accepted = Read(file, first, !shortage.Chosen()); })) CheckSafe(first);

  config::CKelLanSeekConfigSettings settings;
  const bool opened = Read(file, settings);
  CheckSafe(settings);
  Require(accepted == opened || shortage.Happened());
  config::CKelLanSeekConfigSettings checked;
  configcheck::ConfigReport report;
  configcheck::CheckScanFile(file.Path(), {}, checked, report);
  Require(opened || !report.Clean());
  Require(checked.RequestPort == settings.RequestPort && checked.InterfaceMode == settings.InterfaceMode);
  return 0;
}
