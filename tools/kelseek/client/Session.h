#pragma once

#include <functional>
#include <stdexcept>
#include <string>

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

}  // namespace kellanseek::tools
