#include <iostream>
#include <string>

#include "client/Component.h"
#include "client/Report.h"
#include "client/StaticFile.h"
#include "client/Text.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "commands/DiscoveryCommands.h"
#include "doctor/AddressDiagnosis.h"
#include "doctor/Examination.h"
#include "output/ControllerText.h"
#include "output/Listing.h"
#include "output/Output.h"

namespace kellanseek::kelseek {
namespace {

struct AddOptions : SearchOptions {
  std::string address;
  bool save = false;
};

const char* ResultText(client::AddOutcome outcome) {
  switch (outcome) {
    case client::AddOutcome::Added: break;
    case client::AddOutcome::AlreadyDynamic: return "already found on the network";
    case client::AddOutcome::AlreadyConfigured: return "already configured";
  }
  return "added";
}

/// What stands between this host and a silent address, as further lines. `client` has asked it in vain.
std::string WhySilent(const client::Client& client, const std::string& address) {
  Facts facts;
  facts.report = ReportOf(client);
  if (facts.report.is_null()) return {};
  const bool pollsByAddress = MemberOf(MemberOf(facts.report, "polling"), "enabled") != false;
  if (!pollsByAddress)
    return "\nThe settings forbid requests to single addresses.\n  Help: Set NonLocalUpdatesEnabled to 1.";
  facts.asked.push_back(AskAddress(platform::ParseIpv4(address), facts.report));
  Findings findings;
  AppendAddressFindings(facts, findings);
  const Finding& cause = findings.front();
  std::string text = "\n" + Printable(cause.what);
  if (!cause.seen.empty()) text += "\n  Seen: " + Printable(cause.seen);
  const std::string help =
      cause.mark == Mark::Fine ? "It answers now; allow it more time with --wait." : cause.todo;
  if (!help.empty()) text += "\n  Help: " + Printable(help);
  return text;
}

/// Says where it is saved: with JSON, on standard error.
void Save(const std::wstring& directory, const client::Controller& controller, const AddOptions& options) {
  const Saved saved = SaveController(directory, controller);
  const std::string text =
      options.address + (saved.wasThere ? " is in " : " is saved in ") + Printable(saved.file) + "\n";
  if (options.format == Format::Json) {
    std::cerr << text;
  } else {
    Write(text);
  }
}

int Add(Session& session, const AddOptions& options) {
  session.createsConfig = options.save;
  const std::wstring directory = options.save ? DirectoryForSaving() : std::wstring();
  const client::Client client = Connect(session);
  const client::AddResult added = AddRemote(client, options.address);
  std::optional<client::Controller> controller;
  const auto answered = [&] {
    controller = client.read(added.id);
    return controller && controller->availability == client::Availability::Available;
  };
  const Waited waited = WaitForList(session, client, options.wait, answered, answered);
  if (!answered()) {
    throw CommandError(kNothingFound, options.address + ": " + ResultText(added.outcome) +
                                          ", but no answer within " + SecondsText(waited.seconds) +
                                          (session.stop.TryWait() ? "" : WhySilent(client, options.address)));
  }
  if (options.format == Format::Json) {
    Write(JsonText(*controller, 2) + "\n");
  } else {
    Write(options.address + ": " + ResultText(added.outcome) + ", answered after " +
          SecondsText(waited.seconds) + "\n" + DetailText(*controller, session.colours));
  }
  if (options.save) Save(directory, *controller, options);
  return kFound;
}

}  // namespace

void AddAddCommand(CLI::App& app, Session& session) {
  AddCommand<AddOptions>(
      app, session, "add", "Ask a controller that broadcasts do not reach, by its address",
      [](CLI::App& command, AddOptions& options) {
        command.add_option("address", options.address, "IPv4 address")->required()->check(CLI::ValidIPV4);
        command.add_flag("--save", options.save,
                         "If it answers, also write it into the configuration directory's controllerid.xml");
        BindSearchOptions(
            command, options,
            "Time for its answer (default: 5 seconds or more, until everything has been asked once)");
      },
      [&session](const AddOptions& options) { return Add(session, options); });
}

}  // namespace kellanseek::kelseek
