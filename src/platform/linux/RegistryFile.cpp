#include "platform/linux/RegistryFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/linux/Descriptor.h"
#include "platform/linux/FileText.h"
#include "platform/linux/RegistryText.h"

namespace kellanseek::platform {
namespace {

constexpr std::chrono::milliseconds kLockPatience(5000);
constexpr std::chrono::milliseconds kLockRetry(10);
constexpr mode_t kAnyWrite = S_IWUSR | S_IWGRP | S_IWOTH;

/// The reason for the calling thread's last failure. An array, because a thread_local with a destructor would
/// keep the module loaded until the thread ends.
thread_local std::array<wchar_t, 512> lastError = {};

HRESULT Fail(HRESULT result, const std::wstring& text) {
  const std::size_t length = std::min(text.size(), lastError.size() - 1);
  std::copy_n(text.begin(), length, lastError.begin());
  lastError[length] = L'\0';
  return result;
}

HRESULT Fail(int error, const wchar_t* doing, const std::string& path) {
  const bool denied = error == EACCES || error == EPERM || error == EROFS;
  return Fail(denied ? E_ACCESSDENIED : E_FAIL,
              std::wstring(L"Cannot ") + doing + L" " + FromUtf8(path) + L": " + ErrorText(error));
}

/// The text in the store's encoding; nullopt if the store would not return it unchanged.
std::optional<std::string> Stored(const std::wstring& text, bool (*acceptable)(std::string_view)) {
  std::string bytes = ToUtf8(text);
  if (!acceptable(bytes) || FromUtf8(bytes) != text) return std::nullopt;
  return bytes;
}

/// Resolves symbolic links, so that replacing the file keeps the links to it.
std::string Resolved(const std::string& path) {
  std::error_code error;
  const std::string resolved = std::filesystem::canonical(path, error).string();
  return error ? path : resolved;
}

/// Waits for the file's other writers. The lock file is never removed, because two writers could then each
/// hold a lock on a file of their own.
HRESULT LockWriters(const std::string& path, Descriptor& lock) {
  lock = Descriptor(
      ::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0666));
  if (!lock) return Fail(errno, L"write", path);
  const auto deadline = std::chrono::steady_clock::now() + kLockPatience;
  while (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return Fail(errno, L"write", path);
    if (std::chrono::steady_clock::now() > deadline) {
      return Fail(E_FAIL, L"Cannot write " + FromUtf8(path) + L": another program has kept it locked.");
    }
    std::this_thread::sleep_for(kLockRetry);
  }
  return S_OK;
}

/// Replaces the content of a file, as a whole or not at all.
int ReplaceFile(const std::string& path, std::string_view content) {
  struct stat present = {};
  const bool exists = ::stat(path.c_str(), &present) == 0;
  std::string temporary = path + ".XXXXXX";
  int error = 0;
  {
    const Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file) return errno;
    error = WriteAll(file.get(), content);
    // Keeps the owner where the system permits it; otherwise the file becomes the writer's.
    if (error == 0 && exists && ::fchown(file.get(), present.st_uid, present.st_gid) != 0) error = 0;
    const mode_t mode = exists ? present.st_mode & 0777 : S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
    if (error == 0 && ::fchmod(file.get(), mode) != 0) error = errno;
    if (error == 0 && ::fsync(file.get()) != 0) error = errno;
  }
  if (error == 0 && ::rename(temporary.c_str(), path.c_str()) != 0) error = errno;
  if (error != 0) {
    ::unlink(temporary.c_str());
    return error;
  }
  const Descriptor directory(::open(DirectoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (directory) ::fsync(directory.get());
  return 0;
}

HRESULT RequireUndamaged(const std::string& path, const std::string& store) {
  const std::size_t zero = store.find('\0');
  if (zero == std::string::npos) return S_OK;
  const auto line = 1 + std::count(store.begin(), store.begin() + static_cast<std::ptrdiff_t>(zero), '\n');
  return Fail(E_FAIL, L"The registry file " + FromUtf8(path) + L" is damaged: there is a zero byte in line " +
                          std::to_wstring(line) + L". Mend or remove the file; nothing was changed.");
}

}  // namespace

RegistryFile::RegistryFile(std::string path, std::string machine)
    : path_(std::move(path)), machine_(std::move(machine)) {}

HRESULT RegistryFile::Read(const std::wstring& key, const std::wstring& name, std::size_t maxLength,
                           std::wstring& value) {
  std::string store;
  const int error = ReadRegularFile(path_, com::kMaxRegistryBytes, store);
  if (error == ENOENT || error == ENOTDIR) return S_FALSE;
  if (error != 0) return Fail(error, L"read", path_);
  const auto found = com::FindRegistryValue(store, ToUtf8(key), ToUtf8(name));
  if (!found) return S_FALSE;
  std::wstring text = FromUtf8(*found);
  if (text.size() > maxLength) {
    return Fail(E_FAIL,
                L"The value " + name + L" is longer than " + std::to_wstring(maxLength) + L" characters.");
  }
  value = std::move(text);
  return S_OK;
}

template <typename Edit>
HRESULT RegistryFile::Change(Edit edit) {
  const std::string path = Resolved(path_);
  if (const int error = MakeDirectories(DirectoryOf(path)); error != 0)
    return Fail(error, L"make the place of", path);
  Descriptor lock;
  if (const HRESULT locked = LockWriters(path, lock); FAILED(locked)) return locked;
  std::string store;
  if (const HRESULT read = ReadForChange(path, store); FAILED(read)) return read;
  const std::optional<std::string> changed = edit(store);
  if (!changed) return S_FALSE;
  if (*changed == store) return S_OK;
  if (changed->size() > com::kMaxRegistryBytes) return Fail(EFBIG, L"write", path);
  const int error = ReplaceFile(path, *changed);
  return error == 0 ? S_OK : Fail(error, L"write", path);
}

HRESULT RegistryFile::Write(const std::wstring& key, const std::wstring& name, const std::wstring& value) {
  const auto keyBytes = Stored(key, IsRegistryKey);
  const auto nameBytes = Stored(name, IsRegistryName);
  const auto valueBytes = Stored(value, IsRegistryValue);
  if (!keyBytes || !nameBytes || !valueBytes) {
    return Fail(E_INVALIDARG, L"The key, name or value has a character that the registry file cannot hold.");
  }
  return Change([&](const std::string& store) -> std::optional<std::string> {
    return WithRegistryValue(store, *keyBytes, *nameBytes, *valueBytes);
  });
}

template <typename Edit>
HRESULT RegistryFile::ChangeTree(const std::wstring& key, Edit edit) {
  const auto keyBytes = Stored(key, IsRegistryKey);
  if (!keyBytes || keyBytes->find('\\') == std::string::npos) {
    return Fail(E_INVALIDARG, L"This is not the name of a key that can be removed.");
  }
  if (Missing()) return S_FALSE;
  return Change([&](const std::string& store) { return edit(store, *keyBytes); });
}

HRESULT RegistryFile::RemoveTree(const std::wstring& key) { return ChangeTree(key, WithoutRegistryTree); }

HRESULT RegistryFile::TakeBack(const std::wstring& key) {
  if (Missing()) return S_FALSE;
  std::string machine;
  if (const HRESULT read = ReadMachine(machine); FAILED(read)) return read;
  return ChangeTree(key, [&](const std::string& store, const std::string& tree) {
    return WithRegistryTreeOf(store, machine, tree);
  });
}

HRESULT RegistryFile::DropNeedlessStore() {
  if (machine_.empty() || Missing()) return S_FALSE;
  Descriptor lock;
  if (const HRESULT locked = LockWriters(Resolved(path_), lock); FAILED(locked)) return locked;
  std::string store;
  std::string machine;
  HRESULT read = ReadForChange(Resolved(path_), store);
  if (SUCCEEDED(read)) read = ReadMachine(machine);
  if (FAILED(read)) return read;
  if (!IsPartOfRegistry(store, machine)) return S_FALSE;
  // If the path is a symbolic link, only the link is removed; its target is somebody's own file.
  if (::unlink(path_.c_str()) == 0) return S_OK;
  return errno == ENOENT ? S_FALSE : Fail(errno, L"remove", path_);
}

std::wstring RegistryFile::FileOfChanges() { return FromUtf8(path_); }

bool RegistryFile::Missing() const {
  struct stat present = {};
  return ::stat(path_.c_str(), &present) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

HRESULT RegistryFile::ReadMachine(std::string& store) {
  if (machine_.empty()) return S_OK;
  const int error = ReadRegularFile(machine_, com::kMaxRegistryBytes, store);
  if (error == ENOENT || error == ENOTDIR) return S_OK;
  return error == 0 ? RequireUndamaged(machine_, store) : Fail(error, L"read", machine_);
}

HRESULT RegistryFile::ReadForChange(const std::string& path, std::string& store) {
  const int error = ReadRegularFile(path, com::kMaxRegistryBytes, store);
  if (error == ENOENT) return ReadMachine(store);
  if (error != 0) return Fail(error, L"read", path);
  // The rename below would succeed even on a file that must not be written.
  struct stat present = {};
  const bool exists = ::stat(path.c_str(), &present) == 0;
  if (exists &&
      ((present.st_mode & kAnyWrite) == 0 || ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0)) {
    return Fail(E_ACCESSDENIED, L"Cannot write " + FromUtf8(path) + L": the file is read-only.");
  }
  return RequireUndamaged(path, store);
}

std::wstring RegistryFile::LastErrorText() { return lastError.data(); }

}  // namespace kellanseek::platform
