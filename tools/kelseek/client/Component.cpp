#include "client/Component.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <string_view>
#include <vector>

#include "client/Text.h"
#include "config/Configuration.h"
#include "platform/Environment.h"
#include "platform/Files.h"
#include "platform/Module.h"

namespace kellanseek::kelseek {
namespace {

using platform::KindOfPath;
using platform::PathKind;
using platform::PathSeparator;

// Prefixes a bare file name, which the system would search for among its libraries, with the current
// directory.
std::wstring WithDirectory(const std::string& path) {
  const std::wstring wide = FromUtf8(path);
  const bool bare = wide.find_first_of(L"/\\") == std::wstring::npos && KindOfPath(wide) == PathKind::Other;
  return bare ? L"." + std::wstring(PathSeparator()) + wide : wide;
}

/// Resolves a relative path against a directory that ends with a separator and contains no links, so that
/// "../" can simply drop its last part.
std::wstring Resolved(std::wstring directory, std::string_view place) {
  constexpr std::string_view kUp = "../";
  const wchar_t separator = PathSeparator().front();
  for (; place.starts_with(kUp) && directory.size() > 1; place.remove_prefix(kUp.size())) {
    directory.erase(directory.rfind(separator, directory.size() - 2) + 1);
  }
  return directory + FromUtf8(place);
}

std::wstring FindBesideProgram() {
  const std::wstring program = platform::CurrentModulePath();
  const std::wstring directory = program.substr(0, program.rfind(PathSeparator()) + 1);
  for (const char* const place : {"", KELLANSEEK_LIBRARY_DIRECTORY "/", "../lib/"}) {
    std::wstring path = Resolved(directory, place) + FromUtf8(KELLANSEEK_MODULE_NAME);
    if (KindOfPath(path) == PathKind::Other) return path;
  }
  return {};
}

client::Client CreateFromModule(const std::wstring& path) {
  try {
    return client::Client::from_module(ToUtf8(path));
  } catch (const client::Error& error) {
    std::wstring why;
    const bool loads = platform::FindModuleFunction(path, "DllGetClassObject", why) != nullptr;
    throw CommandError(kComponentFailed, "the component " + Printable(path) +
                                             (loads ? " creates no object" : " does not load") +
                                             (why.empty() ? "" : ": " + Printable(why)) + " (" +
                                             CodeText(error.code()) + ")");
  }
}

client::Client CreateFromRegistration() {
  try {
    return client::Client::create();
  } catch (const client::Error& error) {
    throw CommandError(
        kComponentFailed,
        "there is no component beside this program, and the registered one cannot be created (" +
            CodeText(error.code()) + "); use --module PATH");
  }
}

/// The only controller with this name. Throws CommandError if there are several, because the intended one is
/// unknown.
std::optional<client::Controller> FindByUniqueName(const std::string& name,
                                                   const std::vector<client::Controller>& controllers) {
  std::vector<client::Controller> named;
  std::copy_if(controllers.begin(), controllers.end(), std::back_inserter(named),
               [&name](const client::Controller& controller) { return controller.name == name; });
  if (named.empty()) return std::nullopt;
  if (named.size() == 1) return named.front();
  std::string text = std::to_string(named.size()) + " controllers have the name " + Printable(name) +
                     "; give an address or system identity:";
  for (const client::Controller& controller : named)
    text += "\n  " + Printable(controller.address + "  " + controller.identity);
  throw CommandError(kWrongUse, text);
}

}  // namespace

std::wstring ModulePath(const Session& session) {
  if (!session.module.empty()) return WithDirectory(session.module);
  if (const auto named = platform::EnvironmentVariable("KELLANSEEK_MODULE")) return WithDirectory(*named);
  return FindBesideProgram();
}

void UseConfiguration(const Session& session) {
  if (!session.config.empty()) platform::ChangeEnvironment(config::kDirectoryVariable, session.config);
}

client::Client Connect(const Session& session) {
  if (!session.config.empty() && !session.createsConfig &&
      KindOfPath(FromUtf8(session.config)) != PathKind::Directory)
    throw CommandError(kWrongUse, "--config: there is no directory " + Printable(session.config));
  const std::wstring module = ModulePath(session);
  return module.empty() ? CreateFromRegistration() : CreateFromModule(module);
}

std::optional<client::Controller> LookUpController(const client::Client& client, const std::string& which,
                                                   const Wanted& wanted) {
  auto found = client.find_by_address(which);
  if (!found || !wanted(*found)) found = client.find_by_identity(which);
  return found && wanted(*found) ? found : std::nullopt;
}

std::optional<client::Controller> FindController(const client::Client& client, const std::string& which,
                                                 const Wanted& wanted) {
  if (auto controller = LookUpController(client, which, wanted)) return controller;
  if (which.empty()) return std::nullopt;
  std::vector<client::Controller> listed = client.controllers();
  std::erase_if(listed, [&wanted](const client::Controller& controller) { return !wanted(controller); });
  const auto match =
      std::find_if(listed.begin(), listed.end(),
                   [&which](const client::Controller& controller) { return controller.address == which; });
  return match != listed.end() ? *match : FindByUniqueName(which, listed);
}

client::AddResult AddRemote(const client::Client& client, const std::string& address) {
  try {
    return client.add(address);
  } catch (const client::Error& error) {
    if (error.code() != E_INVALIDARG) throw;
    throw CommandError(kWrongUse, Printable(address) + " is not a valid controller address");
  }
}

}  // namespace kellanseek::kelseek
