#include "RegisterCommand.h"

#include <iostream>

#include "Command.h"
#include "Component.h"
#include "Text.h"
#include "platform/Module.h"
#include "platform/RegistryStore.h"

namespace kellanseek::tools {
namespace {

struct NoOptions {};

int CallModule(const Session& session, const char* function, const char* attempt, const char* done) {
  const std::wstring module = ModulePath(session);
  if (module.empty()) {
    throw CommandError(kWrongUse, "the component is not beside this program; --module PATH names it");
  }
  std::wstring why;
  const platform::ModuleFunction call = platform::FindModuleFunction(module, function, why);
  if (call == nullptr)
    throw CommandError(kComponentFailed, Printable(module) + " does not load: " + Printable(why));
  const HRESULT result = call();
  if (FAILED(result)) {
    throw CommandError(kComponentFailed, std::string(attempt) + " " + Printable(module) + " failed (" +
                                             CodeText(result) +
                                             "); the registry has to be writable for this user");
  }
  std::cout << Printable(module) << " is " << done << ".\n";
  return kFound;
}

}  // namespace

void AddRegisterCommands(CLI::App& app, Session& session) {
  const auto bind = [](CLI::App&, NoOptions&) {};
  AddCommand<NoOptions>(app, session, "register",
                        "Register the component, so that clients create it without a path", bind,
                        [&session](const NoOptions&) {
                          return CallModule(session, "DllRegisterServer", "registering", "registered");
                        });
  AddCommand<NoOptions>(app, session, "unregister", "Take the registration of the component back", bind,
                        [&session](const NoOptions&) {
                          return CallModule(session, "DllUnregisterServer", "unregistering",
                                            "no longer registered");
                        });
}

}  // namespace kellanseek::tools
