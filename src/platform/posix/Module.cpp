#include "platform/Module.h"

#include <dlfcn.h>

#include <climits>
#include <cstdlib>
#include <memory>

#include "platform/CodePage.h"

namespace kellanseek::platform {

std::wstring CurrentModulePath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&CurrentModulePath), &info) == 0 || info.dli_fname == nullptr) return {};
  const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(info.dli_fname, nullptr), &std::free);
  return ToWide(resolved ? resolved.get() : info.dli_fname);
}

}  // namespace kellanseek::platform
