#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kellanseek::platform {

/// UTF-8, which is what files and file names of this system hold, to wide text and back. A byte that is not
/// part of valid UTF-8 becomes a character from U+DC80 to U+DCFF, which turns into that byte again.
std::wstring FromUtf8(std::string_view bytes);
std::string ToUtf8(std::wstring_view text);

/// Reads a regular file of at most `limit` bytes. Gives 0 or an errno value: EISDIR for a directory, EINVAL
/// for anything else that is no regular file (it is not opened, so nothing blocks on it), EFBIG for a larger
/// file.
int ReadRegularFile(const std::string& path, std::size_t limit, std::string& bytes);

/// The directory in which a path stands.
std::string DirectoryOf(const std::string& path);

/// Makes a directory and its parents, as far as they are not there; 0 or an errno value. That something else
/// bears the name is found by whoever uses it.
int MakeDirectories(const std::string& directory);

/// Writes all bytes to an open file; 0 or an errno value.
int WriteAll(int descriptor, std::string_view bytes);

/// The system's words for an errno value.
std::wstring ErrorText(int error);

}  // namespace kellanseek::platform
