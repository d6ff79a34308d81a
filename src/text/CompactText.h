#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include <boost/container/string.hpp>

#include "text/Ascii.h"

namespace kellanseek::text {

/// A wide text in one byte for each character, if all of them are ASCII, as in nearly every name of a
/// controller; a short one (up to 22 characters in a 64-bit program) needs no memory of its own. Any other
/// text, valid or not, is kept as it is.
class CompactText {
 public:
  CompactText() = default;
  explicit CompactText(std::wstring_view text) { *this = text; }

  /// Throws std::bad_alloc, with the text unchanged.
  CompactText& operator=(std::wstring_view text) {
    if (IsAscii(text)) {
      bytes_.reserve(text.size());  // The rest cannot fail.
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
    if (!IsAscii(text)) return false;
    bytes_.assign(text.data(), text.size());
    return true;
  }
  void clear() { bytes_.clear(); }

  bool empty() const { return bytes_.empty(); }
  std::size_t size() const { return IsWide() ? (bytes_.size() - 1) / sizeof(wchar_t) : bytes_.size(); }
  std::wstring Wide() const {
    std::wstring wide(size(), L'\0');
    CopyTo(wide);
    return wide;
  }
  /// Copies the text, or as much of it as there is room for, and returns what it has copied.
  std::wstring_view CopyTo(std::span<wchar_t> room) const {
    const std::size_t length = std::min(size(), room.size());
    if (IsWide()) {
      std::memcpy(room.data(), &bytes_[1], length * sizeof(wchar_t));
    } else {
      std::copy_n(bytes_.begin(), length, room.data());
    }
    return {room.data(), length};
  }

  friend bool operator==(const CompactText&, const CompactText&) = default;
  friend bool operator==(const CompactText& left, std::wstring_view right) { return left.Wide() == right; }

 private:
  /// Before the characters of a text that is not ASCII.
  static constexpr auto kWide = static_cast<char>(0x80);

  bool IsWide() const { return !bytes_.empty() && bytes_.front() == kWide; }

  boost::container::string bytes_;
};

}  // namespace kellanseek::text
