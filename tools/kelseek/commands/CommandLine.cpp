#include "commands/CommandLine.h"

#include <string>
#include <string_view>

#include "client/Text.h"
#include "commands/Command.h"
#include "commands/ConfigCommands.h"
#include "commands/DiscoveryCommands.h"
#include "commands/DoctorCommand.h"
#include "commands/RegisterCommand.h"
#include "commands/VcCommand.h"

namespace kellanseek::kelseek {

std::unique_ptr<CLI::App> MakeCommandLine(Session& session) {
  auto made =
      std::make_unique<CLI::App>("Find the industrial controllers reachable from this host.", "kelseek");
  CLI::App& app = *made;
  app.require_subcommand(0, 1);
  app.fallthrough();
  app.failure_message([](const CLI::App*, const CLI::Error& error) {
    return "kelseek: " + Printable(error.what()) + "; see kelseek --help\n";
  });
  app.set_version_flag("--version", "kelseek " KELLANSEEK_VERSION);
  app.add_option("--module", session.module,
                 "The component's file (default: the value of KELLANSEEK_MODULE, else the file beside this "
                 "program, else the registered component)")
      ->type_name("PATH");
  app.add_option(
         "--config", session.config,
         "The configuration directory for this call (default: the value of KELLANSEEK_CONFIG_DIR, else "
         "this host's)")
      ->type_name("DIR");
  AddListCommand(app, session);
  AddDoctorCommand(app, session);
  AddWatchCommand(app, session);
  AddShowCommand(app, session);
  AddAddCommand(app, session);
  AddRefreshCommand(app, session);
  AddScanCommand(app, session);
  AddVcCommands(app, session);
  AddConfigCommands(app, session);
  AddRegisterCommands(app, session);
  return made;
}

}  // namespace kellanseek::kelseek
