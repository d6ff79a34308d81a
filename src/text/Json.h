#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace kellanseek::text {

/// A JSON value, kept as its text. Built from the inside to the outside; never read back. Unlike the trees of
/// the common libraries, whose destructors allocate, it can run out of memory without ending the process.
class Json {
 public:
  using Member = std::pair<std::string_view, Json>;

  Json() : text_("null") {}
  Json(std::nullptr_t) : Json() {}
  Json(std::same_as<bool> auto value) : text_(value ? "true" : "false") {}
  template <std::integral Number>
  requires(!std::same_as<Number, bool>) Json(Number number) : text_(std::to_string(number)) {}
  /// A text in UTF-8. Bytes that are none become U+FFFD.
  Json(std::string_view utf8);
  Json(const char* utf8) : Json(std::string_view(utf8)) {}
  Json(const std::string& utf8) : Json(std::string_view(utf8)) {}
  /// An object with these members, in this order.
  Json(std::initializer_list<Member> members);

  static Json Object() { return Json(Brackets::Curly); }
  static Json Array() { return Json(Brackets::Square); }

  /// Adds a member to an object, which must not have it yet.
  void Set(std::string_view name, const Json& value);
  /// Adds an element to an array.
  void Append(const Json& value);

  const std::string& Text() const { return text_; }

 private:
  enum class Brackets : std::uint8_t { Curly, Square };
  explicit Json(Brackets brackets) : text_(brackets == Brackets::Curly ? "{}" : "[]") {}

  void Insert(std::string_view name, const Json& value);

  std::string text_;
};

}  // namespace kellanseek::text
