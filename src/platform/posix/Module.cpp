#include "platform/Module.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "platform/posix/FileText.h"

namespace kellanseek::platform {

std::wstring CurrentModulePath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&CurrentModulePath), &info) == 0 || info.dli_fname == nullptr)
    return {};
  // The name by which it was loaded stays: links to the file of a certain version outlive that version.
  const std::filesystem::path name(info.dli_fname);
  std::error_code error;
  const auto directory = std::filesystem::canonical(name.has_parent_path() ? name.parent_path() : ".", error);
  return error ? std::wstring() : FromUtf8((directory / name.filename()).string());
}

}  // namespace kellanseek::platform
