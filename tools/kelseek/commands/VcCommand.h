#pragma once

#include <string>

#include "client/Session.h"

namespace CLI {
class App;
}

namespace kellanseek::kelseek {

/// The properties of a virtual controller.
struct VirtualController {
  std::string name;
  std::string systemID;
  std::string path;
  std::string systemName;
  std::string software;  ///< "MAJOR.MINOR[.REVISION]", or empty.
  bool publish = false;
};

/// Builds the controller's identity message. Throws CommandError if a text cannot be part of a message, or
/// the version is malformed.
std::wstring IdentityMessage(const VirtualController& controller);

/// `vc run`: a virtual controller for the lifetime of the program.
void AddVcCommands(CLI::App& app, Session& session);

}  // namespace kellanseek::kelseek
