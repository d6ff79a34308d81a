#include <iostream>
#include <string>

#include "client/Chooser.h"
#include "client/Component.h"
#include "client/Report.h"
#include "client/Text.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "commands/DiscoveryCommands.h"
#include "doctor/Diagnosis.h"
#include "output/Listing.h"
#include "output/Output.h"

namespace kellanseek::kelseek {
namespace {

/// The most likely cause of an empty list, for people.
std::string EmptyListHint(const client::Client& client) {
  const nlohmann::json report = ReportOf(client);
  const std::string cause = report.is_null() ? "" : LikelyCause(report);
  return (cause.empty() ? "" : "Most likely: " + Printable(cause) + " ") + "kelseek doctor finds out more.\n";
}

int List(Session& session, const SearchOptions& options) {
  Chooser chooser(options.selection);
  const client::Client client = Connect(session);
  chooser.Start(client);
  const Waited waited = WaitForList(session, client, options.wait, [&] { return chooser.AddedAnswered(); });
  const std::vector<client::Controller> all = client.controllers();
  const Listing listing{chooser.Choose(all), waited, chooser.NeverHeard()};
  const bool written = Print(listing, options.format, session.colours);
  const bool found = !listing.controllers.empty();
  if (written && !found && options.format == Format::Table)
    std::cerr << (all.empty() ? EmptyListHint(client) : Count(all.size(), "other controller") + ".\n");
  return found ? kFound : kNothingFound;
}

}  // namespace

void AddListCommand(CLI::App& app, Session& session) {
  AddCommand<SearchOptions>(
      app, session, "list", "List the controllers",
      [](CLI::App& command, SearchOptions& options) {
        BindSearchOptions(command, options,
                          "Time to listen before listing (default: until everything has been asked once)");
        BindFormat(command, options);
        BindSelection(command, options.selection);
        BindSort(command, options.selection);
      },
      [&session](const SearchOptions& options) { return List(session, options); });
}

}  // namespace kellanseek::kelseek
