#include <optional>

#include "client/Chooser.h"
#include "client/Component.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "commands/DiscoveryCommands.h"
#include "output/EventText.h"
#include "output/Output.h"

namespace kellanseek::kelseek {
namespace {

struct WatchOptions {
  bool json = false;
  std::optional<double> wait;
  SelectionOptions selection;
};

int Watch(Session& session, const WatchOptions& options) {
  Chooser chooser(options.selection);
  const client::Client client = Connect(session);
  bool anyFound = false;
  const auto print = [&session](const std::string& text) {
    if (!Write(text)) session.stop.Set();
  };
  if (!options.json) print(EventHeading(session.colours));
  client::ChangeStream changes = client.changes(kWaitingChanges);
  chooser.Start(client);
  TimeSpan(session, options.wait).Follow(changes, [&](const client::Change& change) {
    if (!chooser.Wants(change.controller)) return;
    anyFound = true;
    print(options.json ? JsonText(change) + "\n" : EventLine(change, session.colours));
  });
  return anyFound ? kFound : kNothingFound;
}

}  // namespace

void AddWatchCommand(CLI::App& app, Session& session) {
  AddCommand<WatchOptions>(
      app, session, "watch", "Report controllers as they come, change and go, until Ctrl-C",
      [](CLI::App& command, WatchOptions& options) {
        command.add_flag("--json", options.json, "One JSON object per line");
        command.add_option("--wait", options.wait, "End after this time (default: with Ctrl-C)")
            ->type_name("SECONDS")
            ->check(Seconds());
        // The former name, hidden from the help.
        command.add_option("--seconds", options.wait)->check(Seconds())->group("");
        BindSelection(command, options.selection);
      },
      [&session](const WatchOptions& options) { return Watch(session, options); });
}

}  // namespace kellanseek::kelseek
