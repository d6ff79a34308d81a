#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/Event.h"

namespace kellanseek::tools {

enum ExitCode : int {
  kFound = 0,            ///< Done; something was found where something was looked for.
  kNothingFound = 1,     ///< Done, without a find. For a check: it has findings.
  kWrongUse = 2,         ///< The arguments cannot be meant.
  kComponentFailed = 3,  ///< The component, or the system below it, refused.
};

/// Ends a command: main() prints the text, which is UTF-8 and safe to print, and exits with the code.
class CommandError : public std::runtime_error {
 public:
  CommandError(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  ExitCode Code() const { return code_; }

 private:
  ExitCode code_;
};

/// What every command has from the program. Outlives them all.
struct Session {
  std::string module;    ///< --module, or none; UTF-8.
  bool colours = false;  ///< Output is a terminal that shall have colours.
  platform::Event stop{
      platform::Event::Kind::ManualReset};  ///< The user wants an end; every wait includes it.
  std::function<int()> run;                 ///< The chosen command, which gives the exit code.
};

/// Adds a subcommand. Its arguments are bound to `options`, which lives as long as the command does;
/// `bind(command, options)` adds them, `run(options)` is called once all are read and gives the exit code.
template <typename Options, typename Bind, typename Run>
void AddCommand(CLI::App& app, Session& session, const std::string& name, const std::string& description,
                Bind bind, Run run) {
  CLI::App& command = *app.add_subcommand(name, description);
  const auto options = std::make_shared<Options>();
  bind(command, *options);
  command.callback(
      [&session, options, run] { session.run = [options, run]() -> int { return run(*options); }; });
}

}  // namespace kellanseek::tools
