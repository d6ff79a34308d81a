#include "platform/CodePage.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <utility>
#include <vector>

namespace kellanseek::platform {
namespace {

constexpr const char* kDefaultCharset = "windows-1252";
constexpr wchar_t kReplacement = L'\uFFFD';

/// Converts in one direction with iconv. Not thread-safe.
class Converter {
 public:
  Converter(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
  ~Converter() {
    if (Valid()) iconv_close(handle_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool Valid() const { return reinterpret_cast<std::intptr_t>(handle_) != -1; }

  /// Converts the text. Skips units that the charset rejects, one at a time, and replaces each.
  template <typename From, typename To>
  std::basic_string<To> Convert(std::basic_string_view<From> text, To replacement) {
    std::basic_string<To> result;
    auto* in = const_cast<char*>(reinterpret_cast<const char*>(text.data()));
    std::size_t left = text.size() * sizeof(From);
    std::array<To, 64> buffer;
    while (left > 0) {
      auto* out = reinterpret_cast<char*>(buffer.data());
      std::size_t room = sizeof buffer;
      const bool failed = iconv(handle_, &in, &left, &out, &room) == static_cast<std::size_t>(-1);
      const std::size_t made = (sizeof buffer - room) / sizeof(To);
      result.append(buffer.data(), made);
      if (failed && made == 0) {
        result.push_back(replacement);
        in += sizeof(From);
        left -= sizeof(From);
      }
    }
    return result;
  }

 private:
  iconv_t handle_;
};

/// The code page of the process. Single-byte charsets are converted by tables, others by iconv.
class CodePage {
 public:
  /// Cold, so that the compiler keeps it out of TheCodePage(), which every text of a datagram goes through.
  [[gnu::cold]] CodePage() {
    const char* named = std::getenv("KELLANSEEK_CODEPAGE");
    charset_ = named != nullptr && Converter("WCHAR_T", named).Valid() && Converter(named, "WCHAR_T").Valid()
                   ? named
                   : kDefaultCharset;
    singleByte_ = FillTables();
    keepsAscii_ = KnowsAscii();
  }

  const std::string& Name() const { return charset_; }

  void AssignWide(std::wstring& wide, std::string_view narrow) const {
    if (!singleByte_) {
      const std::wstring converted = Converter("WCHAR_T", charset_.c_str()).Convert(narrow, kReplacement);
      wide.assign(converted);
      return;
    }
    wide.resize(narrow.size());
    std::transform(narrow.begin(), narrow.end(), wide.begin(),
                   [this](char c) { return wide_[static_cast<unsigned char>(c)]; });
  }

  /// Whether ASCII bytes mean what they mean in ASCII.
  bool KeepsAscii() const { return keepsAscii_; }

  std::string ToNarrow(std::wstring_view wide) const {
    if (!singleByte_) return Converter(charset_.c_str(), "WCHAR_T").Convert(wide, '?');
    std::string narrow(wide.size(), '?');
    std::transform(wide.begin(), wide.end(), narrow.begin(), [this](wchar_t c) { return NarrowOf(c); });
    return narrow;
  }

 private:
  char NarrowOf(wchar_t c) const {
    const std::wint_t code = std::char_traits<wchar_t>::to_int_type(c);
    if (code < 0x80 && wide_[code] == c) return static_cast<char>(code);
    const auto found = std::lower_bound(narrow_.begin(), narrow_.end(), std::pair<wchar_t, char>(c, '\0'),
                                        [](const auto& a, const auto& b) { return a.first < b.first; });
    return found != narrow_.end() && found->first == c ? found->second : '?';
  }

  /// Returns false for a charset in which a byte can be a part of a character.
  bool FillTables() {
    Converter converter("WCHAR_T", charset_.c_str());
    for (std::size_t byte = 0; byte < wide_.size(); ++byte) {
      const char narrow = static_cast<char>(byte);
      const std::wstring wide = converter.Convert(std::string_view(&narrow, 1), kReplacement);
      if (wide.size() != 1) return false;
      wide_[byte] = wide.front();
      if (wide.front() != kReplacement) narrow_.emplace_back(wide.front(), narrow);
    }
    std::sort(narrow_.begin(), narrow_.end());
    // A single-byte charset leaves a few bytes undefined; in a multi-byte charset all lead bytes look
    // undefined.
    constexpr std::ptrdiff_t kMostUndefined = 48;
    const auto undefined = std::count(wide_.begin(), wide_.end(), kReplacement);
    return undefined <= kMostUndefined;
  }

  bool KnowsAscii() const {
    std::string ascii;
    for (int c = 0; c < 0x80; ++c) ascii.push_back(static_cast<char>(c));
    // What stands for other characters in the 7-bit encodings ISO-2022, HZ and UTF-7.
    ascii += "\x1b$B$\"\x1b(B~{!!~}+AOk-";
    std::wstring wide;
    AssignWide(wide, ascii);
    return std::equal(wide.begin(), wide.end(), ascii.begin(), ascii.end());
  }

  std::string charset_;
  bool singleByte_ = true;
  bool keepsAscii_ = false;
  std::array<wchar_t, 256> wide_{};
  std::vector<std::pair<wchar_t, char>> narrow_;
};

inline const CodePage& TheCodePage() {
  static const CodePage codePage;
  return codePage;
}

}  // namespace

void AssignWide(std::wstring& wide, std::string_view narrow) { TheCodePage().AssignWide(wide, narrow); }

std::wstring ToWide(std::string_view narrow) {
  std::wstring wide;
  AssignWide(wide, narrow);
  return wide;
}

void AssignText(text::CompactText& text, std::string_view narrow) {
  if (!TheCodePage().KeepsAscii() || !text.AssignAscii(narrow)) text = ToWide(narrow);
}

std::string ToNarrow(std::wstring_view wide) { return TheCodePage().ToNarrow(wide); }

std::string CodePageName() { return TheCodePage().Name(); }

bool LocaleEqual(std::wstring_view left, std::wstring_view right) { return left == right; }
bool LocaleEqual(const text::CompactText& left, const text::CompactText& right) { return left == right; }

std::wstring_view LocaleKey(std::wstring_view text, std::wstring&) { return text; }

}  // namespace kellanseek::platform
