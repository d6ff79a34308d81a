#include "platform/Files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <thread>
#include <utility>

#include "platform/linux/Descriptor.h"
#include "platform/linux/FileText.h"

namespace kellanseek::platform {
namespace {

class Lock final : public DirectoryLock {
 public:
  explicit Lock(Descriptor directory) : directory_(std::move(directory)) {}

 private:
  // Closing it ends the lock.
  const Descriptor directory_;
};

}  // namespace

std::wstring_view PathSeparator() { return L"/"; }

PathKind KindOfPath(const std::wstring& path) {
  struct stat status = {};
  if (::stat(ToUtf8(path).c_str(), &status) != 0) {
    return errno == ENOENT || errno == ENOTDIR ? PathKind::Nothing : PathKind::Other;
  }
  return S_ISDIR(status.st_mode) ? PathKind::Directory : PathKind::Other;
}

HRESULT MakeDirectory(const std::wstring& path, std::wstring& why) {
  const int error = MakeDirectories(ToUtf8(path));
  if (error == 0) return S_OK;
  why = ErrorText(error);
  return E_FAIL;
}

HRESULT CreateNewFile(const std::wstring& path, std::string_view content, std::wstring& why) {
  const std::string bytes = ToUtf8(path);
  const Descriptor file(::open(bytes.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  if (!file) {
    if (errno == EEXIST) return S_FALSE;
    why = ErrorText(errno);
    return E_FAIL;
  }
  const int error = WriteAll(file.get(), content);
  if (error == 0) return S_OK;
  why = ErrorText(error);
  ::unlink(bytes.c_str());
  return E_FAIL;
}

std::unique_ptr<DirectoryLock> LockDirectory(const std::wstring& path, std::chrono::milliseconds patience,
                                             std::wstring& why) {
  constexpr std::chrono::milliseconds kPause{10};
  Descriptor directory(::open(ToUtf8(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory) {
    why = ErrorText(errno);
    return nullptr;
  }
  const auto end = std::chrono::steady_clock::now() + patience;
  while (::flock(directory.get(), LOCK_EX | LOCK_NB) != 0) {
    // Any other error says that the file system knows no locks of directories.
    if (errno != EWOULDBLOCK && errno != EINTR) break;
    if (std::chrono::steady_clock::now() >= end) {
      why = L"another program keeps it locked";
      return nullptr;
    }
    std::this_thread::sleep_for(kPause);
  }
  return std::make_unique<Lock>(std::move(directory));
}

}  // namespace kellanseek::platform
