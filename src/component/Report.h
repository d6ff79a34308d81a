#pragma once

#include <string>

#include "config/LoadedFiles.h"
#include "config/Settings.h"
#include "controllers/CtrlTable.h"
#include "diagnostics/Journal.h"
#include "engine/ControllerSeek.h"
#include "events/EventItemsDB.h"
#include "platform/NetworkAddresses.h"

namespace kellanseek::component {

/// What a report is made of. All parts belong to one component object.
struct ReportSources {
  controllers::CtrlTable& table;
  const config::CKelLanSeekConfigSettings& settings;
  const config::LoadedFiles& files;
  const diagnostics::Journal& journal;
  const events::CEventItemsDB& events;
  engine::CControllerSeek& engine;
  platform::NetworkAddresses& addresses;
};

/// The JSON document of IKelLanSeekDiagnostics::GetReport, in UTF-8; docs/diagnostics.md describes it. Holds
/// the table lock only while it copies the records, and asks the system for its interfaces.
std::string MakeReport(const ReportSources& sources);

}  // namespace kellanseek::component
