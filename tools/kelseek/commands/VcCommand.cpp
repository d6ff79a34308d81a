#include "commands/VcCommand.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/Component.h"
#include "client/Text.h"
#include "commands/Command.h"
#include "output/Output.h"
#include "platform/Process.h"

namespace kellanseek::kelseek {
namespace {

struct VcOptions : client::VirtualController {
  std::string software;  ///< "MAJOR.MINOR[.REVISION]", or empty.
};

/// Refuses what cannot be part of the controller's message before anything is created.
void CheckMessage(const client::VirtualController& controller) {
  try {
    identity_message(controller);
  } catch (const client::Error& error) {
    throw CommandError(kWrongUse, Printable(error.attempted()));
  }
}

int RunController(Session& session, const client::VirtualController& controller) {
  CheckMessage(controller);
  const client::Client client = Connect(session);
  const client::VirtualRegistration registration = client.register_virtual(controller);
  registration.announce();
  const std::string name = Printable(controller.name);
  if (!client.find_by_identity(controller.identity))
    throw CommandError(kComponentFailed, "looking the controller up: " + name + " is not listed");
  const bool written =
      Write(name + " (" + Printable(controller.identity) + ") runs in process " +
            std::to_string(platform::CurrentProcessId()) +
            (controller.publish ? ", published to other hosts" : ", known in this process only") +
            ". Ctrl-C withdraws it.\n");
  if (!written) return kComponentFailed;
  session.stop.Wait();
  Write(name + " is withdrawn.\n");
  return kFound;
}

}  // namespace

std::optional<client::Version> ReadVersion(const std::string& text) {
  if (text.empty()) return std::nullopt;
  std::vector<std::uint32_t> numbers;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find('.', start), text.size());
    const std::string number = text.substr(start, end - start);
    const bool digits =
        !number.empty() && number.size() < 6 && number.find_first_not_of("0123456789") == number.npos;
    if (!digits) break;
    numbers.push_back(static_cast<std::uint32_t>(std::stoul(number)));
    start = end + 1;
    if (end < text.size()) continue;
    if (numbers.size() == 2) return client::Version{numbers[0], numbers[1], std::nullopt};
    if (numbers.size() == 3) return client::Version{numbers[0], numbers[1], numbers[2]};
  }
  throw CommandError(kWrongUse, "\"" + Printable(text) + "\" is not a version like 6.10.2");
}

void AddVcCommands(CLI::App& app, Session& session) {
  CLI::App& vc = *app.add_subcommand("vc", "Virtual controllers of this host");
  vc.require_subcommand(1);
  AddCommand<VcOptions>(
      vc, session, "run", "Run a virtual controller until Ctrl-C",
      [](CLI::App& command, VcOptions& controller) {
        command.add_option("--name", controller.name, "Its name")->required();
        command.add_option("--system-id", controller.identity, "Its system identity, which must be unique")
            ->required();
        command.add_option("--path", controller.path, "Its system path, listed in place of an address")
            ->default_str("/virtual/NAME");
        command.add_option("--system-name", controller.system_name, "The name of its system");
        command.add_option("--software", controller.software, "Its software version, for example 6.10.2");
        command.add_flag("--publish", controller.publish, "Publish it to other hosts");
      },
      [&session](VcOptions& controller) {
        controller.version = ReadVersion(controller.software);
        if (controller.path.empty()) controller.path = "/virtual/" + controller.name;
        return RunController(session, controller);
      });
}

}  // namespace kellanseek::kelseek
