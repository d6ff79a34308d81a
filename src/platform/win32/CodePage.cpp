#include "platform/CodePage.h"

#include <algorithm>

#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

constexpr std::size_t kUsualKey = 256;

int Length(std::size_t size) { return static_cast<int>(size); }

/// Converts into a buffer of at least `narrow.size()` characters, which always suffices. Returns the number
/// written.
std::size_t Widen(std::string_view narrow, wchar_t* wide) {
  if (narrow.empty()) return 0;
  const int written = MultiByteToWideChar(CP_THREAD_ACP, 0, narrow.data(), Length(narrow.size()), wide,
                                          Length(narrow.size()));
  return static_cast<std::size_t>(std::max(written, 0));
}

/// With `narrow` null, returns the size needed. Code pages that can encode every character refuse the flag
/// and the default character, hence the second call.
int Narrow(std::wstring_view wide, char* narrow, int capacity) {
  const int exact = WideCharToMultiByte(CP_THREAD_ACP, WC_NO_BEST_FIT_CHARS, wide.data(), Length(wide.size()),
                                        narrow, capacity, "?", nullptr);
  if (exact > 0) return exact;
  return WideCharToMultiByte(CP_THREAD_ACP, 0, wide.data(), Length(wide.size()), narrow, capacity, nullptr,
                             nullptr);
}

/// Stores the sort key of a text under the user's locale, a byte string, in `key`.
int SortKey(std::wstring_view text, wchar_t* key, std::size_t capacity) {
  return LCMapStringW(LOCALE_USER_DEFAULT, LCMAP_SORTKEY, text.data(), Length(text.size()), key,
                      Length(capacity * sizeof(wchar_t)));
}

}  // namespace

void AssignWide(std::wstring& wide, std::string_view narrow) {
  wide.resize(narrow.size());
  wide.resize(Widen(narrow, wide.data()));
}

std::wstring ToWide(std::string_view narrow) {
  std::wstring wide;
  AssignWide(wide, narrow);
  return wide;
}

// All ANSI code pages agree on ASCII.
void AssignText(text::CompactText& text, std::string_view narrow) {
  if (!text.AssignAscii(narrow)) text = ToWide(narrow);
}

std::string ToNarrow(std::wstring_view wide) {
  std::string narrow;
  if (wide.empty()) return narrow;
  narrow.resize(static_cast<std::size_t>(std::max(Narrow(wide, nullptr, 0), 0)));
  const int written = Narrow(wide, narrow.data(), Length(narrow.size()));
  narrow.resize(static_cast<std::size_t>(std::max(written, 0)));
  return narrow;
}

std::string CodePageName() {
  DWORD number = 0;
  constexpr LCTYPE kWanted = LOCALE_IDEFAULTANSICODEPAGE | LOCALE_RETURN_NUMBER;
  const bool known = GetLocaleInfoW(GetThreadLocale(), kWanted, reinterpret_cast<LPWSTR>(&number),
                                    sizeof number / sizeof(wchar_t)) != 0;
  // A locale without an ANSI code page of its own takes the system's.
  if (!known || number == CP_ACP) number = GetACP();
  return number == CP_UTF8 ? "UTF-8" : "windows-" + std::to_string(number);
}

bool LocaleEqual(std::wstring_view left, std::wstring_view right) {
  if (left == right) return true;
  if (left.empty() || right.empty()) return false;
  return CompareStringW(LOCALE_USER_DEFAULT, 0, left.data(), Length(left.size()), right.data(),
                        Length(right.size())) == CSTR_EQUAL;
}

bool LocaleEqual(const text::CompactText& left, const text::CompactText& right) {
  return left == right || LocaleEqual(left.Wide(), right.Wide());
}

std::wstring_view LocaleKey(std::wstring_view text, std::wstring& storage) {
  if (text.empty()) return text;
  // Most names fit the first buffer; for others the system returns the size needed.
  storage.assign(kUsualKey, L'\0');
  int bytes = SortKey(text, storage.data(), storage.size());
  if (bytes == 0) {
    const int needed =
        LCMapStringW(LOCALE_USER_DEFAULT, LCMAP_SORTKEY, text.data(), Length(text.size()), nullptr, 0);
    if (needed <= 0) return text;
    storage.assign(static_cast<std::size_t>(needed) / sizeof(wchar_t) + 1, L'\0');
    bytes = SortKey(text, storage.data(), storage.size());
    if (bytes == 0) return text;
  }
  storage.resize((static_cast<std::size_t>(bytes) + sizeof(wchar_t) - 1) / sizeof(wchar_t));
  return storage;
}

}  // namespace kellanseek::platform
