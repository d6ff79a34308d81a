#pragma once

#include <string>
#include <string_view>

#include "text/CompactText.h"

namespace kellanseek::platform {

/// Converts text in the ANSI code page to wide text and stores it in `wide`. Bytes that the code page does
/// not define become U+FFFD or the system's own replacement; embedded NULs are converted like any other byte.
/// Reuses the capacity of `wide`, so a reused string needs no allocation.
///
/// The code page is the thread's ANSI code page on Windows. On Linux it is windows-1252, or the iconv charset
/// that the environment variable KELLANSEEK_CODEPAGE names at the first use (windows-1252 if that is
/// unknown). All functions here are thread-safe.
void AssignWide(std::wstring& wide, std::string_view narrow);
std::wstring ToWide(std::string_view narrow);
/// The same. Throws std::bad_alloc, with `text` unchanged.
void AssignText(text::CompactText& text, std::string_view narrow);

/// Converts wide text to the ANSI code page. Characters missing from it become '?'.
std::string ToNarrow(std::wstring_view wide);

/// The name of the code page: "windows-1252", "UTF-8".
std::string CodePageName();

/// Compares two texts under the user's default locale, case-sensitively.
bool LocaleEqual(std::wstring_view left, std::wstring_view right);
bool LocaleEqual(const text::CompactText& left, const text::CompactText& right);

/// Returns a key for `text`: two keys are equal exactly if LocaleEqual() holds for the texts. Where the
/// locale compares character by character the text is its own key and `storage` stays unused; otherwise the
/// key is built in `storage`. The result is valid as long as both arguments are.
std::wstring_view LocaleKey(std::wstring_view text, std::wstring& storage);

}  // namespace kellanseek::platform
