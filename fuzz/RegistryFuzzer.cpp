#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include <kellanseek/com.h>

#include "platform/linux/FileText.h"
#include "platform/linux/RegistryText.h"

using namespace kellanseek;

namespace {

constexpr std::string_view kKey = "HKEY_CLASSES_ROOT\\CLSID\\{1}";
constexpr std::string_view kOtherKey = "HKEY_LOCAL_MACHINE\\Software\\Other";

void Require(bool held) {
  if (!held) std::abort();
}

}  // namespace

/// The input up to the first zero byte is a store, the rest a value. A value written to any store can be read
/// back, the other keys keep their values, and a removed tree is gone.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(bytes), size);
  const std::size_t end = input.find('\0');
  const std::string_view store = input.substr(0, end);
  const std::string_view value = end == std::string_view::npos ? std::string_view() : input.substr(end + 1);
  Require(platform::ToUtf8(platform::FromUtf8(value)) == value);

  const auto text = [](std::string_view from, std::string_view key, std::string_view name) {
    return std::string(com::FindRegistryValue(from, key, name).value_or("(none)"));
  };
  const std::string other = text(store, kOtherKey, "n");
  std::string changed(store);
  if (platform::IsRegistryValue(value)) {
    changed = platform::WithRegistryValue(store, kKey, "n", value);
    Require(com::FindRegistryValue(changed, kKey, "n") == value);
    Require(platform::WithRegistryValue(changed, kKey, "n", value) == changed);
    Require(text(changed, kOtherKey, "n") == other);
  }
  const auto removed = platform::WithoutRegistryTree(changed, "HKEY_CLASSES_ROOT\\CLSID");
  if (!removed) return 0;
  Require(!com::FindRegistryValue(*removed, kKey, "n"));
  Require(text(*removed, kOtherKey, "n") == other);
  Require(!platform::WithoutRegistryTree(*removed, "HKEY_CLASSES_ROOT\\CLSID"));
  return 0;
}
