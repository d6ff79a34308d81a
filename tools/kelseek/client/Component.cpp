#include "client/Component.h"

#include <initializer_list>
#include <string_view>

#include "client/Text.h"
#include "platform/FilePath.h"
#include "platform/Module.h"
#include "platform/Terminal.h"

namespace kellanseek::tools {
namespace {

using platform::KindOfPath;
using platform::PathKind;
using platform::PathSeparator;

// A bare name would be looked for where the system looks for libraries; here the file in this directory is
// meant.
std::wstring Named(const std::string& path) {
  const std::wstring wide = FromUtf8(path);
  const bool bare = wide.find_first_of(L"/\\") == std::wstring::npos && KindOfPath(wide) == PathKind::Other;
  return bare ? L"." + std::wstring(PathSeparator()) + wide : wide;
}

/// A place as it is named from a directory, which ends with a separator and is free of links: steps up are
/// taken.
std::wstring From(std::wstring directory, std::string_view place) {
  constexpr std::string_view kUp = "../";
  const wchar_t separator = PathSeparator().front();
  for (; place.starts_with(kUp) && directory.size() > 1; place.remove_prefix(kUp.size())) {
    directory.erase(directory.rfind(separator, directory.size() - 2) + 1);
  }
  return directory + FromUtf8(place);
}

std::wstring BesideProgram() {
  const std::wstring program = platform::CurrentModulePath();
  const std::wstring directory = program.substr(0, program.rfind(PathSeparator()) + 1);
  for (const char* const place : {"", KELLANSEEK_LIBRARY_DIRECTORY "/", "../lib/"}) {
    std::wstring path = From(directory, place) + FromUtf8(KELLANSEEK_MODULE_NAME);
    if (KindOfPath(path) == PathKind::Other) return path;
  }
  return {};
}

KelComPtr<IKelLanSeek> FromModule(const std::wstring& path) {
  KelComPtr<IKelLanSeek> seek;
  const HRESULT result =
      KelCreateInstanceFromModule(path.c_str(), CLSID_KelLanSeek, IID_IKelLanSeek, seek.PutVoid());
  if (SUCCEEDED(result)) return seek;
  std::wstring why;
  const bool loads = platform::FindModuleFunction(path, "DllGetClassObject", why) != nullptr;
  throw CommandError(kComponentFailed,
                     "the component " + Printable(path) + (loads ? " gives no object" : " does not load") +
                         (why.empty() ? "" : ": " + Printable(why)) + " (" + CodeText(result) + ")");
}

KelComPtr<IKelLanSeek> FromRegistration() {
  KelComPtr<IKelLanSeek> seek;
  const HRESULT result =
      CoCreateInstance(CLSID_KelLanSeek, nullptr, CLSCTX_INPROC_SERVER, IID_IKelLanSeek, seek.PutVoid());
  if (SUCCEEDED(result)) return seek;
  throw CommandError(kComponentFailed,
                     "the component is not beside this program, and the registered one does not come up (" +
                         CodeText(result) + "); --module PATH names one");
}

}  // namespace

std::wstring ModulePath(const Session& session) {
  if (!session.module.empty()) return Named(session.module);
  if (const auto named = platform::EnvironmentVariable("KELLANSEEK_MODULE")) return Named(*named);
  return BesideProgram();
}

Component::Component(const Session& session) {
  const std::wstring module = ModulePath(session);
  seek_ = module.empty() ? FromRegistration() : FromModule(module);
  identity_ = Get<IKelCtrlIdentity3>();
}

void Component::Check(HRESULT result, const std::string& attempted) const {
  if (SUCCEEDED(result)) return;
  KelBstr text;
  if (const auto base = seek_.As<IKelBase>()) base->GetLastErrorInfo(text.Put());
  const std::string reason = text ? ": " + Printable(text.View()) : "";
  throw CommandError(kComponentFailed, attempted + reason + " (" + CodeText(result) + ")");
}

}  // namespace kellanseek::tools
