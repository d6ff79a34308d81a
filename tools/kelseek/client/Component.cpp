#include "client/Component.h"

#include <initializer_list>
#include <string_view>

#include "client/Text.h"
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

KelComPtr<IKelLanSeek> CreateFromModule(const std::wstring& path) {
  KelComPtr<IKelLanSeek> seek;
  const HRESULT result =
      KelCreateInstanceFromModule(path.c_str(), CLSID_KelLanSeek, IID_IKelLanSeek, seek.PutVoid());
  if (SUCCEEDED(result)) return seek;
  std::wstring why;
  const bool loads = platform::FindModuleFunction(path, "DllGetClassObject", why) != nullptr;
  throw CommandError(kComponentFailed,
                     "the component " + Printable(path) + (loads ? " creates no object" : " does not load") +
                         (why.empty() ? "" : ": " + Printable(why)) + " (" + CodeText(result) + ")");
}

KelComPtr<IKelLanSeek> CreateFromRegistration() {
  KelComPtr<IKelLanSeek> seek;
  const HRESULT result =
      CoCreateInstance(CLSID_KelLanSeek, nullptr, CLSCTX_INPROC_SERVER, IID_IKelLanSeek, seek.PutVoid());
  if (SUCCEEDED(result)) return seek;
  throw CommandError(kComponentFailed,
                     "there is no component beside this program, and the registered one cannot be created (" +
                         CodeText(result) + "); use --module PATH");
}

}  // namespace

std::wstring ModulePath(const Session& session) {
  if (!session.module.empty()) return WithDirectory(session.module);
  if (const auto named = platform::EnvironmentVariable("KELLANSEEK_MODULE")) return WithDirectory(*named);
  return FindBesideProgram();
}

Component::Component(const Session& session) {
  const std::wstring module = ModulePath(session);
  seek_ = module.empty() ? CreateFromRegistration() : CreateFromModule(module);
  identity_ = Get<IKelCtrlIdentity3>();
}

void Component::Check(HRESULT result, const std::string& attempted) const {
  if (SUCCEEDED(result)) return;
  KelBstr text;
  if (const auto base = seek_.As<IKelBase>()) base->GetLastErrorInfo(text.Put());
  const std::string reason = text ? ": " + Printable(text.View()) : "";
  throw CommandError(kComponentFailed, attempted + reason + " (" + CodeText(result) + ")");
}

}  // namespace kellanseek::kelseek
