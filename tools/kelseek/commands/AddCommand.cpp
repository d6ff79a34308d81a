#include "client/Controller.h"
#include "client/Listener.h"
#include "client/Text.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "commands/DiscoveryCommands.h"
#include "output/Listing.h"
#include "output/Output.h"

namespace kellanseek::kelseek {
namespace {

struct AddOptions : SearchOptions {
  AddOptions() { wait = 5; }
  std::string address;
};

const char* ResultText(HRESULT result) {
  if (result == KEL_S_ALREADY_DYNAMIC) return "already found on the network";
  if (result == KEL_S_ALREADY_CONFIGURED) return "already configured";
  return "added";
}

int Add(Session& session, const AddOptions& options) {
  const Component component(session);
  platform::Event changed(platform::Event::Kind::AutoReset);
  const Listener listener(component, [&changed](const Event&) { changed.Set(); });
  const AddedController added = AddRemote(component, options.address);
  TimeSpan waiting(session, options.wait);
  std::optional<Controller> controller;
  const bool answered = waiting.WaitUntil(changed, [&] {
    controller = ReadController(component.Identity(), added.id);
    return controller && controller->availability == CtrlAvailable;
  });
  if (!answered) {
    throw CommandError(kNothingFound, options.address + ": " + ResultText(added.result) +
                                          ", but no answer within " + SecondsText(waiting.Elapsed()));
  }
  if (options.json) {
    Write(JsonText(*controller, 2) + "\n");
  } else {
    Write(options.address + ": " + ResultText(added.result) + ", answered after " +
          SecondsText(waiting.Elapsed()) + "\n" + DetailText(*controller, session.colours));
  }
  return kFound;
}

}  // namespace

void AddAddCommand(CLI::App& app, Session& session) {
  AddCommand<AddOptions>(
      app, session, "add", "Ask a controller that broadcasts do not reach, by its address",
      [](CLI::App& command, AddOptions& options) {
        command.add_option("address", options.address, "IPv4 address")->required()->check(CLI::ValidIPV4);
        BindSearchOptions(command, options, "Time for its answer");
      },
      [&session](const AddOptions& options) { return Add(session, options); });
}

}  // namespace kellanseek::kelseek
