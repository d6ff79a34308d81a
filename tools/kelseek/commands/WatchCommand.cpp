#include <vector>

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
  std::optional<double> seconds;
  std::vector<std::string> remote;
};

int Watch(Session& session, const WatchOptions& options) {
  const client::Client client = Connect(session);
  bool anyFound = false;
  const auto print = [&session](const std::string& text) {
    if (!Write(text)) session.stop.Set();
  };
  if (!options.json) print(EventHeading(session.colours));
  client::ChangeStream changes = client.changes(kWaitingChanges);
  for (const std::string& address : options.remote) AddRemote(client, address);
  TimeSpan(session, options.seconds).Follow(changes, [&](const client::Change& change) {
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
        command.add_option("--seconds", options.seconds, "End after this time")
            ->type_name("SECONDS")
            ->check(Seconds());
        command
            .add_option("--add", options.remote,
                        "Also ask the controller at this IPv4 address; may be repeated")
            ->type_name("ADDRESS")
            ->expected(1)
            ->take_all()
            ->check(CLI::ValidIPV4);
      },
      [&session](const WatchOptions& options) { return Watch(session, options); });
}

}  // namespace kellanseek::kelseek
