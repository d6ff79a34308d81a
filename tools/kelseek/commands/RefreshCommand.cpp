#include <chrono>
#include <utility>
#include <vector>

#include "client/Chooser.h"
#include "client/Component.h"
#include "client/Text.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "commands/DiscoveryCommands.h"
#include "output/EventText.h"
#include "output/Listing.h"
#include "output/Output.h"

namespace kellanseek::kelseek {
namespace {

/// Seconds for the answers, unless the user says otherwise.
constexpr double kTimeForAnswers = 2;

struct RefreshOptions : SearchOptions {
  std::vector<std::string> which;
};

std::vector<client::Controller> SelectControllers(const client::Client& client, Chooser& chooser,
                                                  const std::vector<std::string>& which) {
  if (which.empty()) return chooser.Choose(client.controllers());
  const auto wanted = [&chooser](const client::Controller& controller) { return chooser.Wants(controller); };
  std::vector<client::Controller> chosen;
  for (const std::string& one : which) {
    if (auto controller = FindController(client, one, wanted)) {
      chosen.push_back(*controller);
    } else {
      throw CommandError(kNothingFound, "no controller " + Printable(one));
    }
  }
  return chooser.Choose(std::move(chosen));
}

std::vector<client::Controller> StillKnown(const client::Client& client,
                                           const std::vector<client::Controller>& controllers) {
  std::vector<client::Controller> known;
  for (const client::Controller& controller : controllers) {
    if (auto now = client.read(controller.id)) known.push_back(*now);
  }
  return known;
}

// Returns the number of controllers that still existed.
std::size_t Ask(const client::Client& client, const std::vector<client::Controller>& controllers) {
  std::size_t asked = 0;
  for (const client::Controller& controller : controllers) {
    if (client.refresh(controller.id)) ++asked;
  }
  return asked;
}

int Refresh(Session& session, const RefreshOptions& options) {
  Chooser chooser(options.selection);
  const client::Client client = Connect(session);
  chooser.Start(client);
  const bool json = options.format == Format::Json;
  std::size_t news = 0;
  client::ChangeStream changes = client.changes(kWaitingChanges);
  Waited waited = WaitForList(session, client, options.wait, [&] { return chooser.AddedAnswered(); });
  while (!session.stop.TryWait() && changes.next(std::chrono::milliseconds(0))) continue;
  const std::vector<client::Controller> controllers = SelectControllers(client, chooser, options.which);
  const std::size_t asked = Ask(client, controllers);
  TimeSpan answering(session, options.wait.value_or(kTimeForAnswers));
  answering.Follow(changes, [&](const client::Change& change) {
    if (change.type == client::ChangeType::Listed && !change.reason) return;  // the rest of the list, no news
    if (!chooser.Wants(change.controller)) return;
    const std::string heading = news == 0 ? EventHeading(session.colours) : "";
    if (!json && !Write(heading + EventLine(change, session.colours))) session.stop.Set();
    ++news;
  });
  if (json) {
    waited.seconds = answering.Elapsed();
    Write(ListingJson({StillKnown(client, controllers), waited, {}, asked}));
  } else {
    Write("Asked " + Count(asked, "controller") + "; " + (news == 0 ? "no changes" : Count(news, "change")) +
          " within " + SecondsText(answering.Elapsed()) + ".\n");
  }
  return asked == 0 ? kNothingFound : kFound;
}

}  // namespace

void AddRefreshCommand(CLI::App& app, Session& session) {
  AddCommand<RefreshOptions>(
      app, session, "refresh", "Ask controllers for an answer and report what has changed",
      [](CLI::App& command, RefreshOptions& options) {
        command.add_option("controller", options.which,
                           "Names, addresses or system identities (default: all controllers)");
        BindSearchOptions(command, options,
                          "Time to listen before asking, and again afterwards (default: until everything has "
                          "been asked once, then 2 seconds)");
        BindSelection(command, options.selection);
        BindSort(command, options.selection);
      },
      [&session](const RefreshOptions& options) { return Refresh(session, options); });
}

}  // namespace kellanseek::kelseek
