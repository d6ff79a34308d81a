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

/// Why the registry could not be changed, as far as a look at it tells.
std::string Reason(HRESULT result) {
  if (result == E_ACCESSDENIED) return "; the registry has to be writable for this user";
  // A change that changes nothing: nobody has such a key.
  platform::RegistryStore& registry = platform::SystemRegistryStore();
  if (SUCCEEDED(registry.RemoveTree(L"HKEY_CURRENT_USER\\Software\\Classes\\KelLanSeek.Nobody"))) return "";
  return ": " + Printable(registry.LastErrorText());
}

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
                                             CodeText(result) + ")" + Reason(result));
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
