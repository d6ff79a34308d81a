#include "client/Chooser.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <utility>

#include "client/Component.h"
#include "client/Report.h"
#include "client/Session.h"

namespace kellanseek::kelseek {
namespace {

/// A controller may move to another interface. A report is long, so it is not read for each of many changes.
constexpr std::chrono::seconds kFresh(1);

}  // namespace

Chooser::Chooser(const SelectionOptions& options) : options_(options), selection_(options) {}

void Chooser::Start(const client::Client& client) {
  client_ = &client;
  if (selection_.NeedsReport()) Read();
  for (const std::string& address : options_.add) added_.push_back(AddRemote(client, address).id);
}

bool Chooser::AddedAnswered() const {
  return std::all_of(added_.begin(), added_.end(), [this](std::uint32_t id) {
    const auto controller = client_->read(id);
    return controller && controller->availability == client::Availability::Available;
  });
}

void Chooser::Read() {
  const nlohmann::json report = ReportOf(*client_);
  if (report.is_null())
    throw CommandError(kComponentFailed, "the component is too old to tell on which interface it hears");
  selection_.Learn(report);
  read_ = std::chrono::steady_clock::now();
}

bool Chooser::Wants(const client::Controller& controller) {
  // What has gone is in no report any more.
  const bool gone = controller.availability == client::Availability::Removed;
  const bool stale = !selection_.Knows(controller.id) || std::chrono::steady_clock::now() - read_ > kFresh;
  if (selection_.NeedsReport() && stale && !gone) Read();
  return selection_.Matches(controller);
}

std::vector<client::Controller> Chooser::Choose(std::vector<client::Controller> controllers) {
  if (selection_.NeedsReport()) Read();
  std::erase_if(controllers, [this](const client::Controller& each) { return !selection_.Matches(each); });
  selection_.Sort(controllers);
  return controllers;
}

std::vector<client::Controller> Chooser::NeverHeard() {
  const nlohmann::json report = ReportOf(*client_);
  std::set<std::string> addresses;
  for (const nlohmann::json& each : ListOf(MemberOf(report, "table"), "neverHeard"))
    if (each.is_string()) addresses.insert(each.get<std::string>());
  std::vector<client::Controller> silent;
  for (const nlohmann::json& entry : ListOf(report, "controllers")) {
    // Without requests by address, configured controllers are listed as the file describes them.
    if (MemberOf(entry, "listed") == true || addresses.count(TextOf(entry, "address")) == 0) continue;
    auto controller = client_->read(static_cast<std::uint32_t>(NumberOf(entry, "id")));
    if (controller && selection_.Matches(*controller, true)) silent.push_back(*std::move(controller));
  }
  selection_.Sort(silent);
  return silent;
}

}  // namespace kellanseek::kelseek
