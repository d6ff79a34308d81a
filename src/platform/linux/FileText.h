#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kellanseek::platform {

/// Converts between wide text and UTF-8, the encoding of this system's files and file names. A byte that is
/// not part of valid UTF-8 becomes a character from U+DC80 to U+DCFF, which ToUtf8() turns back into that
/// byte.
std::wstring FromUtf8(std::string_view bytes);
std::string ToUtf8(std::wstring_view text);

/// Reads a regular file of at most `limit` bytes. Returns 0 or an errno value: EISDIR for a directory, EINVAL
/// for any other special file (it is not opened, because that might block), EFBIG for a larger file.
int ReadRegularFile(const std::string& path, std::size_t limit, std::string& bytes);

/// The directory part of a path.
std::string DirectoryOf(const std::string& path);

/// Creates a directory and its missing parents. Returns 0 or an errno value. Succeeds if a file has the name:
/// the caller's own access will fail.
int MakeDirectories(const std::string& directory);

/// Writes all bytes to an open file. Returns 0 or an errno value.
int WriteAll(int descriptor, std::string_view bytes);

/// The system's message for an errno value.
std::wstring ErrorText(int error);

}  // namespace kellanseek::platform
