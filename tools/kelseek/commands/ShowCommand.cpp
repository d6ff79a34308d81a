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

/// Up to the time.
std::string WhyNotFound(const std::string& which, Chooser& chooser) {
  const std::string name = Printable(which);
  for (const client::Controller& each : chooser.NeverHeard()) {
    if (which != each.address && which != each.identity && which != each.name) continue;
    const char* const how = each.origin == client::Origin::Static ? "configured" : "added";
    return name + " is " + how + ", but has never answered; listened for ";
  }
  return "no controller " + name + " within ";
}

int Show(Session& session, const ShowOptions& options) {
  Chooser chooser(options.selection);
  const client::Client client = Connect(session);
  chooser.Start(client);
  const auto wanted = [&chooser](const client::Controller& controller) { return chooser.Wants(controller); };
  std::optional<client::Controller> found;
  const auto answered = [&chooser] { return chooser.AddedAnswered(); };
  const Waited waited = WaitForList(session, client, options.wait, answered, [&] {
    found = LookUpController(client, options.which, wanted);
    return found.has_value();
  });
  // Names are resolved only now: earlier, a second controller with the name might still have been unknown.
  if (!found) found = FindController(client, options.which, wanted);
  if (!found) throw CommandError(kNothingFound, WhyNotFound(options.which, chooser) + waited.Text());
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
        BindSearchOptions(command, options,
                          "Time to search, at whose end a name is resolved (default: until everything has "
                          "been asked once)");
        BindFormat(command, options);
        BindSelection(command, options.selection);
      },
      [&session](const ShowOptions& options) { return Show(session, options); });
}

}  // namespace kellanseek::kelseek
