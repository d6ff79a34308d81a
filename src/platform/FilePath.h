#pragma once

#include <string>
#include <string_view>

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// What stands between a directory and the name of a file in it.
std::wstring_view PathSeparator();

enum class PathKind {
  Nothing,  ///< There is nothing under that name.
  Directory,
  Other,  ///< A file, or something that the system tells nothing about.
};
PathKind KindOfPath(const std::wstring& path);

/// Makes a directory and its parents, as far as they are not there. On failure `why` gets the reason in
/// words. That a file bears the name is found by whoever uses it.
HRESULT MakeDirectory(const std::wstring& path, std::wstring& why);

/// Creates a file with that content. S_FALSE when there is something under that name, which then stays as it
/// is; a failure leaves no file, and `why` gets the reason in words.
HRESULT CreateNewFile(const std::wstring& path, std::string_view content, std::wstring& why);

}  // namespace kellanseek::platform
