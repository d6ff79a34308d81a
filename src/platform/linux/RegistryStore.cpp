#include "platform/RegistryStore.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/linux/RegistryFile.h"

namespace kellanseek::platform {
namespace {

bool Given(const char* text) { return text != nullptr && *text != '\0'; }

bool Writable(const std::string& path) { return ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0; }

bool MayWrite(const std::string& path) {
  if (Writable(path)) return true;
  return errno == ENOENT && (::geteuid() == 0 || Writable(path.substr(0, path.rfind('/'))));
}

/// The store that receives this process's changes: the one it reads, except that a user who may not write the
/// machine's store gets a store of their own. That store replaces the machine's from then on, so it begins as
/// a copy of it.
RegistryFile StoreForChange() {
  const std::string path = com::RegistryStorePath();
  const char* const home = ::secure_getenv("HOME");
  if (Given(::secure_getenv("KELLANSEEK_REGISTRY")) || !Given(home)) return RegistryFile(path);
  const std::string own = std::string(home) + "/.config/kellanseek/registry";
  if (path != own && MayWrite(path)) return RegistryFile(path);
  return RegistryFile(own, com::kMachineRegistryPath);
}

class SystemRegistry final : public RegistryStore {
 public:
  HRESULT Read(const std::wstring& key, const std::wstring& name, std::size_t maxLength,
               std::wstring& value) override {
    return RegistryFile(com::RegistryStorePath()).Read(key, name, maxLength, value);
  }
  HRESULT Write(const std::wstring& key, const std::wstring& name, const std::wstring& value) override {
    return StoreForChange().Write(key, name, value);
  }
  HRESULT RemoveTree(const std::wstring& key) override { return StoreForChange().RemoveTree(key); }
  HRESULT TakeBack(const std::wstring& key) override { return StoreForChange().TakeBack(key); }
  HRESULT DropNeedlessStore() override { return StoreForChange().DropNeedlessStore(); }
  std::wstring FileOfChanges() override { return StoreForChange().FileOfChanges(); }
  std::wstring LastErrorText() override { return RegistryFile({}).LastErrorText(); }
};

}  // namespace

RegistryStore& SystemRegistryStore() {
  static SystemRegistry registry;
  return registry;
}

}  // namespace kellanseek::platform
