#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// Separates a directory from the name of a file in it.
std::wstring_view PathSeparator();

enum class PathKind {
  Nothing,  ///< Nothing exists under that name.
  Directory,
  Other,  ///< A file, or an entry the system gives no information about.
};
PathKind KindOfPath(const std::wstring& path);

/// Creates a directory and its missing parents. On failure stores the reason in `why`. Succeeds if a file has
/// the name: the caller's own access will fail.
HRESULT MakeDirectory(const std::wstring& path, std::wstring& why);

/// Creates a file with this content. Returns S_FALSE and changes nothing if the name is taken. On failure
/// leaves no file and stores the reason in `why`.
HRESULT CreateNewFile(const std::wstring& path, std::string_view content, std::wstring& why);

/// Holds off everybody else who asks for the lock of the same directory, in this process or another, until it
/// is destroyed or the process ends. Those who do not ask are not hindered.
class DirectoryLock {
 public:
  virtual ~DirectoryLock() = default;
};

/// Waits until nobody else holds the lock of a directory that exists. Returns null, with the reason in `why`,
/// if that takes longer than `patience` or the directory cannot be opened. On a file system that knows no
/// locks, the lock holds nobody off.
std::unique_ptr<DirectoryLock> LockDirectory(const std::wstring& path, std::chrono::milliseconds patience,
                                             std::wstring& why);

}  // namespace kellanseek::platform
