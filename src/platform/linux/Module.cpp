#include "platform/Module.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "platform/linux/FileText.h"

namespace kellanseek::platform {

std::wstring CurrentModulePath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&CurrentModulePath), &info) == 0 || info.dli_fname == nullptr)
    return {};
  const std::filesystem::path name(info.dli_fname);
  std::error_code error;
  // A name without a directory is a program found through PATH; a library always has its directory.
  if (!name.has_parent_path()) {
    const auto program = std::filesystem::canonical("/proc/self/exe", error);
    return error ? std::wstring() : FromUtf8(program.string());
  }
  // The file name stays as loaded, links unresolved: a link survives an update that replaces the versioned
  // file.
  const auto directory = std::filesystem::canonical(name.parent_path(), error);
  return error ? std::wstring() : FromUtf8((directory / name.filename()).string());
}

ModuleFunction FindModuleFunction(const std::wstring& path, const char* name, std::wstring& why) {
  void* const module = dlopen(ToUtf8(path).c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  void* const found = module == nullptr ? nullptr : dlsym(module, name);
  if (found == nullptr) {
    const char* const error = dlerror();
    why = error == nullptr ? std::wstring() : FromUtf8(error);
  }
  if (module != nullptr) dlclose(module);
  return reinterpret_cast<ModuleFunction>(found);
}

}  // namespace kellanseek::platform
