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

/// Longer than a controller has to answer by default, and it may have to be asked twice.
constexpr double kLeastWait = 5;

struct AddOptions : SearchOptions {
  std::string address;
};

const char* ResultText(client::AddOutcome outcome) {
  switch (outcome) {
    case client::AddOutcome::Added: break;
    case client::AddOutcome::AlreadyDynamic: return "already found on the network";
    case client::AddOutcome::AlreadyConfigured: return "already configured";
  }
  return "added";
}

int Add(Session& session, const AddOptions& options) {
  const client::Client client = Connect(session);
  const client::AddResult added = AddRemote(client, options.address);
  std::optional<client::Controller> controller;
  const auto answered = [&] {
    controller = client.read(added.id);
    return controller && controller->availability == client::Availability::Available;
  };
  const Waited waited = WaitForList(session, client, options.wait, answered, kLeastWait);
  if (!answered()) {
    throw CommandError(kNothingFound, options.address + ": " + ResultText(added.outcome) +
                                          ", but no answer within " + SecondsText(waited.seconds));
  }
  if (options.format == Format::Json) {
    Write(JsonText(*controller, 2) + "\n");
  } else {
    Write(options.address + ": " + ResultText(added.outcome) + ", answered after " +
          SecondsText(waited.seconds) + "\n" + DetailText(*controller, session.colours));
  }
  return kFound;
}

}  // namespace

void AddAddCommand(CLI::App& app, Session& session) {
  AddCommand<AddOptions>(
      app, session, "add", "Ask a controller that broadcasts do not reach, by its address",
      [](CLI::App& command, AddOptions& options) {
        command.add_option("address", options.address, "IPv4 address")->required()->check(CLI::ValidIPV4);
        BindSearchOptions(
            command, options,
            "Time for its answer (default: 5 seconds or more, until everything has been asked once)");
      },
      [&session](const AddOptions& options) { return Add(session, options); });
}

}  // namespace kellanseek::kelseek
