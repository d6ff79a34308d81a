#include <kellanseek/com.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "client/Component.h"
#include "client/Text.h"
#include "commands/Command.h"
#include "commands/CommandLine.h"
#include "output/Output.h"
#include "platform/Environment.h"
#include "platform/Signals.h"
#include "platform/Terminal.h"

namespace kellanseek::kelseek {
namespace {

int RunChosen(Session& session) {
  UseConfiguration(session);
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
  const auto commandLine = MakeCommandLine(session);
  CLI::App& app = *commandLine;
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
    std::cerr << "kelseek: " << kelseek::Printable(error.what()) << '\n';
    return kelseek::kComponentFailed;
  }
}
