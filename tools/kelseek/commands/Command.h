#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "client/Session.h"

namespace kellanseek::tools {

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

/// A check for a number of seconds that is sensible.
inline CLI::Validator Seconds() {
  const auto check = [](const std::string& text) -> std::string {
    constexpr double kDay = 86400;
    double seconds = -1;
    // Comparisons with what is not a number are false, so the ones that accept are made.
    const bool sensible = CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= kDay;
    return sensible ? "" : text + " is not between 0 and 86400 seconds";
  };
  return {check, "0 to 86400"};
}

/// What all commands that look for controllers can be told.
struct SearchOptions {
  double wait = 2;  ///< Seconds.
  bool json = false;
};
inline void BindSearchOptions(CLI::App& command, SearchOptions& options, const std::string& waitMeaning) {
  command.add_option("--wait", options.wait, waitMeaning)
      ->type_name("SECONDS")
      ->check(Seconds())
      ->capture_default_str();
  command.add_flag("--json", options.json, "Output for programs");
}

}  // namespace kellanseek::tools
