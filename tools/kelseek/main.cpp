#include <kellanseek/com.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "client/Text.h"
#include "commands/Command.h"
#include "commands/ConfigCommands.h"
#include "commands/DiscoveryCommands.h"
#include "commands/DoctorCommand.h"
#include "commands/RegisterCommand.h"
#include "commands/VcCommand.h"
#include "output/Output.h"
#include "platform/Environment.h"
#include "platform/Signals.h"
#include "platform/Terminal.h"

namespace kellanseek::kelseek {
namespace {

void AddCommands(CLI::App& app, Session& session) {
  app.require_subcommand(0, 1);
  app.fallthrough();
  app.failure_message([](const CLI::App*, const CLI::Error& error) {
    return "kelseek: " + Printable(std::string_view(error.what())) + "; see kelseek --help\n";
  });
  app.set_version_flag("--version", "kelseek " KELLANSEEK_VERSION);
  app.add_option("--module", session.module,
                 "The component's file (default: the value of KELLANSEEK_MODULE, else the file beside this "
                 "program, else the registered component)")
      ->type_name("PATH");
  AddListCommand(app, session);
  AddDoctorCommand(app, session);
  AddWatchCommand(app, session);
  AddShowCommand(app, session);
  AddAddCommand(app, session);
  AddRefreshCommand(app, session);
  AddVcCommands(app, session);
  AddConfigCommands(app, session);
  AddRegisterCommands(app, session);
}

int RunChosen(Session& session) {
  const platform::StopSignals signals(session.stop);
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  const int code = session.run();
  CoUninitialize();
  RequireWrittenOutput();
  return code;
}

int Run(std::vector<std::string> arguments) {
  platform::ReserveClosedStreams();
  platform::UseUtf8Output();
  Session session;
  session.colours = !platform::EnvironmentVariable("NO_COLOR") && platform::OutputTakesColours();
  CLI::App app("Find the industrial controllers reachable from this host.", "kelseek");
  AddCommands(app, session);
  std::reverse(arguments.begin(), arguments.end());  // the order in which the parser consumes them
  try {
    app.parse(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    // Help and version are written like all other output, so that a failed write is reported.
    std::ostringstream output;
    const int code = app.exit(error, output, std::cerr) == 0 ? kFound : kWrongUse;
    Write(output.str());
    if (code == kFound) RequireWrittenOutput();
    return code;
  }
  if (!session.run) {
    std::cerr << app.help();
    return kWrongUse;
  }
  return RunChosen(session);
}

}  // namespace
}  // namespace kellanseek::kelseek

int main(int argc, char** argv) {
  using namespace kellanseek;
  try {
    return kelseek::Run(platform::ArgumentsInUtf8(argc, argv));
  } catch (const kelseek::CommandError& error) {
    std::cerr << "kelseek: " << error.what() << '\n';
    return error.Code();
  } catch (const std::exception& error) {
    std::cerr << "kelseek: " << kelseek::Printable(std::string_view(error.what())) << '\n';
    return kelseek::kComponentFailed;
  }
}
