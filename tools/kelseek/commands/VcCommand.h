#pragma once

#include <string>

#include "client/Session.h"

namespace CLI {
class App;
}

namespace kellanseek::tools {

/// What a virtual controller says of itself.
struct VirtualController {
  std::string name;
  std::string systemID;
  std::string path;
  std::string systemName;
  std::string software;  ///< "MAJOR.MINOR[.REVISION]", or nothing.
  bool publish = false;
};

/// The identity message that the controller hands to the component. Throws CommandError when a text cannot be
/// part of a message or the version is none.
std::wstring IdentityMessage(const VirtualController& controller);

/// `vc run`: a virtual controller that lives as long as the program does.
void AddVcCommands(CLI::App& app, Session& session);

}  // namespace kellanseek::tools
