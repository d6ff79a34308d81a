#pragma once

#include <string>
#include <vector>

namespace kellanseek::manual {

/// What may be typed as the value of an option or argument, as far as a shell can help.
enum class Values { None, Any, Files, Directories, Choices };

struct Option {
  std::vector<std::string> names;  ///< As typed, "-q" and "--quiet"; of an argument the name that texts use.
  std::string description;
  Values values = Values::None;       ///< None: a flag.
  std::string value;                  ///< Stands for the value in texts: "SECONDS".
  std::string limits;                 ///< Which values are taken, in words: "0 to 86400". May be empty.
  std::vector<std::string> choices;   ///< One that ends with "=" is only the beginning of a value.
  std::string byDefault;              ///< May be empty.
  std::vector<std::string> excludes;  ///< Names of options, sorted.
  bool required = false;
  bool repeated = false;  ///< Takes several values.
  bool general = false;   ///< An option of the program that its commands take too.
};

/// A program, or one of its commands.
struct Command {
  std::string path;  ///< The words after the program's name, "vc run"; empty: the program itself.
  std::string name;  ///< The last of these words, or the program's name.
  std::string description;
  std::string footer;             ///< Lines that keep their form, below the options. May be empty.
  std::vector<Option> options;    ///< Everything that is accepted after the command.
  std::vector<Option> arguments;  ///< In their order.
  std::vector<Command> commands;
};

/// Scripts that complete the program's command lines, for the shell that the function is named after.
std::string BashCompletion(const Command& program);
std::string ZshCompletion(const Command& program);

/// The texts with `separator` between them.
std::string Joined(const std::vector<std::string>& texts, const std::string& separator);

/// A copy of `text` with `to` in place of every `from`, which must not be empty.
std::string Replaced(std::string text, const std::string& from, const std::string& to);

}  // namespace kellanseek::manual
