#include <iostream>
#include <string>

#include "client/Chooser.h"
#include "client/Component.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "commands/DiscoveryCommands.h"
#include "commands/NothingFound.h"
#include "output/Listing.h"
#include "output/Output.h"

namespace kellanseek::kelseek {
namespace {

int List(Session& session, const SearchOptions& options) {
  Chooser chooser(options.selection);
  const client::Client client = Connect(session);
  chooser.Start(client);
  const Waited waited = WaitForList(session, client, options.wait, [&] { return chooser.AddedAnswered(); });
  const Listing listing{chooser.Choose(client.controllers()), waited, chooser.NeverHeard()};
  const bool written = Print(listing, options.format, session.colours);
  const bool found = !listing.controllers.empty();
  if (written && !found && options.format == Format::Table) std::cerr << WhyNothingFound(client);
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
