#include "client/Chooser.h"
#include "client/Component.h"
#include "client/Text.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "commands/DiscoveryCommands.h"
#include "output/ControllerText.h"
#include "output/Listing.h"
#include "output/Output.h"

namespace kellanseek::kelseek {
namespace {

struct ShowOptions : SearchOptions {
  std::string which;
};

int Show(Session& session, const ShowOptions& options) {
  Chooser chooser(options.selection);
  const client::Client client = Connect(session);
  chooser.Start(client);
  const auto wanted = [&chooser](const client::Controller& controller) { return chooser.Wants(controller); };
  platform::Event changed(platform::Event::Kind::AutoReset);
  const auto subscription = client.subscribe([&changed](const client::Event&) { changed.Set(); });
  TimeSpan searching(session, options.wait);
  std::optional<client::Controller> found;
  searching.WaitUntil(changed,
                      [&] { return (found = LookUpController(client, options.which, wanted)).has_value(); });
  // Names are resolved only now: earlier, a second controller with the name might still have been unknown.
  if (!found) found = FindController(client, options.which, wanted);
  if (!found) {
    throw CommandError(kNothingFound, "no controller " + Printable(std::string_view(options.which)) +
                                          " within " + SecondsText(searching.Elapsed()));
  }
  switch (options.format) {
    case Format::Table: Write(DetailText(*found, session.colours)); break;
    case Format::Json: Write(JsonText(*found, 2) + "\n"); break;
    case Format::Csv: Print({{*found}}, Format::Csv, false); break;
  }
  return kFound;
}

}  // namespace

void AddShowCommand(CLI::App& app, Session& session) {
  AddCommand<ShowOptions>(
      app, session, "show", "Show all properties of one controller",
      [](CLI::App& command, ShowOptions& options) {
        command.add_option("controller", options.which, "Its name, address or system identity")->required();
        BindSearchOptions(command, options, "Time to search; a name is resolved at its end");
        BindFormat(command, options);
        BindSelection(command, options.selection);
      },
      [&session](const ShowOptions& options) { return Show(session, options); });
}

}  // namespace kellanseek::kelseek
