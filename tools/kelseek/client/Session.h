#pragma once

#include <functional>
#include <stdexcept>
#include <string>

#include "platform/Event.h"

namespace kellanseek::kelseek {

enum ExitCode : int {
  kFound = 0,            ///< Success. A search has found something.
  kNothingFound = 1,     ///< Success, but a search has found nothing, or a check has findings.
  kWrongUse = 2,         ///< Invalid arguments.
  kComponentFailed = 3,  ///< The component or the system failed.
};

/// Ends a command. main() prints the text, which must be UTF-8 and safe to print, and exits with the code.
class CommandError : public std::runtime_error {
 public:
  CommandError(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  ExitCode Code() const { return code_; }

 private:
  ExitCode code_;
};

/// State shared by the program and its command. Outlives every command.
struct Session {
  std::string module;          ///< Value of --module in UTF-8; empty if not given.
  std::string config;          ///< Value of --config in UTF-8; empty if not given.
  bool createsConfig = false;  ///< The directory of --config need not exist yet.
  bool colours = false;        ///< Use colours, because output goes to a terminal.
  platform::Event stop{
      platform::Event::Kind::ManualReset};  ///< The user wants an end; every wait includes it.
  std::function<int()> run;                 ///< The chosen command. Returns the exit code.
};

}  // namespace kellanseek::kelseek
