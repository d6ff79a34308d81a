#pragma once

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

}  // namespace kellanseek::platform
