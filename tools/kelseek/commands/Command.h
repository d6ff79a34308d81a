#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

#include "client/Selection.h"
#include "client/Session.h"
#include "output/Listing.h"

namespace kellanseek::kelseek {

/// Adds a subcommand. `bind(command, options)` adds its arguments; `run(options)` is called after parsing and
/// returns the exit code. `options` lives as long as the command.
template <typename Options, typename Bind, typename Run>
void AddCommand(CLI::App& app, Session& session, const std::string& name, const std::string& description,
                Bind bind, Run run) {
  CLI::App& command = *app.add_subcommand(name, description);
  const auto options = std::make_shared<Options>();
  bind(command, *options);
  command.callback(
      [&session, options, run] { session.run = [options, run]() -> int { return run(*options); }; });
}

/// Accepts 0 to 86400 seconds.
inline CLI::Validator Seconds() {
  const auto check = [](const std::string& text) -> std::string {
    constexpr double kDay = 86400;
    double seconds = -1;
    // The comparisons are in accepting form, so that NaN, for which they are false, is rejected.
    const bool sensible = CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= kDay;
    return sensible ? "" : text + " is not between 0 and 86400 seconds";
  };
  return {check, "0 to 86400"};
}

/// Options common to all commands that search for controllers.
struct SearchOptions {
  std::optional<double> wait;  ///< Seconds; none: until everything has been asked once.
  Format format = Format::Table;
  SelectionOptions selection;
};
inline void BindSearchOptions(CLI::App& command, SearchOptions& options, const std::string& waitMeaning) {
  command.add_option("--wait", options.wait, waitMeaning)->type_name("SECONDS")->check(Seconds());
  command.add_flag_callback(
      "--json", [&options] { options.format = Format::Json; }, "Print JSON");
}
/// Binds --format, for commands that also print CSV. To be called after BindSearchOptions().
inline void BindFormat(CLI::App& command, SearchOptions& options) {
  const auto take = [&options](const std::string& text) {
    options.format = text == "json" ? Format::Json : text == "csv" ? Format::Csv : Format::Table;
  };
  command.add_option_function<std::string>("--format", take, "How to print (--json is short for json)")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"table", "json", "csv"}))
      ->excludes("--json");
}

/// Binds all options of a selection but --sort, which only lists have.
inline void BindSelection(CLI::App& command, SelectionOptions& options) {
  command
      .add_option(
          "--filter", options.filters,
          "Only controllers for which this holds; may be repeated, and all must hold. Keys: kind, name, "
          "host, address, identity, network (10.1.0.0/16), status, interface; * is any text and ? any "
          "character")
      ->type_name("KEY=PATTERN")
      ->expected(1)
      ->take_all();
  command
      .add_option("--interface", options.heardOn,
                  "Only controllers heard on this interface, given by its address, name or index")
      ->type_name("INTERFACE");
  command.add_option("--add", options.add, "Also ask the controller at this IPv4 address; may be repeated")
      ->type_name("ADDRESS")
      ->expected(1)
      ->take_all()
      ->check(CLI::ValidIPV4);
}
inline void BindSort(CLI::App& command, SelectionOptions& options) {
  command
      .add_option(
          "--sort", options.sort,
          "Order by name, address, identity, kind, host, status, definition, version, mac or system; a "
          "leading - reverses (default: as they became known)")
      ->type_name("COLUMN");
}

}  // namespace kellanseek::kelseek
