#pragma once

#include <string>
#include <string_view>

namespace kellanseek::platform {

/// Converts single-byte (ANSI code page) text to wide text, replacing the content of `wide`; bytes that the
/// code page does not define become U+FFFD or the platform's own replacement. Keeps the capacity of `wide`,
/// so a reused string is not allocated again. Embedded NULs are converted like any other byte.
///
/// The code page is the thread's ANSI code page; on Linux windows-1252, or the iconv charset named by the
/// environment variable KELLANSEEK_CODEPAGE when the process starts to use it (an unknown name falls back to
/// windows-1252). All functions here may be called from any thread.
void AssignWide(std::wstring& wide, std::string_view narrow);
std::wstring ToWide(std::string_view narrow);

/// Converts wide text to the ANSI code page; characters that it cannot hold become '?'.
std::string ToNarrow(std::wstring_view wide);

/// Equality of two texts under the user's default locale, case-sensitive.
bool LocaleEqual(std::wstring_view left, std::wstring_view right);

/// A key that is equal for two texts exactly when LocaleEqual says so. Where the locale compares texts
/// character by character the text is its own key and `storage` stays untouched; otherwise the key is built
/// in `storage`.
std::wstring_view LocaleKey(std::wstring_view text, std::wstring& storage);

}  // namespace kellanseek::platform
