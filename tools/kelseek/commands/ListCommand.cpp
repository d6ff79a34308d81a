#include "client/Controller.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "commands/DiscoveryCommands.h"
#include "output/Listing.h"
#include "output/Output.h"

namespace kellanseek::kelseek {
namespace {

int List(Session& session, const SearchOptions& options) {
  const Component component(session);
  TimeSpan listening(session, options.wait);
  listening.WaitForEnd();
  const double seconds = listening.Elapsed();
  const std::vector<Controller> controllers = ListedControllers(component);
  Write(options.json ? ListingJson(controllers, seconds)
                     : ListingText(controllers, seconds, session.colours));
  return controllers.empty() ? kNothingFound : kFound;
}

}  // namespace

void AddListCommand(CLI::App& app, Session& session) {
  AddCommand<SearchOptions>(
      app, session, "list", "List the controllers",
      [](CLI::App& command, SearchOptions& options) {
        BindSearchOptions(command, options, "Time to listen before listing");
      },
      [&session](const SearchOptions& options) { return List(session, options); });
}

}  // namespace kellanseek::kelseek
