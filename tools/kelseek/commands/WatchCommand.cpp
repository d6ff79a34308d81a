#include <chrono>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/Chooser.h"
#include "client/Component.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "commands/DiscoveryCommands.h"
#include "commands/NothingFound.h"
#include "doctor/Diagnosis.h"
#include "output/EventText.h"
#include "output/Output.h"
#include "platform/Terminal.h"
#include "screen/FullScreen.h"

namespace kellanseek::kelseek {
namespace {

struct WatchOptions {
  bool json = false;
  bool plain = false;
  std::optional<double> wait;
  SelectionOptions selection;
};

using Clock = std::chrono::steady_clock;

/// How long the screen goes by one try of the broadcasts, although somebody may be mending what it has shown:
/// others count each try as malformed.
constexpr std::chrono::seconds kTryAgain(60);

constexpr const char* kScreenKeys =
    "On a terminal, a table fills the screen. Its keys:\n"
    "  arrows, j, k, PgUp, PgDn, Home, End   scroll\n"
    "  1 to 9, left, right, s                sort by that column, by the one beside it\n"
    "  r                                     reverse the order\n"
    "  /                                     show only what contains a text: name, address, host,\n"
    "                                        identity or kind; Enter keeps the filter, Esc clears it\n"
    "  q, Ctrl-C                             end\n"
    "  Ctrl-L                                draw the screen anew\n";

/// For a component that counts no sweeps, the screen shows none.
std::optional<std::uint32_t> CountSweeps(const client::Client& client) {
  try {
    return client.sweeps();
  } catch (const client::Error& error) {
    if (error.code() != E_NOINTERFACE) throw;
    return std::nullopt;
  }
}

int WatchOnScreen(Session& session, const client::Client& client, Chooser& chooser,
                  std::optional<double> seconds) {
  client::ChangeStream changes = client.changes(kWaitingChanges);
  chooser.Start(client);
  const ScreenQuestions questions = {
      [&client] { return CountSweeps(client); },
      [&client, echoes = std::vector<Echo>(), tried = std::optional<Clock::time_point>()]() mutable {
        const nlohmann::json report = nlohmann::json::parse(client.report());
        // A try keeps the screen waiting for a quarter of a second.
        if (!tried || Clock::now() - *tried > kTryAgain) {
          echoes = QuickEchoes(report);
          tried = Clock::now();
        }
        return LikelyCause(report, echoes);
      },
      [&chooser](const client::Controller& controller) { return chooser.Wants(controller); },
  };
  return ShowFullScreen(session, changes, questions, seconds) ? kFound : kNothingFound;
}

int Watch(Session& session, const WatchOptions& options) {
  Chooser chooser(options.selection);
  const client::Client client = Connect(session);
  if (!options.json && !options.plain && platform::TerminalIsInteractive())
    return WatchOnScreen(session, client, chooser, options.wait);
  bool anyFound = false;
  const auto print = [&session](const std::string& text) {
    if (!Write(text)) session.stop.Set();
  };
  bool isExplained = options.json || !CountSweeps(client);
  TimeSpan span(session, options.wait);
  const auto explain = [&] {
    if (std::exchange(isExplained, true)) return;
    std::cerr << "No controllers, and everything was asked once. " << WhyNothingFound(client) << std::flush;
  };
  if (!options.json) print(EventHeading(session.colours));
  client::ChangeStream changes = client.changes(kWaitingChanges);
  chooser.Start(client);
  const auto show = [&](const client::Change& change) {
    if (!chooser.Wants(change.controller)) return;
    anyFound = true;
    print(options.json ? JsonText(change) + "\n" : EventLine(change, session.colours));
  };
  const auto meanwhile = [&](bool isComplete) {
    if (isComplete && !anyFound && (span.Elapsed() >= kForAdded || chooser.AddedAnswered())) explain();
  };
  if (span.Follow(changes, show, meanwhile) && !anyFound) explain();
  return anyFound ? kFound : kNothingFound;
}

}  // namespace

void AddWatchCommand(CLI::App& app, Session& session) {
  AddCommand<WatchOptions>(
      app, session, "watch", "Report controllers as they come, change and go, until Ctrl-C",
      [](CLI::App& command, WatchOptions& options) {
        command.footer(kScreenKeys);
        command.add_flag("--json", options.json, "One JSON object per line");
        command.add_flag("--plain", options.plain, "One line per change, on a terminal too");
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
