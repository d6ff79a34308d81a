#include "commands/RegisterCommand.h"

#include <kellanseek/KelLanSeek.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>

#include "client/Component.h"
#include "client/Text.h"
#include "commands/Command.h"
#include "platform/Module.h"
#include "platform/RegistryStore.h"

namespace kellanseek::kelseek {
namespace {

struct NoOptions {};

std::wstring ModuleKey() {
  std::array<wchar_t, 39> id = {};
  StringFromGUID2(CLSID_KelLanSeek, id.data(), static_cast<int>(id.size()));
  return std::wstring(L"HKEY_CLASSES_ROOT\\CLSID\\") + id.data() + L"\\InprocServer32";
}

/// The reason for a refused registration. The module does not report it, but another write fails for the same
/// reason.
std::string Reason(const std::wstring& module) {
  platform::RegistryStore& registry = platform::SystemRegistryStore();
  const std::wstring key = L"HKEY_CLASSES_ROOT\\KelLanSeek.Nobody";
  if (FAILED(registry.Write(key, L"", module))) return ": " + Printable(registry.LastErrorText());
  registry.RemoveTree(key);
  registry.DropNeedlessStore();
  return "";
}

/// Calls one of the module's two registration functions. Returns the module's path.
std::wstring CallModule(const Session& session, const char* function, const char* attempt) {
  std::wstring module = ModulePath(session);
  if (module.empty()) {
    throw CommandError(kWrongUse, "there is no component beside this program; use --module PATH");
  }
  std::wstring why;
  const platform::ModuleFunction call = platform::FindModuleFunction(module, function, why);
  if (call == nullptr)
    throw CommandError(kComponentFailed, Printable(module) + " does not load: " + Printable(why));
  const HRESULT result = call();
  if (FAILED(result)) {
    throw CommandError(kComponentFailed, std::string(attempt) + " " + Printable(module) + " failed (" +
                                             CodeText(result) + ")" + Reason(module));
  }
  return module;
}

std::string InFile(const std::wstring& file) { return file.empty() ? "" : " in " + Printable(file); }

/// The content of a file; nullopt if it does not exist.
std::optional<std::string> Content(const std::wstring& file) {
  const std::string path = ToUtf8(file);
  std::ifstream stream(std::filesystem::path(std::u8string(path.begin(), path.end())), std::ios::binary);
  if (!stream) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

int Register(const Session& session) {
  const std::wstring file = platform::SystemRegistryStore().FileOfChanges();
  const std::wstring module = CallModule(session, "DllRegisterServer", "registering");
  std::cout << Printable(module) << " is registered" << InFile(file) << ".\n";
  return kFound;
}

int Unregister(const Session& session) {
  constexpr std::size_t kMaxPath = 4096;
  platform::RegistryStore& registry = platform::SystemRegistryStore();
  const std::wstring file = registry.FileOfChanges();
  const auto before = Content(file);
  std::wstring left;
  const bool wasRegistered = registry.Read(ModuleKey(), L"", kMaxPath, left) != S_FALSE;
  const std::wstring module = CallModule(session, "DllUnregisterServer", "unregistering");
  const auto after = Content(file);
  if (file.empty() && !wasRegistered) {
    std::cout << Printable(module) << " was not registered.\n";
  } else if (!file.empty() && before == after) {
    std::cout << Printable(file) << " contains no registration; nothing was changed.\n";
  } else {
    std::cout << Printable(module) << " is no longer registered" << InFile(file) << ".\n";
  }
  if (before && !after) std::cout << "That file contained nothing else and was deleted.\n";
  if (registry.Read(ModuleKey(), L"", kMaxPath, left) == S_OK)
    std::cout << Printable(left) << " stays registered for all users.\n";
  return kFound;
}

}  // namespace

void AddRegisterCommands(CLI::App& app, Session& session) {
  const auto bind = [](CLI::App&, NoOptions&) {};
  AddCommand<NoOptions>(app, session, "register",
                        "Register the component, so that clients find it without a path", bind,
                        [&session](const NoOptions&) { return Register(session); });
  AddCommand<NoOptions>(app, session, "unregister", "Remove the component's registration", bind,
                        [&session](const NoOptions&) { return Unregister(session); });
}

}  // namespace kellanseek::kelseek
