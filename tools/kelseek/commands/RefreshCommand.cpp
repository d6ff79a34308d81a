#include <atomic>
#include <vector>

#include "client/Controller.h"
#include "client/Listener.h"
#include "client/Text.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "commands/DiscoveryCommands.h"
#include "output/EventText.h"
#include "output/Listing.h"
#include "output/Output.h"

namespace kellanseek::kelseek {
namespace {

struct RefreshOptions : SearchOptions {
  std::vector<std::string> which;
};

std::vector<Controller> SelectControllers(const Component& component, const std::vector<std::string>& which) {
  if (which.empty()) return ListedControllers(component);
  std::vector<Controller> chosen;
  for (const std::string& one : which) {
    if (auto controller = FindController(component, one)) {
      chosen.push_back(*controller);
    } else {
      throw CommandError(kNothingFound, "no controller " + Printable(std::string_view(one)));
    }
  }
  return chosen;
}

std::vector<Controller> StillKnown(const Component& component, const std::vector<Controller>& controllers) {
  std::vector<Controller> known;
  for (const Controller& controller : controllers) {
    if (auto now = ReadController(component.Identity(), controller.id)) known.push_back(*now);
  }
  return known;
}

// Returns the number of controllers that still existed.
std::size_t Ask(const Component& component, const std::vector<Controller>& controllers) {
  std::size_t asked = 0;
  for (const Controller& controller : controllers) {
    const HRESULT result = component.Seek().RefreshForID(controller.id);
    if (result == KEL_E_LANSEEKID_NOT_IN_USE) continue;
    component.Check(result, "refreshing " + DisplayName(controller));
    ++asked;
  }
  return asked;
}

int Refresh(Session& session, const RefreshOptions& options) {
  const Component component(session);
  std::atomic<bool> asking = false;
  std::atomic<std::size_t> news = 0;
  const Listener listener(component, [&](const Event& event) {
    if (!asking) return;
    const std::string heading = news == 0 ? EventHeading(session.colours) : "";
    if (!options.json && !Write(heading + EventLine(event, session.colours))) session.stop.Set();
    ++news;
  });
  TimeSpan(session, options.wait).WaitForEnd();
  const std::vector<Controller> controllers = SelectControllers(component, options.which);
  asking = true;
  const std::size_t asked = Ask(component, controllers);
  TimeSpan answering(session, options.wait);
  answering.WaitForEnd();
  if (options.json) {
    Write(ListingJson(StillKnown(component, controllers), answering.Elapsed()));
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
        BindSearchOptions(command, options, "Time to listen before asking, and again afterwards");
      },
      [&session](const RefreshOptions& options) { return Refresh(session, options); });
}

}  // namespace kellanseek::kelseek
