#include "component/Report.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "config/Elements.h"
#include "config/HostNetworks.h"
#include "platform/CodePage.h"
#include "platform/Process.h"
#include "text/Json.h"
#include "text/Utf8.h"

namespace kellanseek::component {
namespace {

using diagnostics::Counters;
using diagnostics::Journal;
using text::Json;

constexpr int kVersion = 1;

Json Text(std::wstring_view text) { return text::ToUtf8(text); }
Json Address(platform::Ipv4 address) { return platform::FormatIpv4(address); }

/// Milliseconds from a moment of the journal to now; null for "never".
Json Age(std::uint64_t moment, std::uint64_t now) {
  if (moment == 0) return nullptr;
  return now > moment ? now - moment : 0;
}

Json Load(const diagnostics::QueueLoad& load) { return {{"now", load.now}, {"highest", load.highest}}; }

/// A record's part in the report, copied under the table lock.
struct Row {
  std::uint32_t lanSeekID;
  controllers::CtrlKeys keys;
  text::CompactText name;
  KelCtrlType type;
  LanSeekCtrlIdentificationType definition;
  bool available;
  bool listed;
  controllers::History history;
  platform::Ipv4 heardOn;
  std::int32_t requestsLeft;
};

std::vector<Row> Rows(controllers::CtrlTable& from) {
  std::vector<Row> rows;
  controllers::CtrlTable::Access table(from);
  rows.reserve(table.Size());
  table.ForEach([&](controllers::CtrlTable::Record record) {
    rows.push_back({record->lanSeekID, *record, record->ctrlName, record->ctrlType,
                    record->identificationType, record->Available(), record->published, *record,
                    record->heardOnAddress, record->Schedule().RequestsLeft()});
  });
  return rows;
}

const char* NameOf(KelCtrlType type) {
  switch (type) {
    case VC: return "virtual";
    case RemoteVC: return "remoteVirtual";
    default: return "real";
  }
}

/// How the controller is kept up to date.
const char* WayOf(const Row& row, bool pollsByAddress) {
  if (row.type == VC) return "registered";
  if (row.definition == DynamicCtrlDefinition || !pollsByAddress) return "broadcast";
  return row.definition == StaticCtrlDefinition ? "configured" : "added";
}

Json Controllers(const std::vector<Row>& rows, bool pollsByAddress, std::uint64_t now) {
  Json all = Json::Array();
  for (const Row& row : rows) {
    all.Append({{"id", row.lanSeekID},
                {"name", Text(row.name.Wide())},
                {"address", Text(row.keys.ctrlAddress)},
                {"systemId", Text(row.keys.systemID)},
                {"mac", Text(row.keys.macAddress)},
                {"type", NameOf(row.type)},
                {"way", WayOf(row, pollsByAddress)},
                {"listed", row.listed},
                {"available", row.available},
                {"firstHeardMsAgo", Age(row.history.firstHeard, now)},
                {"lastHeardMsAgo", Age(row.history.lastHeard, now)},
                {"interface", row.heardOn == 0 ? Json(nullptr) : Address(row.heardOn)},
                {"requestsLeft", row.requestsLeft < 0 ? Json(nullptr) : Json(row.requestsLeft)},
                {"unanswered", row.history.unanswered}});
  }
  return all;
}

Json Table(const std::vector<Row>& rows) {
  const auto count = [&](auto holds) { return std::count_if(rows.begin(), rows.end(), holds); };
  const auto ofType = [&](KelCtrlType type) {
    return count([&](const Row& row) { return row.type == type; });
  };
  const auto defined = [&](LanSeekCtrlIdentificationType definition) {
    return count([&](const Row& row) { return row.definition == definition; });
  };
  Json silent = Json::Array();
  for (const Row& row : rows) {
    if (row.definition != DynamicCtrlDefinition && row.history.firstHeard == 0)
      silent.Append(Text(row.keys.ctrlAddress));
  }
  return {{"records", rows.size()},
          {"listed", count([](const Row& row) { return row.listed; })},
          {"real", ofType(RC)},
          {"virtual", ofType(VC)},
          {"remoteVirtual", ofType(RemoteVC)},
          {"dynamic", defined(DynamicCtrlDefinition)},
          {"configured", defined(StaticCtrlDefinition)},
          {"added", defined(RemoteCtrlDefinition)},
          {"dynamicLimit", controllers::kMaxDynamicRecords},
          {"neverHeard", silent}};
}

Json File(const config::LoadedFile& file) {
  constexpr std::array<const char*, 4> kOutcomes = {"noDirectory", "absent", "refused", "read"};
  return {{"path", Text(file.path)},
          {"state", kOutcomes.at(static_cast<std::size_t>(file.outcome))},
          {"remark", Text(file.remark)}};
}

/// The settings among the elements of a container, and where each comes from.
void AddSettings(const config::Container& container, const config::CKelLanSeekConfigSettings& settings,
                 const std::vector<const config::Element*>& stated, Json& values) {
  using Field = std::int32_t config::CKelLanSeekConfigSettings::*;
  for (const config::Element& element : container.texts) {
    if (!std::holds_alternative<Field>(element.field)) continue;
    const bool inFile = std::find(stated.begin(), stated.end(), &element) != stated.end();
    values.Set(text::ToUtf8(element.name),
               {{"value", settings.*std::get<Field>(element.field)}, {"from", inFile ? "file" : "default"}});
  }
}

Json Configuration(const config::CKelLanSeekConfigSettings& settings, const config::LoadedFiles& files) {
  Json values = Json::Object();
  AddSettings(config::kCommunicationSettings, settings, files.settingsStated, values);
  AddSettings(config::kScanFileRoot, settings, files.settingsStated, values);
  Json subnets = Json::Array();
  for (const config::SubNetEntry& each : settings.SubNets)
    subnets.Append({{"address", Text(each.IPNumber)}, {"mask", Text(each.SubNetMask)}});
  constexpr std::array<const char*, 3> kModes = {"all", "allButListed", "onlyListed"};
  const auto mode = static_cast<std::size_t>(std::clamp<std::int32_t>(settings.InterfaceMode, 0, 2));
  return {{"directory", files.directory.empty() ? Json(nullptr) : Text(files.directory)},
          {"settingsFile", File(files.settings)},
          {"controllersFile", File(files.controllers)},
          {"controllersListed", files.controllersListed},
          {"controllersAccepted", files.controllersAccepted},
          {"settings", values},
          {"interfaceMode", kModes.at(mode)},
          {"subnets", subnets}};
}

/// An address of the host with its use and, if it is left out, the reason.
class InterfaceReport {
 public:
  InterfaceReport(const ReportSources& sources, const Journal::Content& journal, std::uint64_t now)
      : sources_(sources), journal_(journal), now_(now), used_(sources.engine.Interfaces()) {}

  Json Make() {
    Json all = Json::Array();
    const std::vector<platform::InterfaceDetails> details = sources_.addresses.Details();
    const auto addresses = sources_.addresses.Addresses();
    if (addresses)
      for (const platform::AddressRow& row : *addresses) all.Append(OfAddress(row, details));
    for (const platform::InterfaceDetails& each : details) {
      if (each.hasIpv4) continue;
      Json entry = Common(each);
      entry.Set("used", false);
      entry.Set("why", each.isLoopback ? "loopback"
                       : !each.isUp    ? "down"
                       : each.hasIpv6  ? "onlyIpv6"
                                       : "noAddress");
      all.Append(entry);
    }
    return all;
  }

 private:
  static Json Common(const platform::InterfaceDetails& details) {
    return {{"name", Text(details.name)},
            {"index", details.index},
            {"up", details.isUp},
            {"carrier", details.hasCarrier},
            {"pointToPoint", details.isPointToPoint}};
  }

  Json OfAddress(const platform::AddressRow& row, const std::vector<platform::InterfaceDetails>& details) {
    const auto same = [&](const platform::InterfaceDetails& each) {
      return each.index == row.interfaceIndex;
    };
    const auto found = std::find_if(details.begin(), details.end(), same);
    Json entry = found != details.end() ? Common(*found) : Json{{"index", row.interfaceIndex}};
    entry.Set("address", Address(row.address));
    entry.Set("mask", Address(row.mask));
    const char* const why = WhyLeftOut(row);
    entry.Set("used", *why == '\0');
    if (*why != '\0') entry.Set("why", why);
    for (const Journal::RefusedSocket& refused : journal_.refusedSockets) {
      if (refused.address != row.address) continue;
      entry.Set("refused", {{"step", refused.step}, {"port", refused.port}, {"error", refused.error}});
    }
    const auto heard = journal_.lastHeard.find(row.address);
    entry.Set("lastDatagramMsAgo", Age(heard == journal_.lastHeard.end() ? 0 : heard->second, now_));
    return entry;
  }

  const char* WhyLeftOut(const platform::AddressRow& row) const {
    const auto inUse = [&](const network::InterfaceEntry& each) {
      return each.address == row.address && each.mask == row.mask;
    };
    const auto interfaceRow = sources_.addresses.Interface(row.interfaceIndex);
    if (!interfaceRow) return "unknown";
    switch (config::FitnessOf(row, *interfaceRow)) {
      case config::Fitness::InterfaceDown: return "down";
      case config::Fitness::Loopback: return "loopback";
      case config::Fitness::NoAddress: return "noAddress";
      case config::Fitness::Usable: break;
    }
    if (!sources_.settings.Selects(row.address, row.mask)) {
      if (sources_.settings.DynamicDetectionEnabled == 0) return "discoveryOff";
      return sources_.settings.InterfaceMode == config::UseListed ? "notListed" : "excluded";
    }
    if (std::any_of(used_.begin(), used_.end(), inUse)) return "";
    return IsRefused(row.address) ? "refused" : "notYet";
  }

  bool IsRefused(platform::Ipv4 address) const {
    const auto same = [&](const Journal::RefusedSocket& each) { return each.address == address; };
    return std::any_of(journal_.refusedSockets.begin(), journal_.refusedSockets.end(), same);
  }

  const ReportSources& sources_;
  const Journal::Content& journal_;
  const std::uint64_t now_;
  const std::vector<network::InterfaceEntry> used_;
};

Json Polling(const ReportSources& sources, const Journal::Content& journal) {
  Json entry = {{"enabled", sources.engine.PollsByAddress()}};
  for (const Journal::RefusedSocket& refused : journal.refusedSockets)
    if (refused.address == 0) entry.Set("refused", {{"step", refused.step}, {"error", refused.error}});
  return entry;
}

Json Threads(const Journal::Content& journal) {
  Json all = Json::Array();
  for (const Journal::ThreadState& each : journal.threads) {
    Json entry = {{"name", each.name}, {"started", each.failure.empty()}};
    if (!each.failure.empty()) entry.Set("error", Text(platform::ToWide(each.failure)));
    all.Append(entry);
  }
  return all;
}

Json Received(const Counters& counters, const Journal::Content& journal) {
  Json byType = Json::Object();
  for (std::size_t type = 1; type < counters.accepted.size(); ++type)
    byType.Set(std::to_string(type), counters.accepted[type].Value());
  Json dropped = {
      {"own", counters.ownDatagrams.Value()},        {"otherSubnet", counters.otherSubnet.Value()},
      {"malformed", counters.malformed.Value()},     {"lengthMismatch", counters.lengthMismatch.Value()},
      {"colliding", counters.colliding.Value()},     {"tableFull", counters.tableFull.Value()},
      {"readErrors", counters.readErrors.Value()},   {"failedSteps", counters.failedSteps.Value()},
      {"bySystem", counters.droppedBySystem.Value()}};
  Json lastMalformed = nullptr;
  if (counters.malformed.Value() > 0)
    lastMalformed = {{"from", Address(journal.lastMalformedFrom)},
                     {"text", Text(platform::ToWide(journal.lastMalformed))}};
  return {{"onRequestSockets", counters.received[0].Value()},
          {"onResponseSockets", counters.received[1].Value()},
          {"onPollSocket", counters.received[2].Value()},
          {"forwarded", counters.received[3].Value()},
          {"byType", byType},
          {"dropped", dropped},
          {"lastMalformed", lastMalformed}};
}

Json Sent(const Counters& counters, const Journal::Content& journal, std::uint64_t now) {
  Json errors = Json::Array();
  for (const auto& [code, entry] : journal.sendErrors) {
    errors.Append({{"code", code},
                   {"count", entry.count},
                   {"lastDestination", Address(entry.lastDestination)},
                   {"lastMsAgo", Age(entry.last, now)}});
  }
  return {{"broadcastRequests", counters.broadcastRequests.Value()},
          {"requestsByAddress", counters.requestsByAddress.Value()},
          {"answers", counters.answers.Value()},
          {"errors", errors}};
}

Json Collisions(const Journal::Content& journal, std::uint64_t now) {
  const auto party = [](const Journal::Party& each) -> Json {
    return {{"id", each.lanSeekID == 0 ? Json(nullptr) : Json(each.lanSeekID)},
            {"name", Text(each.name)},
            {"address", Text(each.address)},
            {"systemId", Text(each.systemID)},
            {"mac", Text(each.macAddress)}};
  };
  Json all = Json::Array();
  for (const Journal::Collision& each : journal.collisions) {
    all.Append({{"msAgo", Age(each.when, now)},
                {"kind", each.kind},
                {"known", party(each.known)},
                {"heard", party(each.heard)}});
  }
  return all;
}

}  // namespace

std::string MakeReport(const ReportSources& sources) {
  const Journal& journal = sources.journal;
  // The table first: whoever finds a controller in the report also finds what happened before it was heard.
  const std::vector<Row> rows = Rows(sources.table);
  const Journal::Content content = journal.Copy();
  // After the copies, so that no age is negative.
  const std::uint64_t now = journal.Now();
  const Counters& counters = journal.counters;
  Json queues = {{"events", Load(sources.events.Load())},
                 {"hostNames", Load(sources.engine.HostNameQueue())},
                 {"daemon", Load(sources.engine.DaemonQueue())},
                 {"requestsByAddress", {{"highest", counters.waitingRequests.Value()}}}};
  const Json report = {
      {"v", kVersion},
      {"version", KELLANSEEK_VERSION},
      {"process", {{"id", platform::CurrentProcessId()}, {"objectAgeMs", Age(journal.Start(), now)}}},
      {"codePage", platform::CodePageName()},
      {"sweeps", sources.engine.CompletedSweeps()},
      {"configuration", Configuration(sources.settings, sources.files)},
      {"interfaces", InterfaceReport(sources, content, now).Make()},
      {"polling", Polling(sources, content)},
      {"threads", Threads(content)},
      {"received", Received(counters, content)},
      {"sent", Sent(counters, content, now)},
      {"publishedControllers", sources.engine.PublishedControllers()},
      {"queues", queues},
      {"longestTickDelayMs", counters.tickDelay.Value()},
      {"table", Table(rows)},
      {"controllers", Controllers(rows, sources.engine.PollsByAddress(), now)},
      {"collisions", Collisions(content, now)}};
  return report.Text();
}

}  // namespace kellanseek::component
