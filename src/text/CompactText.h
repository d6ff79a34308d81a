#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include <boost/container/string.hpp>

namespace kellanseek::text {

/// A wide text in one byte for each character, if all of them are ASCII, as in nearly every name of a
/// controller; up to 22 of them need no memory of their own. Any other text, valid or not, is kept as it is.
class CompactText {
 public:
  CompactText() = default;
  explicit CompactText(std::wstring_view text) { *this = text; }

  /// Throws std::bad_alloc, with the text unchanged.
  CompactText& operator=(std::wstring_view text) {
    if (std::all_of(text.begin(), text.end(), IsAscii<wchar_t>)) {
      bytes_.assign(text.begin(), text.end());
    } else {
      boost::container::string bytes(1 + text.size() * sizeof(wchar_t), kWide);
      std::memcpy(&bytes[1], text.data(), text.size() * sizeof(wchar_t));
      bytes_.swap(bytes);
    }
    return *this;
  }
  /// Takes over an ASCII text. Returns false, with the text unchanged, for any other.
  bool AssignAscii(std::string_view text) {
    if (!std::all_of(text.begin(), text.end(), IsAscii<char>)) return false;
    bytes_.assign(text.data(), text.size());
    return true;
  }
  void clear() { bytes_.clear(); }

  bool empty() const { return bytes_.empty(); }
  std::size_t size() const { return IsWide() ? (bytes_.size() - 1) / sizeof(wchar_t) : bytes_.size(); }
  std::wstring Wide() const {
    std::wstring wide(size(), L'\0');
    CopyTo(wide.data());
    return wide;
  }
  /// Writes size() characters.
  void CopyTo(wchar_t* wide) const {
    if (IsWide()) {
      std::memcpy(wide, &bytes_[1], bytes_.size() - 1);
    } else {
      std::copy(bytes_.begin(), bytes_.end(), wide);
    }
  }

  friend bool operator==(const CompactText&, const CompactText&) = default;
  friend bool operator==(const CompactText& left, std::wstring_view right) { return left.Wide() == right; }

 private:
  /// Before the characters of a text that is not ASCII.
  static constexpr auto kWide = static_cast<char>(0x80);

  template <typename Char>
  static bool IsAscii(Char c) {
    return static_cast<std::make_unsigned_t<Char>>(c) < 0x80;
  }
  bool IsWide() const { return !bytes_.empty() && bytes_.front() == kWide; }

  boost::container::string bytes_;
};

}  // namespace kellanseek::text
